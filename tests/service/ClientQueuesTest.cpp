#include <service/ClientQueues.h>

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;

namespace {

Job job(const std::string& client, const std::string& table, std::size_t length = 1)
{
    return {client, {EngineRequest::Kind::FORWARD, table, CodePoints(length)}, {}};
}

} // namespace

TEST(ClientQueues, AreEmptyAtFirst)
{
    EXPECT_TRUE(ClientQueues().empty());
}

TEST(ClientQueues, KeepAClientsTextsInTheirOrder)
{
    ClientQueues queues;
    for (const char* table : {"1", "2", "3"})
        EXPECT_TRUE(queues.push(job("a", table)));
    for (const char* table : {"1", "2", "3"}) {
        EXPECT_EQ(queues.next().request.table, table);
        queues.finished("a");
    }
    EXPECT_TRUE(queues.empty());
}

TEST(ClientQueues, GiveOnlyOneTextOfAClientAtATime)
{
    ClientQueues queues;
    queues.push(job("a", "1"));
    queues.push(job("a", "2"));
    queues.next();
    EXPECT_TRUE(queues.empty()) << "the first is still in work";
    queues.push(job("a", "3"));
    EXPECT_TRUE(queues.empty()) << "a new one changes nothing about that";
    queues.finished("a");
    EXPECT_FALSE(queues.empty());
}

TEST(ClientQueues, LetClientsTakeTurns)
{
    ClientQueues queues;
    for (const char* table : {"1", "2", "3"})
        queues.push(job("a", table));
    queues.push(job("b", "4"));
    std::string order;
    while (!queues.empty()) {
        const Job next = queues.next();
        order += next.client + next.request.table;
        queues.finished(next.client);
    }
    EXPECT_EQ(order, "a1b4a2a3");
}

TEST(ClientQueues, RefuseMoreTextsOfAClientThanTheyMayHold)
{
    ClientQueues queues;
    for (std::size_t count = 0; count < ClientQueues::TEXTS_OF_A_CLIENT; ++count)
        ASSERT_TRUE(queues.push(job("a", "1")));
    EXPECT_FALSE(queues.push(job("a", "1")));
    EXPECT_TRUE(queues.push(job("b", "1"))) << "another client is no worse off";
    queues.next();
    EXPECT_TRUE(queues.push(job("a", "1"))) << "there is room again";
    EXPECT_FALSE(queues.push(job("a", "1")));
}

TEST(ClientQueues, RefuseMoreCodePointsOfAClientThanTheyMayHold)
{
    ClientQueues queues;
    for (std::size_t count = 0; count < ClientQueues::LENGTH_OF_A_CLIENT / LONGEST_TEXT; ++count)
        ASSERT_TRUE(queues.push(job("a", "1", LONGEST_TEXT)));
    EXPECT_FALSE(queues.push(job("a", "1")));
    EXPECT_TRUE(queues.push(job("a", "1", 0)));
    queues.next();
    EXPECT_TRUE(queues.push(job("a", "1", LONGEST_TEXT)));
}

TEST(ClientQueues, RefuseMoreCodePointsThanTheyMayHoldForAllClients)
{
    ClientQueues queues;
    const std::size_t count = ClientQueues::LENGTH_OF_ALL / LONGEST_TEXT;
    for (std::size_t client = 0; client < count; ++client)
        ASSERT_TRUE(queues.push(job(std::to_string(client), "1", LONGEST_TEXT)));
    EXPECT_FALSE(queues.push(job("another", "1")));
    queues.drop("0");
    EXPECT_TRUE(queues.push(job("another", "1")));
}

TEST(ClientQueues, HaveRoomAgainForWhatWasTakenOrDropped)
{
    ClientQueues queues;
    for (std::size_t round = 0; round <= ClientQueues::LENGTH_OF_ALL / LONGEST_TEXT; ++round) {
        ASSERT_TRUE(queues.push(job("a", "1", LONGEST_TEXT)));
        queues.next();
        for (std::size_t count = 0; count < ClientQueues::LENGTH_OF_A_CLIENT / LONGEST_TEXT;
             ++count)
            ASSERT_TRUE(queues.push(job("a", "1", LONGEST_TEXT)));
        queues.drop("a");
        queues.finished("a");
    }
}

TEST(ClientQueues, SayWhenTheOldestTextCame)
{
    ClientQueues queues;
    EXPECT_EQ(queues.oldestArrival(), std::nullopt);
    const Job first = job("a", "1");
    Job second = job("b", "2");
    second.arrival = first.arrival + 1s;
    queues.push(std::move(second));
    queues.push(Job(first));
    EXPECT_EQ(queues.oldestArrival(), first.arrival);
    queues.drop("a");
    EXPECT_EQ(queues.oldestArrival(), first.arrival + 1s);
}

TEST(ClientQueues, GiveUpTheOldTextsOnly)
{
    ClientQueues queues;
    const auto start = std::chrono::steady_clock::now();
    for (const int second : {1, 2, 3}) {
        for (const char* client : {"a", "b"}) {
            Job next = job(client, std::to_string(second));
            next.arrival = start + std::chrono::seconds(second);
            queues.push(std::move(next));
        }
    }
    queues.next(); // the first of a
    const std::vector<Job> old = queues.takeOlderThan(start + 3s);
    std::string which;
    for (const Job& each : old)
        which += each.client + each.request.table;
    EXPECT_EQ(which, "a2b1b2");
    EXPECT_EQ(queues.next().request.table, "3") << "of b";
    EXPECT_TRUE(queues.empty()) << "a has one in work";
    queues.finished("a");
    EXPECT_EQ(queues.next().request.table, "3");
}

TEST(ClientQueues, ForgetAClientAllOfWhoseTextsAreOld)
{
    ClientQueues queues;
    queues.push(job("a", "1"));
    EXPECT_EQ(queues.takeOlderThan(std::chrono::steady_clock::now() + 1s).size(), 1U);
    EXPECT_TRUE(queues.empty());
    EXPECT_EQ(queues.oldestArrival(), std::nullopt);
}

TEST(ClientQueues, DropWhatAClientHasWaiting)
{
    ClientQueues queues;
    queues.push(job("a", "1"));
    queues.push(job("b", "2"));
    queues.drop("a");
    EXPECT_EQ(queues.next().client, "b");
    EXPECT_TRUE(queues.empty());
    queues.finished("b");
    queues.push(job("a", "3"));
    EXPECT_EQ(queues.next().request.table, "3") << "a client may come back";
}

TEST(ClientQueues, DropWhatWaitsBehindATextInWork)
{
    ClientQueues queues;
    queues.push(job("a", "1"));
    queues.push(job("a", "2"));
    queues.next();
    queues.drop("a");
    queues.finished("a");
    EXPECT_TRUE(queues.empty());
}

TEST(ClientQueues, TakeTheDroppingOfAStrangerCalmly)
{
    ClientQueues queues;
    queues.drop("nobody");
    EXPECT_TRUE(queues.empty());
}

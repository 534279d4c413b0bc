#include <service/WorkerPool.h>

#include "support/Process.h"
#include "support/Sanitizers.h"

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using End = Worker::Outcome::End;

namespace {

constexpr const char* ENGINE = TEST_BUILD_FOLDER "/service/brailletranslate-engine";
const std::string TABLES = "/usr/share/liblouis/tables/";
const CodePoints HANGS{'E', '-', 'M', 'a', 'i', 'l', ':', ' ', '-', '@', 'h', 'o', 'm', 'e'};

EngineRequest forward(const std::string& table, const CodePoints& text)
{
    return {EngineRequest::Kind::FORWARD, TABLES + table, text};
}

/** The processes that this one has started. */
std::vector<pid_t> children()
{
    return childrenOf(getpid());
}

/** What processes have in memory together. */
std::size_t kilobytesOf(const std::vector<pid_t>& processes)
{
    std::size_t sum = 0;
    for (const pid_t process : processes)
        sum += residentKilobytesOf(process);
    return sum;
}

class AWorkerPool : public testing::Test
{
protected:
    AWorkerPool() { limits.deadline = 200ms; }

    void submit(const std::string& client, const EngineRequest& request)
    {
        const auto done = [this](const Worker::Outcome& outcome, const EngineRequest& asked) {
            outcomes.push_back(outcome);
            texts.push_back(asked.text);
        };
        ASSERT_TRUE(pool.submit({client, request, done}));
    }

    void runUntil(const std::function<bool()>& isReached)
    {
        while (!isReached())
            loop.run_one();
    }

    void awaitOutcomes(std::size_t count)
    {
        runUntil([this, count] { return outcomes.size() >= count; });
    }

    boost::asio::io_context loop;
    PoolLimits limits;
    WorkerPool pool{loop, ENGINE, limits};
    std::vector<Worker::Outcome> outcomes;
    std::vector<CodePoints> texts;
};

} // namespace

TEST(AnEngineProcess, AnswersOneQuestionAndGoes)
{
    const Worker::Outcome outcome = askEngine(ENGINE, forward("en-ueb-g2.ctb", {'a'}), 5s);
    EXPECT_EQ(outcome.end, End::ANSWERED);
    EXPECT_EQ(outcome.answer.result.output, CodePoints{0x2801});
    EXPECT_THAT(children(), testing::IsEmpty());
}

TEST(AnEngineProcess, DescribesTheInstalledTables)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, {EngineRequest::Kind::DESCRIBE_TABLES, {}, {}}, 5s);
    EXPECT_GT(outcome.answer.translators.size(), 200U);
}

TEST(AnEngineProcess, SaysWhyItCannotUseATable)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, {EngineRequest::Kind::LOAD_TABLE, "/nowhere.ctb", {}}, 5s);
    EXPECT_EQ(outcome.end, End::ANSWERED);
    EXPECT_EQ(outcome.answer.status, EngineAnswer::Status::FAILED);
    EXPECT_THAT(outcome.answer.failure, testing::HasSubstr("/nowhere.ctb"));
    EXPECT_THAT(outcome.answer.log, testing::Not(testing::IsEmpty()));
}

TEST(AnEngineProcess, RefusesATranslationThatIsTooLongForAReply)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, forward("en-gb-comp8.ctb", CodePoints(500000, 0x10FFFF)), 20s);
    EXPECT_EQ(outcome.answer.status, EngineAnswer::Status::TOO_LONG);
}

TEST(AnEngineProcess, IsEndedAtItsDeadline)
{
    EXPECT_EQ(askEngine(ENGINE, forward("de-g2.ctb", HANGS), 100ms).end, End::TIMED_OUT);
    EXPECT_THAT(children(), testing::IsEmpty());
}

TEST(AnEngineProcess, ThatEndsAtOnceCountsAsDead)
{
    EXPECT_EQ(askEngine("/bin/false", forward("x", {'a'}), 5s).end, End::DIED);
}

TEST(AnEngineProcess, ThatCannotBeStartedIsAnError)
{
    EXPECT_THROW(askEngine("/nowhere", forward("x", {'a'}), 5s), std::system_error);
    boost::asio::io_context loop;
    EXPECT_THROW(WorkerPool(loop, "/nowhere", PoolLimits()), std::system_error);
}

TEST_F(AWorkerPool, HasItsProcessesFromTheStart)
{
    EXPECT_THAT(children(), testing::SizeIs(2));
}

TEST_F(AWorkerPool, GivesTheRequestBackWithTheAnswer)
{
    submit("a", forward("en-ueb-g2.ctb", {'a', 'n', 'd'}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
    EXPECT_EQ(outcomes[0].answer.result.output, CodePoints{0x282F});
    EXPECT_EQ(texts[0], (CodePoints{'a', 'n', 'd'}));
}

TEST_F(AWorkerPool, AnswersOneClientInItsOrder)
{
    submit("a", forward("en-ueb-g2.ctb", CodePoints(50000, 'x')));
    for (std::size_t length = 1; length <= 20; ++length)
        submit("a", forward("en-ueb-g2.ctb", CodePoints(length, 'x')));
    awaitOutcomes(21);
    for (std::size_t length = 1; length <= 20; ++length)
        EXPECT_EQ(texts[length].size(), length);
}

TEST_F(AWorkerPool, EndsAProcessAtTheDeadlineAndReplacesIt)
{
    const std::vector<pid_t> before = children();
    submit("a", forward("de-g2.ctb", HANGS));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::TIMED_OUT);
    EXPECT_EQ(texts[0], HANGS);
    EXPECT_THAT(children(), testing::SizeIs(2));
    EXPECT_THAT(children(), testing::Not(testing::ElementsAreArray(before)));
    submit("a", forward("de-g2.ctb", {'a'}));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[1].end, End::ANSWERED);
}

TEST_F(AWorkerPool, StartsMoreProcessesWhileAllAreHeldUp)
{
    limits.deadline = 5s;
    pool.setLimits(limits);
    for (const char* client : {"a", "b", "c"})
        submit(client, forward("de-g2.ctb", HANGS));
    submit("d", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED) << "long before the deadline of the others";
    EXPECT_THAT(children(), testing::SizeIs(4));
}

TEST_F(AWorkerPool, StartsNoMoreThanItMay)
{
    limits.mostWorkers = 3;
    pool.setLimits(limits);
    for (const char* client : {"a", "b", "c", "d", "e"})
        submit(client, forward("de-g2.ctb", HANGS));
    std::size_t most = 0;
    runUntil([this, &most] {
        most = std::max(most, children().size());
        return outcomes.size() == 5;
    });
    EXPECT_EQ(most, 3U);
}

TEST_F(AWorkerPool, LetsTheExtraProcessesGoAgain)
{
    limits.deadline = 20s;
    pool.setLimits(limits);
    for (const char* client : {"a", "b", "c", "d"})
        submit(client, forward("en-ueb-g2.ctb", CodePoints(300000, 'x')));
    std::size_t most = 0;
    runUntil([this, &most] {
        most = std::max(most, children().size());
        return outcomes.size() == 4;
    });
    EXPECT_THAT(outcomes, testing::Each(testing::Field(&Worker::Outcome::end, End::ANSWERED)));
    EXPECT_GT(most, 2U);
    EXPECT_THAT(children(), testing::SizeIs(2));
}

TEST_F(AWorkerPool, TakesItsProcessesAlongWhateverTheyAreDoing)
{
    {
        WorkerPool another(loop, ENGINE, limits);
        const auto unwanted = [](const Worker::Outcome&, const EngineRequest&) { FAIL(); };
        ASSERT_TRUE(another.submit({"a", forward("de-g2.ctb", HANGS), unwanted}));
        EXPECT_THAT(children(), testing::SizeIs(4));
    }
    EXPECT_THAT(children(), testing::SizeIs(2));
    submit("a", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(1);
}

TEST_F(AWorkerPool, SaysThatAProcessHasDiedInTheMiddleOfAText)
{
    submit("a", forward("de-g2.ctb", HANGS));
    for (const pid_t child : children())
        kill(child, SIGKILL);
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::DIED);
}

TEST_F(AWorkerPool, ReplacesAProcessThatDiesIdle)
{
    for (const char* client : {"a", "b"})
        submit(client, forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(2);
    const std::vector<pid_t> before = children();
    kill(before[0], SIGKILL);
    runUntil([&before] { return children().size() == 2 && children()[0] != before[0]; });
    submit("a", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(3);
    EXPECT_EQ(outcomes[2].end, End::ANSWERED);
}

TEST_F(AWorkerPool, GivesNoTextToAProcessThatHasJustDied)
{
    for (std::size_t round = 1; round <= 20; ++round) {
        for (const pid_t child : children()) {
            kill(child, SIGKILL);
            // It has ended, but nobody has been told yet.
            siginfo_t ended{};
            waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
        }
        submit("a", forward("en-ueb-g2.ctb", {'a'}));
        awaitOutcomes(round);
        ASSERT_EQ(outcomes.back().end, End::ANSWERED);
    }
}

TEST_F(AWorkerPool, EndsTheProcessesThatAreTooManyWhenThereAreToBeFewer)
{
    limits.workers = 6;
    pool.setLimits(limits);
    EXPECT_THAT(children(), testing::SizeIs(6));
    limits.workers = 3;
    pool.setLimits(limits);
    EXPECT_THAT(children(), testing::SizeIs(3));
}

TEST_F(AWorkerPool, ReadsATableAheadThatTakesTooLongOnlyOnce)
{
    limits.deadline = 1ms;
    pool.setLimits(limits);
    pool.keepLoaded({TABLES + "zh-tw.ctb"});
    const std::vector<pid_t> before = children();
    runUntil([&before] { return children() != before && children().size() == 2; });
    loop.run_for(200ms);
    const std::vector<pid_t> after = children();
    loop.run_for(200ms);
    EXPECT_EQ(children(), after);
}

TEST_F(AWorkerPool, ReadsTheTablesThatItIsToldInEachProcess)
{
    const std::size_t before = kilobytesOf(children());
    pool.keepLoaded({TABLES + "zh-tw.ctb"});
    constexpr std::size_t OF_THE_TABLE = 5000;
    runUntil([before] { return kilobytesOf(children()) > before + 2 * OF_THE_TABLE; });
}

TEST_F(AWorkerPool, HasItsProcessesGiveBackWhatALongTextHasTaken)
{
    submit("a", forward("en-gb-comp8.ctb", CodePoints(LONGEST_TEXT, 'a')));
    awaitOutcomes(1);
    submit("a", forward("en-gb-comp8.ctb", {'a'}));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(kilobytesOf(children()), 2 * 20000U);
    }
}

TEST_F(AWorkerPool, DoesNotStartAProgramOverAndOverThatDiesAtOnce)
{
    WorkerPool broken(loop, "/bin/false", limits);
    std::vector<End> ends;
    const auto done = [&ends](const Worker::Outcome& outcome, const EngineRequest&) {
        ends.push_back(outcome.end);
    };
    for (std::size_t count = 1; count <= 3; ++count) {
        ASSERT_TRUE(broken.submit({"a", forward("x", {'a'}), done}));
        runUntil([&ends, count] { return ends.size() == count; });
    }
    EXPECT_THAT(ends, testing::Each(End::DIED));
    // With nothing left to do, it waits for nothing that it has started.
    while (loop.poll_one() > 0) {
    }
    EXPECT_LE(children().size(), 4U);
}

TEST_F(AWorkerPool, GivesAWaitingTextUpThatItsClientNoLongerWaitsFor)
{
    const auto longAgo = std::chrono::steady_clock::now() - 21s;
    const auto done = [this](const Worker::Outcome& outcome, const EngineRequest&) {
        outcomes.push_back(outcome);
    };
    ASSERT_TRUE(pool.submit({"a", forward("en-ueb-g2.ctb", {'a'}), done, longAgo}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::TIMED_OUT);
    submit("a", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[1].end, End::ANSWERED);
}

TEST_F(AWorkerPool, ForgetsWhatAClientHasWaitingThatLeaves)
{
    submit("a", forward("de-g2.ctb", HANGS));
    submit("a", forward("de-g2.ctb", HANGS));
    pool.drop("a");
    submit("b", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
    EXPECT_EQ(outcomes[1].end, End::TIMED_OUT);
    submit("b", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(3);
    EXPECT_EQ(outcomes[2].end, End::ANSWERED) << "and the second of those that hang never ran";
}

TEST_F(AWorkerPool, ReadsTablesAheadWithoutHoldingATextUp)
{
    pool.keepLoaded({TABLES + "zh-tw.ctb", TABLES + "en-ueb-g2.ctb"});
    submit("a", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
}

TEST_F(AWorkerPool, SurvivesATableThatCannotBeReadAhead)
{
    pool.keepLoaded({"/nowhere.ctb"});
    submit("a", forward("en-ueb-g2.ctb", {'a'}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
    EXPECT_THAT(children(), testing::SizeIs(2));
}

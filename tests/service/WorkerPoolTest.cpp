#include <service/WorkerPool.h>

#include "support/ChildProcess.h"
#include "support/Ending.h"
#include "support/Process.h"
#include "support/Sanitizers.h"
#include "support/ScriptedEngine.h"

#include <boost/asio/io_context.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
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
constexpr const char* SCRIPTED_ENGINE = TEST_SCRIPTED_FOLDER "/brailletranslate-engine";
const std::string TABLES = "/usr/share/liblouis/tables/";

/** With one of liblouis's tables. */
EngineRequest forward(const std::string& table, const CodePoints& text)
{
    return {EngineRequest::Kind::FORWARD, TABLES + table, text};
}

/** With one of the scripted engine's tables. */
EngineRequest scriptedly(const char* table, const CodePoints& text = {'a'})
{
    return {EngineRequest::Kind::FORWARD, table, text};
}

/** The processes that this one has started. */
std::vector<pid_t> children()
{
    return childrenOf(getpid());
}

/** How many of those processes have not been replaced. */
std::size_t countLeftOf(const std::vector<pid_t>& processes)
{
    const std::vector<pid_t> now = children();
    return static_cast<std::size_t>(
        std::count_if(processes.begin(), processes.end(), [&now](pid_t process) {
            return std::find(now.begin(), now.end(), process) != now.end();
        }));
}

/** What processes have in memory together. */
std::size_t kilobytesOf(const std::vector<pid_t>& processes)
{
    std::size_t sum = 0;
    for (const pid_t process : processes)
        sum += residentKilobytesOf(process);
    return sum;
}

/** Gives everything as long as there is, unless a test says otherwise. */
class AWorkerPool : public testing::Test
{
protected:
    explicit AWorkerPool(const char* engine = SCRIPTED_ENGINE)
        : limits(longest()), pool(loop, engine, limits)
    {
    }

    static PoolLimits longest()
    {
        PoolLimits limits;
        limits.deadline = PoolLimits::LONGEST_DEADLINE;
        return limits;
    }

    void setDeadline(std::chrono::milliseconds deadline)
    {
        limits.deadline = deadline;
        pool.setLimits(limits);
    }

    /** Lets the engines go on that hang. */
    static void release()
    {
        for (const pid_t child : children())
            kill(child, SIGHUP);
    }

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
    WorkerPool pool;
    std::vector<Worker::Outcome> outcomes;
    std::vector<CodePoints> texts;
};

class AWorkerPoolOfLiblouis : public AWorkerPool
{
protected:
    AWorkerPoolOfLiblouis() : AWorkerPool(ENGINE) {}
};

} // namespace

TEST(AnEngineProcess, AnswersOneQuestionAndGoes)
{
    const Worker::Outcome outcome = askEngine(ENGINE, forward("en-ueb-g2.ctb", {'a'}), 20s);
    EXPECT_EQ(outcome.end, End::ANSWERED);
    EXPECT_EQ(outcome.answer.result.output, CodePoints{0x2801});
    EXPECT_THAT(children(), testing::IsEmpty());
}

TEST(AnEngineProcess, DescribesTheInstalledTables)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, {EngineRequest::Kind::DESCRIBE_TABLES, {}, {}}, 20s);
    EXPECT_GT(outcome.answer.translators.size(), 200U);
}

TEST(AnEngineProcess, SaysWhyItCannotUseATable)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, {EngineRequest::Kind::LOAD_TABLE, "/nowhere.ctb", {}}, 20s);
    EXPECT_EQ(outcome.end, End::ANSWERED);
    EXPECT_EQ(outcome.answer.status, EngineAnswer::Status::FAILED);
    EXPECT_THAT(outcome.answer.failure, testing::HasSubstr("/nowhere.ctb"));
    EXPECT_THAT(outcome.answer.log, testing::Not(testing::IsEmpty()));
}

TEST(AnEngineProcess, RefusesATranslationThatIsTooLongForAReply)
{
    const Worker::Outcome outcome =
        askEngine(ENGINE, forward("en-gb-comp8.ctb", CodePoints(500000, 0x10FFFF)), 100s);
    EXPECT_EQ(outcome.answer.status, EngineAnswer::Status::TOO_LONG);
}

TEST(AnEngineProcess, IsEndedAtItsDeadline)
{
    EXPECT_EQ(askEngine(SCRIPTED_ENGINE, scriptedly(scripted::HANGS), 100ms).end, End::TIMED_OUT);
    EXPECT_THAT(children(), testing::IsEmpty());
}

TEST(AnEngineProcess, LeavesTheSignalsThatEndAServiceToTheService)
{
    boost::asio::io_context loop;
    const auto worker = Worker::start(loop, ENGINE, [] {});
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        kill(children().at(0), signal);
    End end = End::DIED;
    worker->run(forward("en-ueb-g2.ctb", {'a'}), 20s,
                [&end, &worker](const Worker::Outcome& outcome) {
                    end = outcome.end;
                    worker->kill();
                });
    loop.run();
    EXPECT_EQ(end, End::ANSWERED);
}

TEST(AnEngineProcess, DiesWithTheServiceThatCannotEndIt)
{
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    const ChildProcess service([&pipe] {
        boost::asio::io_context loop;
        const auto worker = Worker::start(loop, ENGINE, [] {});
        worker->run(forward("en-ueb-g2.ctb", {'a'}), 20s, [&pipe](const Worker::Outcome&) {
            const pid_t engine = children().at(0);
            // So that it cannot notice that its socket is closed.
            kill(engine, SIGSTOP);
            if (write(pipe[1], &engine, sizeof engine) != sizeof engine)
                _exit(1);
        });
        loop.run();
        return 0;
    });
    pid_t engine = -1;
    ASSERT_EQ(read(pipe[0], &engine, sizeof engine), static_cast<ssize_t>(sizeof engine));
    const Ending ending(engine);
    service.signal(SIGKILL);
    ending.await();
}

TEST(AnEngineProcess, ThatEndsAtOnceCountsAsDead)
{
    EXPECT_EQ(askEngine("/bin/false", forward("x", {'a'}), 20s).end, End::DIED);
}

TEST(AnEngineProcess, ThatCannotBeStartedIsAnError)
{
    EXPECT_THROW(askEngine("/nowhere", forward("x", {'a'}), 20s), std::system_error);
    boost::asio::io_context loop;
    EXPECT_THROW(WorkerPool(loop, "/nowhere", PoolLimits()), std::system_error);
}

TEST_F(AWorkerPool, HasItsProcessesFromTheStart)
{
    EXPECT_THAT(children(), testing::SizeIs(2));
}

TEST_F(AWorkerPool, GivesTheRequestBackWithTheAnswer)
{
    submit("a", scriptedly(scripted::PLAIN, {'a', 'n', 'd'}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
    EXPECT_EQ(outcomes[0].answer.result.output, (CodePoints{0x2861, 0x286E, 0x2864}));
    EXPECT_EQ(texts[0], (CodePoints{'a', 'n', 'd'}));
}

TEST_F(AWorkerPool, AnswersOneClientInItsOrder)
{
    submit("a", scriptedly(scripted::HANGS));
    for (std::size_t length = 1; length <= 20; ++length)
        submit("a", scriptedly(scripted::PLAIN, CodePoints(length, 'x')));
    release();
    awaitOutcomes(21);
    EXPECT_EQ(texts[0], CodePoints{'a'});
    for (std::size_t length = 1; length <= 20; ++length)
        EXPECT_EQ(texts[length].size(), length);
}

TEST_F(AWorkerPool, EndsAProcessAtTheDeadlineAndReplacesIt)
{
    const std::vector<pid_t> before = children();
    setDeadline(100ms);
    submit("a", scriptedly(scripted::HANGS));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::TIMED_OUT);
    EXPECT_EQ(texts[0], CodePoints{'a'});
    EXPECT_THAT(children(), testing::SizeIs(2));
    EXPECT_THAT(children(), testing::Not(testing::ElementsAreArray(before)));
    setDeadline(20s);
    submit("a", scriptedly(scripted::PLAIN));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[1].end, End::ANSWERED);
}

TEST_F(AWorkerPool, StartsMoreProcessesWhileAllAreHeldUp)
{
    for (const char* client : {"a", "b", "c"})
        submit(client, scriptedly(scripted::HANGS));
    submit("d", scriptedly(scripted::PLAIN));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED) << "long before the deadline of the others";
    EXPECT_THAT(children(), testing::SizeIs(4));
}

TEST_F(AWorkerPool, StartsNoMoreThanItMay)
{
    limits.mostWorkers = 3;
    setDeadline(100ms);
    for (const char* client : {"a", "b", "c", "d", "e"})
        submit(client, scriptedly(scripted::HANGS));
    std::size_t most = 0;
    runUntil([this, &most] {
        most = std::max(most, children().size());
        return outcomes.size() == 5;
    });
    EXPECT_EQ(most, 3U);
}

TEST_F(AWorkerPool, LetsTheExtraProcessesGoAgain)
{
    for (const char* client : {"a", "b", "c", "d"})
        submit(client, scriptedly(scripted::HANGS));
    runUntil([] { return children().size() == 4; });
    release();
    awaitOutcomes(4);
    EXPECT_THAT(outcomes, testing::Each(testing::Field(&Worker::Outcome::end, End::ANSWERED)));
    EXPECT_THAT(children(), testing::SizeIs(2));
}

TEST_F(AWorkerPool, TakesItsProcessesAlongWhateverTheyAreDoing)
{
    {
        WorkerPool another(loop, SCRIPTED_ENGINE, limits);
        const auto unwanted = [](const Worker::Outcome&, const EngineRequest&) { FAIL(); };
        ASSERT_TRUE(another.submit({"a", scriptedly(scripted::HANGS), unwanted}));
        EXPECT_THAT(children(), testing::SizeIs(4));
    }
    EXPECT_THAT(children(), testing::SizeIs(2));
    submit("a", scriptedly(scripted::PLAIN));
    awaitOutcomes(1);
}

TEST_F(AWorkerPool, SaysThatAProcessHasDiedInTheMiddleOfAText)
{
    submit("a", scriptedly(scripted::HANGS));
    for (const pid_t child : children())
        kill(child, SIGKILL);
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::DIED);
}

TEST_F(AWorkerPool, ReplacesAProcessThatDiesIdle)
{
    for (const char* client : {"a", "b"})
        submit(client, scriptedly(scripted::PLAIN));
    awaitOutcomes(2);
    const std::vector<pid_t> before = children();
    kill(before[0], SIGKILL);
    runUntil([&before] { return children().size() == 2 && children()[0] != before[0]; });
    submit("a", scriptedly(scripted::PLAIN));
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
        submit("a", scriptedly(scripted::PLAIN));
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
    const std::vector<pid_t> before = children();
    setDeadline(100ms);
    pool.keepLoaded({scripted::HANGS});
    setDeadline(20s);
    runUntil([&before] { return countLeftOf(before) == 0; });
    const std::vector<pid_t> after = children();
    submit("a", scriptedly(scripted::PLAIN));
    awaitOutcomes(1);
    EXPECT_EQ(children(), after) << "none of which is at that table again";
}

TEST_F(AWorkerPoolOfLiblouis, ReadsTheTablesThatItIsToldInEachProcess)
{
    const std::size_t before = kilobytesOf(children());
    pool.keepLoaded({TABLES + "zh-tw.ctb"});
    constexpr std::size_t OF_THE_TABLE = 5000;
    runUntil([before] { return kilobytesOf(children()) > before + 2 * OF_THE_TABLE; });
}

TEST_F(AWorkerPoolOfLiblouis, HasItsProcessesGiveBackWhatALongTextHasTaken)
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
        ASSERT_TRUE(broken.submit({"a", scriptedly(scripted::PLAIN), done}));
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
    ASSERT_TRUE(pool.submit({"a", scriptedly(scripted::PLAIN), done, longAgo}));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::TIMED_OUT);
    submit("a", scriptedly(scripted::PLAIN));
    awaitOutcomes(2);
    EXPECT_EQ(outcomes[1].end, End::ANSWERED);
}

TEST_F(AWorkerPool, ForgetsWhatAClientHasWaitingThatLeaves)
{
    submit("a", scriptedly(scripted::HANGS, {'1'}));
    submit("a", scriptedly(scripted::PLAIN, {'2'}));
    pool.drop("a");
    submit("b", scriptedly(scripted::PLAIN, {'3'}));
    awaitOutcomes(1);
    release();
    awaitOutcomes(2);
    submit("b", scriptedly(scripted::PLAIN, {'4'}));
    awaitOutcomes(3);
    EXPECT_EQ(texts, (std::vector<CodePoints>{{'3'}, {'1'}, {'4'}}));
}

TEST_F(AWorkerPool, ReadsTablesAheadWithoutHoldingATextUp)
{
    pool.keepLoaded({scripted::HANGS});
    submit("a", scriptedly(scripted::PLAIN));
    awaitOutcomes(1);
    EXPECT_EQ(outcomes[0].end, End::ANSWERED);
}

TEST_F(AWorkerPool, SurvivesTablesThatCannotBeReadAhead)
{
    const std::vector<pid_t> before = children();
    pool.keepLoaded({scripted::REFUSES, scripted::DIES});
    runUntil([&before] { return countLeftOf(before) < 2; });
    for (std::size_t round = 1; round <= 10; ++round) {
        submit("a", scriptedly(scripted::PLAIN));
        awaitOutcomes(round);
        EXPECT_EQ(outcomes.back().end, End::ANSWERED);
    }
    // Another may have helped out while the two were reading.
    runUntil([] { return children().size() == 2; });
}

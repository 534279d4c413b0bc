/** What texts that hang the engine, and engines that die, do to clients of the service. */
#include "support/Environment.h"
#include "support/Figures.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/Sanitizers.h"
#include "support/ServiceProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <list>
#include <ostream>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

/** Texts that the engine never finishes, with a table that hangs on them. */
struct Hang
{
    const char* name;
    const char* translator;
    std::wstring text;
};

std::ostream& operator<<(std::ostream& output, const Hang& hang)
{
    return output << hang.name;
}

const Hang HANGS[] = {
    {"AtBehindAHyphen", "de-g2.ctb", L"E-Mail: -@home"},
    {"AtBehindAQuestionMark", "de-g2.ctb", L"Wirklich ?@anna"},
    {"ColonsBehindEscape", "en-us-g2.ctb", L"a\u001b:::"},
};

const std::wstring FORTY = L"The quick brown fox jumps over the dogs.";

/** How long it takes as a rule. */
Milliseconds usualTimeOf(const char* what, int often, const std::function<void()>& action)
{
    Durations durations(what);
    for (int round = 0; round < often; ++round)
        durations.measure(action);
    return durations.median();
}

/** A client with a connection of its own. */
struct Client
{
    std::wstring forward(const char* translator, const std::wstring& text)
    {
        return TranslatorProxy(0, "", true, translator, translation.getServiceProxy())
            .forwardW(text)
            ->getTranslatedW();
    }

    std::wstring forward(const Hang& hang) { return forward(hang.translator, hang.text); }

    Translation translation;
};

/** Waits until a process that is no child of ours has ended. */
class Ending
{
public:
    explicit Ending(pid_t process)
        : descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)))
    {
    }
    ~Ending() { close(descriptor); }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    bool comesWithin(std::chrono::milliseconds time) const
    {
        pollfd ended{descriptor, POLLIN, 0};
        return poll(&ended, 1, static_cast<int>(time.count())) == 1;
    }

private:
    int descriptor;
};

/** A service that gives a text up after so many milliseconds. */
class ServiceWithDeadline : public testing::Test
{
protected:
    explicit ServiceWithDeadline(int milliseconds)
        : service({}, "deadline-ms = " + std::to_string(milliseconds))
    {
    }

    /** Has a client of its own ask for a text that hangs; returns once an engine is at it. */
    void startHanging()
    {
        hanging.push_back(std::async(std::launch::async, [] { Client().forward(HANGS[0]); }));
        while (service.busyEngines().size() < hanging.size())
            std::this_thread::yield();
    }

    PrivateBus bus;
    LogCapture log;
    std::vector<std::future<void>> hanging; ///< they end with the service
    ServiceProcess service;
};

class ATextThatHangs : public ServiceWithDeadline, public testing::WithParamInterface<Hang>
{
protected:
    ATextThatHangs() : ServiceWithDeadline(static_cast<int>(deadline().count())) {}

    /** Enough for an engine that is new to read a table. */
    static Milliseconds deadline() { return patiently(150ms); }
};

INSTANTIATE_TEST_SUITE_P(Each, ATextThatHangs, testing::ValuesIn(HANGS),
                         [](const auto& which) { return std::string(which.param.name); });

class WhileATextHangs : public ServiceWithDeadline
{
protected:
    WhileATextHangs() : ServiceWithDeadline(20000) {}
};

} // namespace

TEST_P(ATextThatHangs, IsGivenUpAtTheDeadlineAHundredTimesAndLeavesNothingBehind)
{
    Client client;
    client.forward(GetParam());
    ASSERT_EQ(client.forward("en-ueb-g2.ctb", L"and"), L"\u282f");
    const std::size_t descriptors = service.descriptors();
    const std::size_t memory = service.residentKilobytes();
    for (int round = 0; round < rounds(100); ++round) {
        log.clear();
        const auto time = timeOf([&] { client.forward(GetParam()); });
        ASSERT_GE(time, deadline());
        ASSERT_LE(time, deadline() + patiently(200ms));
        ASSERT_THAT(log.records(), SizeIs(1));
        ASSERT_THAT(log.records()[0].message, HasSubstr("[braille.translator.Error.Timeout]"));
        ASSERT_EQ(client.forward("en-ueb-g2.ctb", L"and"), L"\u282f");
    }
    EXPECT_THAT(service.engines(), SizeIs(2));
    EXPECT_EQ(service.descriptors(), descriptors);
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LE(service.residentKilobytes(), memory + 512);
    }
}

TEST_F(WhileATextHangs, QuestionsAreAnsweredWithinTenMilliseconds)
{
    startHanging();
    Client client;
    const auto ask = [&client] { client.translation.getPreferredBrailleTranslatorForDisplay(); };
    EXPECT_LT(usualTimeOf("a call takes", 100, ask), patiently(10ms));
    EXPECT_THAT(log.records(), testing::IsEmpty()) << "it still hangs";
}

TEST_F(WhileATextHangs, AnotherClientsTextIsTranslatedWithinATenthOfASecond)
{
    startHanging();
    const auto ask = [] { EXPECT_NE(Client().forward("en-ueb-g2.ctb", FORTY), L""); };
    EXPECT_LT(usualTimeOf("a call takes", 20, ask), patiently(100ms));
    EXPECT_THAT(log.records(), testing::IsEmpty()) << "it still hangs";
}

TEST_F(WhileATextHangs, SoMayOthersAndAnotherClientIsStillServed)
{
    for (int count = 0; count < 4; ++count)
        startHanging();
    Client client;
    const auto ask = [&client] { EXPECT_NE(client.forward("en-ueb-g2.ctb", FORTY), L""); };
    EXPECT_LT(usualTimeOf("a call takes", 20, ask), patiently(100ms));
    EXPECT_THAT(log.records(), testing::IsEmpty()) << "they still hang";
}

TEST_F(WhileATextHangs, ItsClientGetsAnErrorWhenTheEngineIsKilledAndNobodyElseNotices)
{
    startHanging();
    const std::vector<pid_t> busy = service.busyEngines();
    ASSERT_THAT(busy, SizeIs(1));
    Client other;
    ASSERT_NE(other.forward("en-ueb-g2.ctb", FORTY), L"");
    kill(busy[0], SIGKILL);
    hanging[0].get();
    for (int round = 0; round < 20; ++round)
        EXPECT_NE(other.forward("en-ueb-g2.ctb", FORTY), L"");
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("[braille.translator.Error.EngineFailed]"));
    EXPECT_THAT(service.engines(), SizeIs(2));
}

TEST_F(WhileATextHangs, EnginesDieWithTheServiceHoweverThatEnds)
{
    startHanging();
    std::list<Ending> endings;
    for (const pid_t engine : service.engines())
        endings.emplace_back(engine);
    ASSERT_THAT(endings, SizeIs(2));
    service.end(SIGKILL);
    for (const Ending& ending : endings)
        EXPECT_TRUE(ending.comesWithin(5000ms));
}

TEST_F(WhileATextHangs, TheProfileCanBeChanged)
{
    startHanging();
    Client client;
    std::string german = "de";
    client.translation.changeLanguageProfile(german);
    EXPECT_EQ(client.translation.getPreferredBrailleTranslatorForDisplay()->getID(), "de-g2.ctb");
    EXPECT_THAT(log.records(), testing::IsEmpty());
}

/** What engines that hang, die and talk nonsense do to clients of the service. */
#include "support/Figures.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/Sanitizers.h"
#include "support/ScriptedEngine.h"
#include "support/ScriptedService.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <future>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** A text that has time, and its braille. */
const std::wstring LETTERS(ScriptedService::UNHURRIED, L'a');
const std::wstring BRAILLE(ScriptedService::UNHURRIED, L'\u2861');

/** What an engine does with a text, and whether that is noticed only at the deadline. */
struct Fault
{
    const char* name;
    const char* translator;
    bool isSilent;
};

std::ostream& operator<<(std::ostream& output, const Fault& fault)
{
    return output << fault.name;
}

const Fault FAULTS[] = {
    {"Hangs", scripted::HANGS, true},
    {"StopsHalfway", scripted::STOPS_HALFWAY, true},
    {"BreaksOff", scripted::BREAKS_OFF, false},
    {"Dies", scripted::DIES, false},
    {"Exits", scripted::EXITS, false},
    {"ClosesItsSocket", scripted::CLOSES, false},
    {"SaysNothing", scripted::SAYS_NOTHING, false},
    {"TalksNonsense", scripted::TALKS_NONSENSE, false},
    {"ExaggeratesALength", scripted::EXAGGERATES, false},
    {"BoastsOfItsAnswer", scripted::BOASTS, false},
};

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
    std::wstring forward(const char* translator, const std::wstring& text = LETTERS)
    {
        return TranslatorProxy(0, "", true, translator, translation.getServiceProxy())
            .forwardW(text)
            ->getTranslatedW();
    }

    Translation translation;
};

class AnEngineThat : public testing::TestWithParam<Fault>
{
protected:
    /** Of a text of one code point; see SHORT_DEADLINE. */
    static constexpr Milliseconds DEADLINE = 30ms;

    /** No more engines than two help out, so that there are as many at the end. */
    static std::string engineLines()
    {
        return std::string("most-workers = 2\n") + (GetParam().isSilent
                                                        ? ScriptedService::SHORT_DEADLINE
                                                        : ScriptedService::LONG_DEADLINE);
    }

    /** The log record of a text that has come to that end. */
    static std::string error()
    {
        return std::string("[braille.translator.Error.") +
               (GetParam().isSilent ? "Timeout]" : "EngineFailed]");
    }

    PrivateBus bus;
    LogCapture log;
    ScriptedService service{engineLines()};
};

INSTANTIATE_TEST_SUITE_P(Each, AnEngineThat, testing::ValuesIn(FAULTS),
                         [](const auto& which) { return std::string(which.param.name); });

/** Texts that are not given up before the test is over. */
class WhileATextHangs : public testing::Test
{
protected:
    /** Has a client of its own ask for a text that hangs; returns the engine process at it. */
    pid_t startHanging()
    {
        hanging.push_back(
            std::async(std::launch::async, [] { return Client().forward(scripted::HANGS, L"a"); }));
        return service.nextHanging();
    }

    void expectThatAllHang() const
    {
        for (const auto& text : hanging)
            EXPECT_EQ(text.wait_for(0s), std::future_status::timeout);
    }

    PrivateBus bus;
    LogCapture log;
    std::vector<std::future<std::wstring>> hanging; ///< they end with the service
    ScriptedService service;
};

} // namespace

TEST_P(AnEngineThat, EndsOneTextAndNoOtherAHundredTimesAndLeavesNothingBehind)
{
    Client client;
    client.forward(GetParam().translator, L"a");
    ASSERT_EQ(client.forward(scripted::PLAIN), BRAILLE);
    const std::size_t descriptors = service.descriptors();
    const std::size_t memory = service.residentKilobytes();
    Durations durations("a call takes");
    for (int round = 0; round < rounds(100); ++round) {
        log.clear();
        durations.measure([&] { client.forward(GetParam().translator, L"a"); });
        ASSERT_THAT(log.records(), SizeIs(1));
        ASSERT_THAT(log.records()[0].message, HasSubstr(error()));
        ASSERT_EQ(client.forward(scripted::PLAIN), BRAILLE);
        // With a short deadline, an engine that reads a table may be replaced at this moment.
        ASSERT_THAT(service.engines(), AnyOf(SizeIs(2), SizeIs(GetParam().isSilent ? 1 : 2)));
    }
    EXPECT_GE(durations.shortest(), GetParam().isSilent ? DEADLINE : 0ms);
    expectWithin(DEADLINE + 200ms, durations.longest());
    EXPECT_LE(service.descriptors(), descriptors + 2);
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LE(service.residentKilobytes(), memory + 512);
    }
}

TEST(AnEngineThatRefusesAText, SaysWhyAndIsAskedAgain)
{
    const PrivateBus bus;
    LogCapture log;
    ScriptedService service{"deadline-ms = 20000\nmost-workers = 2\n"};
    Client client;
    const std::vector<pid_t> before = service.engines();
    for (const auto& [translator, error] :
         {std::pair(scripted::REFUSES, "EngineFailed"), std::pair(scripted::EXCEEDS, "TooLong")}) {
        log.clear();
        EXPECT_EQ(client.forward(translator), L"");
        ASSERT_THAT(log.records(), SizeIs(1));
        EXPECT_THAT(log.records()[0].message,
                    testing::AllOf(HasSubstr(std::string("[braille.translator.Error.") + error),
                                   HasSubstr(scripted::REFUSAL)));
        EXPECT_THAT(service.logUntil(error), HasSubstr(scripted::REFUSAL_IN_LOG));
        EXPECT_EQ(client.forward(scripted::PLAIN), BRAILLE);
    }
    EXPECT_EQ(service.engines(), before);
}

TEST_F(WhileATextHangs, QuestionsAreAnsweredWithinTenMilliseconds)
{
    startHanging();
    Client client;
    const auto ask = [&client] { client.translation.getPreferredBrailleTranslatorForDisplay(); };
    expectWithin(10ms, usualTimeOf("a call takes", 100, ask));
    EXPECT_THAT(log.records(), IsEmpty());
    expectThatAllHang();
}

TEST_F(WhileATextHangs, AnotherClientsTextIsTranslatedWithinATenthOfASecond)
{
    startHanging();
    const auto ask = [] { EXPECT_EQ(Client().forward(scripted::PLAIN), BRAILLE); };
    expectWithin(100ms, usualTimeOf("a call takes", 20, ask));
    EXPECT_THAT(log.records(), IsEmpty());
    expectThatAllHang();
}

TEST_F(WhileATextHangs, SoMayOthersAndAnotherClientIsStillServed)
{
    for (int count = 0; count < 4; ++count)
        startHanging();
    Client client;
    const auto ask = [&client] { EXPECT_EQ(client.forward(scripted::PLAIN), BRAILLE); };
    expectWithin(100ms, usualTimeOf("a call takes", 20, ask));
    EXPECT_THAT(log.records(), IsEmpty());
    expectThatAllHang();
}

TEST_F(WhileATextHangs, ItIsTranslatedWhenItsEngineGoesOnInTime)
{
    kill(startHanging(), SIGHUP);
    EXPECT_EQ(hanging[0].get(), L"\u2861");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(WhileATextHangs, ItsClientGetsAnErrorWhenTheEngineIsKilledAndNobodyElseNotices)
{
    const pid_t engine = startHanging();
    Client other;
    ASSERT_EQ(other.forward(scripted::PLAIN), BRAILLE);
    kill(engine, SIGKILL);
    hanging[0].get();
    for (int round = 0; round < 20; ++round)
        EXPECT_EQ(other.forward(scripted::PLAIN), BRAILLE);
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("[braille.translator.Error.EngineFailed]"));
    EXPECT_THAT(service.engines(), testing::Not(testing::Contains(engine)));
}

TEST_F(WhileATextHangs, TheServiceEndsCleanlyWithinASecond)
{
    const pid_t busy = startHanging();
    const std::vector<pid_t> engines = service.engines();
    ASSERT_THAT(engines, testing::Contains(busy));
    expectWithin(1s, timeOf([this] { EXPECT_EQ(service.end(SIGTERM), 0); }));
    for (const pid_t engine : engines)
        EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(engine)));
}

TEST_F(WhileATextHangs, TheProfileCanBeChanged)
{
    startHanging();
    Client client;
    std::string profile = "other";
    client.translation.changeLanguageProfile(profile);
    EXPECT_EQ(client.translation.getPreferredBrailleTranslatorForDisplay()->getID(),
              scripted::OTHER);
    EXPECT_THAT(log.records(), IsEmpty());
    expectThatAllHang();
}

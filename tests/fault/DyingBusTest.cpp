#include "support/BusTest.h"
#include "support/Figures.h"
#include "support/HostProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using testing::SizeIs;
using testing::StartsWith;

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

/** A host with a bus to lose. */
struct Host
{
    Host()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
    }

    PrivateBus bus;
    FakeService service{bus.address()};
    LogCapture log;
    std::unique_ptr<Translation> translation = std::make_unique<Translation>();
};

class ABusThatDies : public testing::TestWithParam<int>
{
protected:
    static constexpr int ROUNDS = 20;

    void TearDown() override
    {
        EXPECT_LE(failing.longestOfNearlyAll(), patiently(5ms));
        EXPECT_LE(destroying.longestOfNearlyAll(), patiently(100ms));
    }

    /** What every host must find once its bus is gone. */
    void expectOrdinaryFailuresAndEnd(Host& host)
    {
        TranslatorProxy handle(2, "x", true, "x", host.translation->getServiceProxy());
        std::string profile = "en-gb";
        expectOneRecord(host, "getComputerBrailleTranslator : ", [&] {
            EXPECT_EQ(host.translation->getComputerBrailleTranslator(), nullptr);
        });
        expectOneRecord(host, "forwardW_proxy : ", [&] {
            EXPECT_EQ(handle.forwardW(L"a")->getTranslatedW(), L"");
        });
        expectOneRecord(host, "changeLanguageProfile_proxy : ", [&] {
            host.translation->changeLanguageProfile(profile);
        });
        destroying.measure([&] { host.translation.reset(); });
    }

    template <typename Operation>
    void expectOneRecord(Host& host, const char* start, Operation operation)
    {
        host.log.clear();
        failing.measure(operation);
        ASSERT_THAT(host.log.records(), SizeIs(1));
        EXPECT_THAT(host.log.records()[0].message, StartsWith(start));
    }

    const HostProcess before{};
    Durations failing{"a call without a bus fails after"};
    Durations destroying{"a Translation without a bus is destroyed in"};
};

INSTANTIATE_TEST_SUITE_P(Of, ABusThatDies, testing::Values(SIGKILL, SIGTERM),
                         [](const auto& signal) {
                             return signal.param == SIGKILL ? "SIGKILL" : "SIGTERM";
                         });

/** Busy, because a sleep would end much too late. */
void spinFor(Milliseconds duration)
{
    const auto end = steady_clock::now() + duration;
    while (steady_clock::now() < end) {
    }
}

/** Ends the bus at a moment of its own, on a thread of its own. */
class Killer
{
public:
    Killer(PrivateBus& bus, int signal, Milliseconds delay)
        : thread([&bus, signal, delay, this] {
              while (!isStarted) {
              }
              spinFor(delay);
              bus.kill(signal);
          })
    {
    }

    ~Killer() { thread.join(); }
    Killer(const Killer&) = delete;
    Killer& operator=(const Killer&) = delete;

    void start() { isStarted = true; }

private:
    std::atomic<bool> isStarted = false;
    std::thread thread;
};

/** A process that constructs something, for constructions that may end their process. */
class OtherHost
{
public:
    static constexpr const char* ENDED_BY_BINDING = "ended by the binding's thread";

    template <typename Construction>
    explicit OtherHost(Construction construct)
    {
        child = fork();
        if (child != 0)
            return;
        dup2(fileno(errors), STDERR_FILENO);
        eventfd_write(started, 1);
        try {
            construct();
        } catch (const std::exception&) {
            _exit(1);
        }
        _exit(0);
    }

    ~OtherHost()
    {
        close(started);
        static_cast<void>(std::fclose(errors));
    }

    OtherHost(const OtherHost&) = delete;
    OtherHost& operator=(const OtherHost&) = delete;

    void waitForStart() const
    {
        eventfd_t value = 0;
        eventfd_read(started, &value);
    }

    /** What became of it; waits for its end. */
    std::string outcome()
    {
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status))
            return WEXITSTATUS(status) == 0 ? "constructed" : "refused";
        std::rewind(errors);
        std::string text(1024, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), errors));
        return text.find("Failed to process bus requests") == std::string::npos ? text
                                                                                : ENDED_BY_BINDING;
    }

private:
    int started = eventfd(0, EFD_CLOEXEC);
    std::FILE* errors = std::tmpfile();
    pid_t child = -1;
};

} // namespace

TEST_P(ABusThatDies, BeforeTheFirstCallMakesAllCallsFailAtOnce)
{
    for (int round = 0; round < rounds(ROUNDS); ++round) {
        Host host;
        host.bus.kill(GetParam());
        expectOrdinaryFailuresAndEnd(host);
    }
    EXPECT_EQ(HostProcess(), before);
}

TEST_P(ABusThatDies, BetweenTwoCallsMakesTheLaterOnesFailAtOnce)
{
    for (int round = 0; round < rounds(ROUNDS); ++round) {
        Host host;
        ASSERT_NE(host.translation->getComputerBrailleTranslator(), nullptr);
        host.bus.kill(GetParam());
        expectOrdinaryFailuresAndEnd(host);
    }
    EXPECT_EQ(HostProcess(), before);
}

TEST_P(ABusThatDies, DuringACallEndsTheCallWithinASecond)
{
    Durations ending("a call returns after the death of its bus in");
    for (int round = 0; round < rounds(ROUNDS); ++round) {
        Host host;
        steady_clock::time_point death;
        host.service.on("forwardW", [&](sd_bus_message*) {
            death = steady_clock::now();
            host.bus.kill(GetParam());
        });
        TranslatorProxy handle(2, "x", true, "x", host.translation->getServiceProxy());
        EXPECT_EQ(handle.forwardW(L"a")->getTranslatedW(), L"");
        ending.add(steady_clock::now() - death);
        ASSERT_THAT(host.log.records(), SizeIs(1));
        EXPECT_THAT(host.log.records()[0].message, StartsWith("forwardW_proxy : "));
        expectOrdinaryFailuresAndEnd(host);
    }
    EXPECT_LE(ending.longest(), patiently(1s));
    EXPECT_EQ(HostProcess(), before);
}

// The binding's thread, which lives for some microseconds within the constructor, ends the
// host when it finds its bus gone; see DBusTranslatorProxy.h. Nothing else may.
TEST_P(ABusThatDies, DuringTheConstructionGivesAnObjectOrAnException)
{
    std::map<std::string, int> outcomes;
    for (int round = 0; round < rounds(ROUNDS); ++round) {
        PrivateBus bus;
        const Milliseconds undisturbed = timeOf([] { const Translation translation; });
        OtherHost host([] { const Translation translation; });
        host.waitForStart();
        spinFor(undisturbed * 2 * round / rounds(ROUNDS));
        bus.kill(GetParam());
        ++outcomes[host.outcome()];
    }
    for (const auto& [outcome, count] : outcomes)
        report(outcome, count);
    const int madeOrRefused = outcomes["constructed"] + outcomes["refused"];
    EXPECT_EQ(madeOrRefused + outcomes[OtherHost::ENDED_BY_BINDING], rounds(ROUNDS));
    EXPECT_GT(madeOrRefused, 0);
}

TEST_P(ABusThatDies, DuringTheDestructionDoesNotHoldItUp)
{
    for (int round = 0; round < rounds(ROUNDS); ++round) {
        Host host;
        auto another = std::make_unique<Translation>();
        const Milliseconds undisturbed = timeOf([&] { another.reset(); });
        const Milliseconds moment = undisturbed * 2 * round / rounds(ROUNDS);
        Killer killer(host.bus, GetParam(), moment);
        killer.start();
        destroying.measure([&] { host.translation.reset(); });
        EXPECT_THAT(host.log.records(), SizeIs(0));
    }
    EXPECT_EQ(HostProcess(), before);
}

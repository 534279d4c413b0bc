#include "support/BusTest.h"
#include "support/ChildProcess.h"
#include "support/Figures.h"
#include "support/HostProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <sched.h>
#include <string>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <system_error>
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
        expectWithin(5ms, failing.median());
        expectWithin(100ms, failing.longest());
        expectWithin(100ms, destroying.longestOfNearlyAll());
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

/** A process that makes a Translation, calls with it and ends it, while its bus may die. */
class OtherHost
{
public:
    OtherHost()
        : process([this] {
              dup2(fileno(errors), STDERR_FILENO);
              eventfd_write(started, 1);
              Translation translation;
              translation.getComputerBrailleTranslator();
              return 0;
          })
    {
    }

    ~OtherHost()
    {
        close(started);
        static_cast<void>(std::fclose(errors));
    }

    OtherHost(const OtherHost&) = delete;
    OtherHost& operator=(const OtherHost&) = delete;

    /** Returns once it holds that many descriptors and was looked at so often, or has ended. */
    void waitUntilItHas(std::size_t descriptors, int looks) const
    {
        eventfd_t value = 0;
        eventfd_read(started, &value);
        const std::string folder = folderOf(process.pid());
        while (stateIn(folder) != 'Z' && (countIn(folder + "/fd") < descriptors || --looks > 0))
            sched_yield();
    }

    /** What became of it; waits for its end. */
    std::string outcome()
    {
        const int status = process.wait();
        if (WIFEXITED(status))
            return WEXITSTATUS(status) == 0 ? "constructed" : "refused";
        std::rewind(errors);
        std::string text(1024, '\0');
        text.resize(std::fread(text.data(), 1, text.size(), errors));
        return "ended: " + text;
    }

private:
    /** 0 once the process has ended. */
    static std::size_t countIn(const std::string& folder)
    {
        std::error_code hasEnded;
        const std::filesystem::directory_iterator entries(folder, hasEnded);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    int started = eventfd(0, EFD_CLOEXEC);
    std::FILE* errors = std::tmpfile();
    ChildProcess process;
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

TEST_P(ABusThatDies, DuringACallEndsTheCall)
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
    expectWithin(1s, ending.longest());
    EXPECT_EQ(HostProcess(), before);
}

TEST_P(ABusThatDies, DuringTheConstructionGivesAnObjectOrAnException)
{
    constexpr int MOST_LOOKS = 9;
    std::map<std::string, int> outcomes;
    const auto seed = std::random_device()();
    report("seed", seed);
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> looks(0, MOST_LOOKS);
    const int all = rounds(200);
    for (int round = 0; round < all; ++round) {
        PrivateBus bus;
        const auto atStart = HostProcess::countOf("/proc/self/fd");
        const std::size_t taken = [&] {
            const Translation undisturbed;
            return HostProcess::countOf("/proc/self/fd") - atStart;
        }();
        OtherHost host;
        // At any descriptor that the construction takes, and any time after it.
        std::uniform_int_distribution<std::size_t> descriptors(atStart, atStart + taken);
        host.waitUntilItHas(descriptors(random), looks(random));
        bus.kill(GetParam());
        ++outcomes[host.outcome()];
    }
    for (const auto& [outcome, count] : outcomes)
        report(outcome, count);
    EXPECT_EQ(outcomes["constructed"] + outcomes["refused"], all);
}

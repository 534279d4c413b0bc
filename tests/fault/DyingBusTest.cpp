#include "support/BusTest.h"
#include "support/ChildProcess.h"
#include "support/Figures.h"
#include "support/HostProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
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

/** A process that constructs something, for constructions that may end their process. */
class OtherHost
{
public:
    static constexpr const char* ENDED_BY_BINDING = "ended by the binding's thread";

    explicit OtherHost(void (*construct)())
        : process([this, construct] {
              dup2(fileno(errors), STDERR_FILENO);
              eventfd_write(started, 1);
              construct();
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

    /** Returns once it holds that much, or has ended. */
    void waitUntilItHas(std::size_t descriptors, std::size_t threads) const
    {
        eventfd_t value = 0;
        eventfd_read(started, &value);
        const std::string folder = folderOf(process.pid());
        while (stateIn(folder) != 'Z' &&
               (countIn(folder + "/fd") < descriptors || countIn(folder + "/task") < threads))
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
        return text.find("Failed to process bus requests") == std::string::npos ? text
                                                                                : ENDED_BY_BINDING;
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
    const int all = std::max(ROUNDS, rounds(ROUNDS));
    std::size_t moment = 0;
    for (int round = 0; round < all; ++round) {
        PrivateBus bus;
        const auto atStart = HostProcess::countOf("/proc/self/fd");
        const std::size_t taken = [&] {
            const Translation undisturbed;
            return HostProcess::countOf("/proc/self/fd") - atStart;
        }();
        OtherHost host([] { const Translation translation; });
        // Moments of the construction: each descriptor that it takes, and the binding's thread.
        host.waitUntilItHas(atStart + std::min(moment, taken), moment > taken ? 2 : 1);
        bus.kill(GetParam());
        ++outcomes[host.outcome()];
        moment = moment > taken ? 0 : moment + 1;
    }
    for (const auto& [outcome, count] : outcomes)
        report(outcome, count);
    const int madeOrRefused = outcomes["constructed"] + outcomes["refused"];
    EXPECT_EQ(madeOrRefused + outcomes[OtherHost::ENDED_BY_BINDING], all);
    EXPECT_GT(madeOrRefused, 0);
}

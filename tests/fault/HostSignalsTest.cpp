#include "support/BusTest.h"
#include "support/ChildProcess.h"
#include "support/Figures.h"
#include "support/ScopedSignals.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <sdbus-c++/IConnection.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <fstream>
#include <initializer_list>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

namespace {

/** More signals blocked on this thread, as long as it lives. */
class ScopedMask
{
public:
    explicit ScopedMask(std::initializer_list<int> signals)
    {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : signals)
            sigaddset(&blocked, signal);
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }

    ~ScopedMask() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }
    ScopedMask(const ScopedMask&) = delete;
    ScopedMask& operator=(const ScopedMask&) = delete;

private:
    sigset_t before{};
};

std::vector<int> blockedSignals()
{
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    std::vector<int> blocked;
    for (int signal = 1; signal < NSIG; ++signal) {
        if (sigismember(&mask, signal) == 1)
            blocked.push_back(signal);
    }
    return blocked;
}

/** The signals that a thread would take now, from outside of it. */
std::vector<int> openSignalsOf(pid_t thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    unsigned long long mask = 0;
    for (std::string word; status >> word;) {
        if (word == "SigBlk:")
            status >> std::hex >> mask;
    }
    std::vector<int> open;
    for (int signal = 1; signal < NSIG; ++signal) {
        const bool isReserved = signal > SIGSYS && signal < SIGRTMIN;
        const bool isUnblockable = signal == SIGKILL || signal == SIGSTOP;
        if ((mask >> (signal - 1) & 1U) == 0 && !isReserved && !isUnblockable)
            open.push_back(signal);
    }
    return open;
}

class AHostsSignals : public BusTest
{
protected:
    AHostsSignals()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
        service.on("changeLanguageProfile", answer::nothing());
        handle = translation.getComputerBrailleTranslator();
    }

    std::string profile = "en-gb";
    Translation translation;
    TranslatorProxy* handle = nullptr;
};

} // namespace

TEST_F(AHostsSignals, DoNotMakeCallsFail)
{
    const ScopedHandler handler(SIGALRM);
    const ScopedTimer timer;
    // On a quick machine many calls pass between two signals, so count those.
    for (int call = 0; call < rounds(5000) || handled < 200; ++call)
        ASSERT_EQ(handle->forwardW(L"some text")->getUntranslatedW(), L"some text");
    report("signals during calls", handled);
    handled = 0;
    for (int call = 0; call < rounds(5000) || handled < 200; ++call)
        translation.changeLanguageProfile(profile);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHostsSignals, OfManyChildrenThatEndDoNotMakeCallsFail)
{
    const ScopedHandler handler(SIGCHLD);
    const std::vector<int> before = blockedSignals();
    std::atomic<bool> isOver = false;
    std::thread parent([&] {
        while (!isOver)
            ChildProcess([] { return 0; }).wait();
    });
    for (int call = 0; call < rounds(5000) || handled < 100; ++call)
        ASSERT_EQ(handle->forwardW(L"some text")->getUntranslatedW(), L"some text");
    isOver = true;
    parent.join();
    report("children that ended during calls", handled);
    EXPECT_EQ(blockedSignals(), before);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHostsSignals, DoNotMakeTheConstructorFail)
{
    const ScopedHandler handler(SIGALRM);
    const ScopedTimer timer;
    for (int round = 0; round < rounds(500) || handled < 200; ++round)
        ASSERT_NE(Translation().getComputerBrailleTranslator(), nullptr);
    report("signals during constructions", handled);
}

TEST_F(AHostsSignals, HaveTheSameMaskAfterEveryCall)
{
    const ScopedMask own{SIGUSR1, SIGTERM, SIGSEGV};
    const std::vector<int> before = blockedSignals();
    ASSERT_THAT(before, SizeIs(testing::Ge(3U)));
    handle->forwardW(L"a");
    EXPECT_EQ(blockedSignals(), before) << "after a call that worked";
    {
        const Translation another;
        EXPECT_EQ(blockedSignals(), before) << "after a constructor";
    }
    service.releaseName();
    handle->forwardW(L"a");
    translation.getComputerBrailleTranslator();
    EXPECT_THROW(TranslatorProxy("x", translation.getServiceProxy()), std::exception);
    EXPECT_EQ(blockedSignals(), before) << "after calls that failed";
    bus.kill(SIGKILL);
    handle->forwardW(L"a");
    EXPECT_THROW(Translation(), std::exception);
    EXPECT_EQ(blockedSignals(), before) << "without a bus";
}

#if LIBSYSTEMD_VERSION >= 253

TEST_F(AHostsSignals, FindTheirMaskUntouchedDuringACall)
{
    const ScopedMask own{SIGUSR1, SIGTERM, SIGSEGV};
    const pid_t host = gettid();
    const std::vector<int> before = openSignalsOf(host);
    std::vector<int> open;
    for (const char* method : {"forwardW", "changeLanguageProfile"})
        service.on(method, [&](sd_bus_message* call) {
            open = openSignalsOf(host);
            answer::nothing()(call);
        });
    handle->forwardW(L"a");
    EXPECT_EQ(open, before);
    open.clear();
    translation.changeLanguageProfile(profile);
    EXPECT_EQ(open, before);
}

TEST_F(AHostsSignals, AreHandledAtOnceWhileACallGoesOn)
{
    const pthread_t host = pthread_self();
    for (const int signal : {SIGTERM, SIGINT, SIGALRM, SIGCHLD, SIGUSR1}) {
        const ScopedHandler handler(signal);
        // The call waits all this time: it is answered once the handler has run, often.
        service.on("forwardW", [&](sd_bus_message* call) {
            while (handled < 100) {
                pthread_kill(host, signal);
                std::this_thread::yield();
            }
            answer::echo(call);
        });
        EXPECT_EQ(handle->forwardW(L"a")->getUntranslatedW(), L"a") << signal;
        EXPECT_GE(handled, 100) << signal;
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHostsSignals, DoNotProlongTheTimeOutOfACall)
{
    constexpr std::chrono::milliseconds TIME_OUT(200);
    const ScopedHandler handler(SIGALRM);
    const ScopedTimer timer;
    service.on("forwardW", answer::silence());
    translation.getServiceProxy()->sdbusProxy.getConnection().setMethodCallTimeout(TIME_OUT);
    const Milliseconds duration =
        timeOf([&] { EXPECT_EQ(handle->forwardW(L"a")->getUntranslatedW(), L""); });
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("Timeout"));
    EXPECT_GE(duration, TIME_OUT);
    expectWithin(TIME_OUT + std::chrono::milliseconds(100), duration);
}

#else

TEST_F(AHostsSignals, AreAllBlockedDuringACallButFaultsAndEnds)
{
    const pid_t waiting = gettid();
    std::vector<int> open;
    const Responder reply = answer::echo;
    service.on("forwardW", [&](sd_bus_message* call) {
        open = openSignalsOf(waiting);
        reply(call);
    });
    handle->forwardW(L"a");
    EXPECT_THAT(open, UnorderedElementsAre(SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT,
                                           SIGSYS, SIGINT, SIGTERM, SIGQUIT, SIGHUP));
}

TEST_F(AHostsSignals, StayBlockedDuringACallWhereTheHostHasBlockedThem)
{
    const ScopedMask own{SIGTERM, SIGINT, SIGSEGV};
    const pid_t waiting = gettid();
    std::vector<int> open;
    const Responder reply = answer::nothing();
    service.on("changeLanguageProfile", [&](sd_bus_message* call) {
        open = openSignalsOf(waiting);
        reply(call);
    });
    translation.changeLanguageProfile(profile);
    EXPECT_THAT(open, UnorderedElementsAre(SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS,
                                           SIGQUIT, SIGHUP));
}

TEST_F(AHostsSignals, ThatEndAProgramEndAWaitingCallAtOnce)
{
    const ScopedHandler handler(SIGTERM);
    service.on("forwardW", answer::silence());
    service.clearCalls();
    std::atomic<bool> hasReturned = false;
    std::chrono::steady_clock::time_point sent;
    const pthread_t waiting = pthread_self();
    std::thread person([&] {
        service.waitForCalls(1);
        sent = std::chrono::steady_clock::now();
        // A signal that comes before the call waits would be handled too early to end it.
        while (!hasReturned) {
            pthread_kill(waiting, SIGTERM); // NOLINT(bugprone-bad-signal-to-kill-thread): handled
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(handle->forwardW(L"a")->getTranslatedW(), L"");
    const auto returned = std::chrono::steady_clock::now();
    hasReturned = true;
    person.join();
    const Milliseconds duration = returned - sent;
    report("a call ends after the signal in", duration.count(), "ms");
    expectWithin(std::chrono::seconds(1), duration);
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("EINTR"));
    EXPECT_GT(handled, 0);
}

#endif

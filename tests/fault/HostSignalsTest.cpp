#include "support/BusTest.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <string>
#include <sys/time.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

std::atomic<int> handled;

/** A handler without SA_RESTART, as long as it lives. */
class ScopedHandler
{
public:
    explicit ScopedHandler(int number) : signal(number)
    {
        handled = 0;
        struct sigaction action = {};
        action.sa_handler = [](int) { ++handled; };
        sigaction(signal, &action, &before);
    }

    ~ScopedHandler() { sigaction(signal, &before, nullptr); }
    ScopedHandler(const ScopedHandler&) = delete;
    ScopedHandler& operator=(const ScopedHandler&) = delete;

private:
    int signal;
    struct sigaction before = {};
};

/** The process's interval timer, 2,000 times a second. */
class ScopedTimer
{
public:
    ScopedTimer() { set(500); }
    ~ScopedTimer() { set(0); }
    ScopedTimer(const ScopedTimer&) = delete;
    ScopedTimer& operator=(const ScopedTimer&) = delete;

private:
    static void set(suseconds_t period)
    {
        const itimerval timer{{0, period}, {0, period}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }
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

class AHostsSignals : public BusTest
{
protected:
    AHostsSignals()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
        handle = translation.getComputerBrailleTranslator();
    }

    Translation translation;
    TranslatorProxy* handle = nullptr;
};

} // namespace

TEST_F(AHostsSignals, DoNotMakeCallsFail)
{
    const ScopedHandler handler(SIGALRM);
    const ScopedTimer timer;
    // On a quick machine many calls pass between two signals, so count those.
    for (int call = 0; call < 500 || handled < 200; ++call)
        ASSERT_EQ(handle->forwardW(L"some text")->getUntranslatedW(), L"some text");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHostsSignals, DoNotMakeTheConstructorFail)
{
    const ScopedHandler handler(SIGALRM);
    const ScopedTimer timer;
    for (int round = 0; round < 20 || handled < 20; ++round)
        ASSERT_NE(Translation().getComputerBrailleTranslator(), nullptr);
}

TEST_F(AHostsSignals, AreAllBlockedDuringACallButFaultsAndEnds)
{
    // The fake service's thread reads the mask of the thread that waits for it.
    const std::string status = "/proc/self/task/" + std::to_string(gettid()) + "/status";
    unsigned long long mask = 0;
    const Responder reply = answer::echo;
    service.on("forwardW", [&](sd_bus_message* call) {
        std::ifstream file(status);
        for (std::string word; file >> word;) {
            if (word == "SigBlk:")
                file >> std::hex >> mask;
        }
        reply(call);
    });
    handle->forwardW(L"a");
    std::vector<int> open;
    for (int signal = 1; signal < NSIG; ++signal) {
        const bool isReserved = signal > SIGSYS && signal < SIGRTMIN;
        const bool isUnblockable = signal == SIGKILL || signal == SIGSTOP;
        if ((mask >> (signal - 1) & 1U) == 0 && !isReserved && !isUnblockable)
            open.push_back(signal);
    }
    EXPECT_THAT(open,
                testing::UnorderedElementsAre(SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT,
                                              SIGSYS, SIGINT, SIGTERM, SIGQUIT, SIGHUP));
}

TEST_F(AHostsSignals, HaveTheSameMaskAfterEveryCall)
{
    sigset_t own;
    sigemptyset(&own);
    for (const int signal : {SIGUSR1, SIGTERM, SIGSEGV})
        sigaddset(&own, signal);
    pthread_sigmask(SIG_BLOCK, &own, nullptr);
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

TEST_F(AHostsSignals, ThatEndAProgramEndAWaitingCallAtOnce)
{
    const ScopedHandler handler(SIGTERM);
    service.on("forwardW", answer::silence());
    service.clearCalls();
    std::atomic<bool> hasReturned = false;
    const pthread_t waiting = pthread_self();
    std::thread person([&] {
        service.waitForCalls(1);
        // A signal that comes before the call waits would be handled too early to end it.
        while (!hasReturned) {
            pthread_kill(waiting, SIGTERM); // NOLINT(bugprone-bad-signal-to-kill-thread): handled
            std::this_thread::yield();
        }
    });
    EXPECT_EQ(handle->forwardW(L"a")->getTranslatedW(), L"");
    hasReturned = true;
    person.join();
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("EINTR"));
    EXPECT_GT(handled, 0);
}

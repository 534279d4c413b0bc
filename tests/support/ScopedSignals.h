#ifndef TESTS_SUPPORT_SCOPEDSIGNALS_H
#define TESTS_SUPPORT_SCOPEDSIGNALS_H

#include <atomic>
#include <csignal>
#include <sys/time.h>

/** How often handlers have run, of the last ScopedHandler. */
inline std::atomic<int> handled;

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

#endif

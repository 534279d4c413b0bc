#ifndef CLI_ENDINGSIGNALS_H
#define CLI_ENDINGSIGNALS_H

#include <csignal>
#include <functional>
#include <thread>

/**
 * While it lives, SIGINT, SIGTERM, SIGHUP and SIGQUIT are taken by a thread of its own, which
 * ends the program by them: at once, also where every other thread waits for the service, and
 * free to do before what no signal handler may do. A signal that is ignored stays so.
 */
class EndingSignals
{
public:
    /**
     * lastAction runs before the end, on another thread and while all others go on. It is to
     * be done at once; if it hangs, the end comes without it. Threads that were started before
     * must have these signals blocked. Throws std::system_error if there is no descriptor or
     * no thread for it.
     */
    explicit EndingSignals(std::function<void()> lastAction);
    ~EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

private:
    void release() const;
    void await() const;
    void act() const;

    std::function<void()> action;
    sigset_t taken{};
    sigset_t before{};
    int arrivals = -1;
    int stop = -1;
    std::thread thread;
};

/** Ends the program by that signal, as if there were no handler for it. */
[[noreturn]] void endBy(int signal);

#endif

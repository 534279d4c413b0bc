#include "EndingSignals.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <future>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::array<int, 4> ENDING_SIGNALS = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// For the last action, which limits itself: this is for one that hangs.
constexpr std::chrono::seconds PATIENCE(2);

// What a shell adds to a signal's number to make a status of it.
constexpr int STATUS_OF_SIGNALS = 128;

int orThrow(int descriptor, const char* what)
{
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return descriptor;
}

bool isIgnored(int signal)
{
    struct sigaction current = {};
    return sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

} // namespace

EndingSignals::EndingSignals(std::function<void()> lastAction) : action(std::move(lastAction))
{
    sigemptyset(&taken);
    for (const int signal : ENDING_SIGNALS) {
        // Linux keeps a blocked signal although it is ignored.
        if (!isIgnored(signal))
            sigaddset(&taken, signal);
    }
    pthread_sigmask(SIG_BLOCK, &taken, &before);
    try {
        arrivals = orThrow(signalfd(-1, &taken, SFD_CLOEXEC), "signalfd");
        stop = orThrow(eventfd(0, EFD_CLOEXEC), "eventfd");
        thread = std::thread([this] { await(); });
    } catch (...) {
        release();
        throw;
    }
}

EndingSignals::~EndingSignals()
{
    eventfd_write(stop, 1);
    thread.join();
    for (const int signal : ENDING_SIGNALS) {
        // ncurses has put handlers of its own there.
        if (sigismember(&taken, signal) == 1)
            static_cast<void>(std::signal(signal, SIG_DFL));
    }
    release();
}

void EndingSignals::release() const
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    for (const int descriptor : {arrivals, stop}) {
        if (descriptor >= 0)
            close(descriptor);
    }
}

void EndingSignals::await() const
{
    // The handlers of other signals expect to interrupt the main thread.
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
    std::array<pollfd, 2> awaited{{{arrivals, POLLIN, 0}, {stop, POLLIN, 0}}};
    poll(awaited.data(), awaited.size(), -1);
    signalfd_siginfo arrival{};
    if (awaited[0].revents == 0 || read(arrivals, &arrival, sizeof arrival) != sizeof arrival)
        return;
    act();
    endBy(static_cast<int>(arrival.ssi_signo));
}

/** On one more thread, because a terminal may be stopped between two looks at it. */
void EndingSignals::act() const
try {
    std::packaged_task<void()> task(action);
    const std::future<void> end = task.get_future();
    std::thread(std::move(task)).detach();
    static_cast<void>(end.wait_for(PATIENCE));
} catch (const std::system_error&) {
    // Without a thread to do it, it is left undone.
}

void endBy(int signal)
{
    static_cast<void>(std::signal(signal, SIG_DFL));
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    static_cast<void>(raise(signal));
    // The first process of a container is not ended by its own signals.
    _exit(STATUS_OF_SIGNALS + signal);
}

/** The one way in which the library calls the Translator service. Internal. */
#ifndef LIBBRAILLETRANSLATE_SERVICECALL_H
#define LIBBRAILLETRANSLATE_SERVICECALL_H

#include <dbus/SdbusVersion.h>

#include <chrono>
#include <csignal>
#include <exception>
#include <poll.h>
#include <tuple>
#include <utility>

namespace service_call {

constexpr const char* INTERFACE = "braille.translator";

#if LIBSYSTEMD_VERSION >= 253
/** From libsystemd 253 on, a call that a signal handler interrupts goes on: no guard is needed. */
class [[maybe_unused]] SignalGuard
{
};
#else
/**
 * Keeps signal handlers off the calling thread while it waits for the bus.
 *
 * libsystemd below 253 fails a call when a handler interrupts it, so a host's
 * timer would make translations fail. The signals that end a program stay open:
 * a person who presses Ctrl-C must not have to wait for a time-out.
 */
class SignalGuard
{
public:
    SignalGuard()
    {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT, SIGSYS})
            sigdelset(&blocked, fault);
        for (const int end : {SIGINT, SIGTERM, SIGQUIT, SIGHUP})
            sigdelset(&blocked, end);
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
    }

    ~SignalGuard() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

    SignalGuard(const SignalGuard&) = delete;
    SignalGuard& operator=(const SignalGuard&) = delete;

private:
    sigset_t before{};
};
#endif

using Clock = std::chrono::steady_clock;

/** Whether there is a message to drop, read already or to be read now. */
inline bool hasStrayMessages(const sdbus::IConnection& connection)
{
    const auto pollData = connection.getEventLoopPollData();
    if (sdbus_version::hasReadMessages(pollData))
        return true;
    pollfd socket{pollData.fd, POLLIN, 0};
    return poll(&socket, 1, 0) != 0;
}

/** Whether a message comes within that time, which no signal handler shortens or prolongs. */
inline bool awaitStrayMessages(const sdbus::IConnection& connection,
                               std::chrono::milliseconds patience)
{
    pollfd socket{connection.getEventLoopPollData().fd, POLLIN, 0};
    const Clock::time_point end = Clock::now() + patience;
    int result = -1;
    while (result < 0 && patience >= patience.zero()) {
        result = poll(&socket, 1, static_cast<int>(patience.count()));
        patience = std::chrono::floor<std::chrono::milliseconds>(end - Clock::now());
    }
    return result > 0;
}

/**
 * Drops what nobody waits for: replies to calls that had timed out, and messages
 * that nobody asked for. A call would read them all into memory on its way to its
 * reply, keep them for good, and fail when sd-bus's queue is full.
 *
 * One system call while there is nothing to drop. After a flood the bus still has
 * what did not fit into the socket, and sends it as we read. Somebody who never
 * stops sending must not hold the host up: what is not dropped in time waits.
 */
inline void dropStrayMessages(sdbus::IProxy& proxy)
{
    constexpr int FLOOD = 100;
    constexpr std::chrono::milliseconds MOMENT(100);
    constexpr std::chrono::seconds LONGEST(3);
    try {
        sdbus::IConnection& connection = proxy.getConnection();
        if (!hasStrayMessages(connection))
            return;
        int dropped = 0;
        while (dropped < FLOOD && sdbus_version::processPending(connection))
            ++dropped;
        if (dropped < FLOOD)
            return;
        const Clock::time_point end = Clock::now() + LONGEST;
        const auto goesOn = [&] {
            return sdbus_version::processPending(connection) ||
                   awaitStrayMessages(connection, MOMENT);
        };
        while (goesOn() && Clock::now() < end) {
        }
    } catch (const std::exception&) {
        // The connection is lost: the call that follows says so, and says it once.
    }
}

/** A structure as a reply holds it; a reply without a body leaves the default value. */
template <typename Structure>
struct Reply
{
    Structure structure;
};

template <typename Structure>
sdbus::Message& operator>>(sdbus::Message& message, Reply<Structure>& reply)
{
    return message.isEmpty() ? message : message >> reply.structure;
}

/** The fields of a structure, to bind names to them. */
template <typename... Fields>
std::tuple<Fields...>& fieldsOf(sdbus::Struct<Fields...>& structure)
{
    return structure;
}

/**
 * Calls a method that replies with one structure, and waits for it.
 * Throws what sdbus-c++ throws; takes its default time-out.
 */
template <typename Structure, typename... Arguments>
Structure ask(sdbus::IProxy& proxy, const char* method, const Arguments&... arguments)
{
    const SignalGuard guard;
    dropStrayMessages(proxy);
    Reply<Structure> reply;
    proxy.callMethod(method)
        .onInterface(INTERFACE)
        .withArguments(arguments...)
        .storeResultsTo(reply);
    return std::move(reply.structure);
}

/** Calls a method whose reply is awaited and dropped unread; otherwise as ask(). */
template <typename... Arguments>
void tell(sdbus::IProxy& proxy, const char* method, const Arguments&... arguments)
{
    const SignalGuard guard;
    dropStrayMessages(proxy);
    proxy.callMethod(method).onInterface(INTERFACE).withArguments(arguments...);
}

} // namespace service_call

#endif

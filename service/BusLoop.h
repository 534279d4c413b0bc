#ifndef SERVICE_BUSLOOP_H
#define SERVICE_BUSLOOP_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <sdbus-c++/IConnection.h>

/**
 * Handles what comes over a bus connection and what happens in an event loop, in
 * one thread and in turns, so that neither keeps the other waiting.
 *
 * Lifetimes: borrows both.
 */
class BusLoop
{
public:
    BusLoop(boost::asio::io_context& eventLoop, sdbus::IConnection& busConnection);
    ~BusLoop();
    BusLoop(const BusLoop&) = delete;
    BusLoop& operator=(const BusLoop&) = delete;

    /** Until stop(). Throws sdbus::Error when the bus goes away. */
    void run();
    void stop() { isStopped = true; }

    /** Whether the bus has not taken yet all that there is for it. */
    bool hasOutput() const;

private:
    using Descriptor = boost::asio::posix::stream_descriptor;

    bool handleMessages();
    void awaitBus();
    void await(Descriptor::wait_type what, bool& isAwaited);

    boost::asio::io_context& loop;
    sdbus::IConnection& connection;
    Descriptor descriptor;
    /** Whether the bus may have something to handle; asking it costs a system call. */
    bool isBusReady = true;
    bool awaitsInput = false;
    bool awaitsOutput = false;
    bool isStopped = false;
};

#endif

#include <service/BusLoop.h>

#include <dbus/SdbusVersion.h>

#include <poll.h>

BusLoop::BusLoop(boost::asio::io_context& eventLoop, sdbus::IConnection& busConnection)
    : loop(eventLoop),
      connection(busConnection),
      descriptor(eventLoop, connection.getEventLoopPollData().fd)
{
}

BusLoop::~BusLoop()
{
    // It is the connection's to close.
    descriptor.release();
}

void BusLoop::run()
{
    while (!isStopped) {
        if (isBusReady)
            isBusReady = handleMessages();
        if (isBusReady) {
            loop.poll();
        } else {
            awaitBus();
            loop.run_one();
        }
    }
}

/** Returns whether there may be more, so that a flood of messages does not stop the event loop. */
bool BusLoop::handleMessages()
{
    constexpr int AT_ONCE = 32;
    for (int count = 0; count < AT_ONCE; ++count) {
        if (!sdbus_version::processPending(connection))
            return false;
    }
    return true;
}

void BusLoop::awaitBus()
{
    if (!awaitsInput)
        await(Descriptor::wait_read, awaitsInput);
    if (!awaitsOutput && hasOutput())
        await(Descriptor::wait_write, awaitsOutput);
}

bool BusLoop::hasOutput() const
{
    return (connection.getEventLoopPollData().events & POLLOUT) != 0;
}

void BusLoop::await(Descriptor::wait_type what, bool& isAwaited)
{
    isAwaited = true;
    descriptor.async_wait(what, [this, &isAwaited](const boost::system::error_code&) {
        isAwaited = false;
        isBusReady = true;
    });
}

/**
 * All that differs between sdbus-c++ 1.2 and 2.x, so that no other code asks for the version.
 * Internal. SDBUS_VERSION is the version that pkg-config found: 10200 for 1.2.0.
 */
#ifndef DBUS_SDBUSVERSION_H
#define DBUS_SDBUSVERSION_H

#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/IObject.h>
#include <sdbus-c++/IProxy.h>
#include <sdbus-c++/Message.h>
#include <sdbus-c++/Types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace sdbus_version {

#if SDBUS_VERSION >= 20000
using ServiceName = sdbus::ServiceName;
using ObjectPath = sdbus::ObjectPath;
using ErrorName = sdbus::Error::Name;
#else
using ServiceName = std::string;
using ObjectPath = std::string;
using ErrorName = std::string;
#endif

#if SDBUS_VERSION < 10300
/**
 * A proxy that owns its connection and runs no event loop on it. The proxies of sdbus-c++ 1.2 that
 * own their connection start a thread, which ends the program when the bus goes away.
 */
class ThreadlessProxy final : public sdbus::IProxy
{
public:
    ThreadlessProxy(std::unique_ptr<sdbus::IConnection> busConnection, std::string busName,
                    std::string objectPath)
        : connection(std::move(busConnection)),
          proxy(sdbus::createProxy(*connection, std::move(busName), std::move(objectPath)))
    {
    }

    sdbus::MethodCall createMethodCall(const std::string& interfaceName,
                                       const std::string& methodName) override
    {
        return proxy->createMethodCall(interfaceName, methodName);
    }

    sdbus::MethodReply callMethod(const sdbus::MethodCall& message, uint64_t timeout) override
    {
        return proxy->callMethod(message, timeout);
    }

    sdbus::PendingAsyncCall callMethod(const sdbus::MethodCall& message,
                                       sdbus::async_reply_handler handler,
                                       uint64_t timeout) override
    {
        return proxy->callMethod(message, std::move(handler), timeout);
    }

    void registerSignalHandler(const std::string& interfaceName, const std::string& signalName,
                               sdbus::signal_handler handler) override
    {
        proxy->registerSignalHandler(interfaceName, signalName, std::move(handler));
    }

    void unregisterSignalHandler(const std::string& interfaceName,
                                 const std::string& signalName) override
    {
        proxy->unregisterSignalHandler(interfaceName, signalName);
    }

    void finishRegistration() override { proxy->finishRegistration(); }
    void unregister() override { proxy->unregister(); }
    sdbus::IConnection& getConnection() const override { return proxy->getConnection(); }
    const std::string& getObjectPath() const override { return proxy->getObjectPath(); }

    const sdbus::Message* getCurrentlyProcessedMessage() const override
    {
        return proxy->getCurrentlyProcessedMessage();
    }

private:
    /** Outlives the proxy, which borrows it. */
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<sdbus::IProxy> proxy;
};
#endif

/** A proxy with a system-bus connection of its own, on which no thread waits. */
inline std::unique_ptr<sdbus::IProxy> createThreadlessProxy(std::string busName,
                                                            std::string objectPath)
{
    // Given by hand: without a connection, sdbus-c++ 2 may choose the session bus.
    auto connection = sdbus::createSystemBusConnection();
#if SDBUS_VERSION < 10300
    return std::make_unique<ThreadlessProxy>(std::move(connection), std::move(busName),
                                             std::move(objectPath));
#else
    return sdbus::createProxy(std::move(connection), ServiceName(std::move(busName)),
                              ObjectPath(std::move(objectPath)), sdbus::dont_run_event_loop_thread);
#endif
}

/** Ends the registration of signal handlers; from sdbus-c++ 2 on there is nothing to end. */
inline void finishRegistration([[maybe_unused]] sdbus::IProxy& proxy)
{
#if SDBUS_VERSION < 20000
    proxy.finishRegistration();
#endif
}

/** Handles one message or time-out of the connection, if there is any; returns whether. */
inline bool processPending(sdbus::IConnection& connection)
{
#if SDBUS_VERSION >= 20000
    return connection.processPendingEvent();
#else
    return connection.processPendingRequest();
#endif
}

/** Whether messages that are already read wait to be processed: no need to poll for them. */
inline bool hasReadMessages(const sdbus::IConnection::PollData& pollData)
{
#if SDBUS_VERSION >= 20000
    return pollData.timeout.count() == 0;
#else
    return pollData.timeout_usec == 0;
#endif
}

/** Calls the handler for each message that the rule matches, until the slot is destroyed. */
template <typename Handler>
sdbus::Slot addMatch(sdbus::IConnection& connection, const std::string& rule, Handler handler)
{
#if SDBUS_VERSION >= 20000
    return connection.addMatch(
        rule, [handle = std::move(handler)](sdbus::Message message) mutable { handle(message); },
        sdbus::return_slot);
#else
    return connection.addMatch(rule, std::move(handler));
#endif
}

/** The unique name of the client whose call the object is handling. */
inline std::string senderOfCurrentCall(const sdbus::IObject& object)
{
#if SDBUS_VERSION >= 20000
    return object.getCurrentlyProcessedMessage().getSender();
#else
    return object.getCurrentlyProcessedMessage()->getSender();
#endif
}

} // namespace sdbus_version

#endif

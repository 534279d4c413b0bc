// The proxies of FaultySdbus, for sdbus-c++ 2.
#include "FaultySdbus.h"
#include "support/Interposed.h"

#include <sdbus-c++/sdbus-c++.h>

#include <future>
#include <memory>
#include <utility>

namespace {

class FaultyProxy : public sdbus::IProxy
{
public:
    explicit FaultyProxy(std::unique_ptr<sdbus::IProxy> realProxy) : real(std::move(realProxy)) {}
    ~FaultyProxy() override { FaultySdbus::note("destroy"); }

    sdbus::IConnection& getConnection() const override
    {
        FaultySdbus::note("connection");
        FaultySdbus::meet("getConnection");
        return real->getConnection();
    }

    const sdbus::ObjectPath& getObjectPath() const override { return real->getObjectPath(); }

    sdbus::Message getCurrentlyProcessedMessage() const override
    {
        return real->getCurrentlyProcessedMessage();
    }

    void unregister() override
    {
        FaultySdbus::note("unregister");
        FaultySdbus::meet("unregister");
        real->unregister();
    }

    sdbus::MethodCall createMethodCall(const sdbus::InterfaceName& interfaceName,
                                       const sdbus::MethodName& methodName) const override
    {
        FaultySdbus::meet("createMethodCall");
        return real->createMethodCall(interfaceName, methodName);
    }

    sdbus::MethodReply callMethod(const sdbus::MethodCall& message) override
    {
        return callMethod(message, 0);
    }

    sdbus::MethodReply callMethod(const sdbus::MethodCall& message, uint64_t timeout) override
    {
        FaultySdbus::meet("callMethod");
        FaultySdbus::noteTimeout(timeout);
        return real->callMethod(message, timeout);
    }

    sdbus::PendingAsyncCall callMethodAsync(const sdbus::MethodCall& message,
                                            sdbus::async_reply_handler handler) override
    {
        return real->callMethodAsync(message, std::move(handler));
    }

    sdbus::Slot callMethodAsync(const sdbus::MethodCall& message,
                                sdbus::async_reply_handler handler,
                                sdbus::return_slot_t tag) override
    {
        return real->callMethodAsync(message, std::move(handler), tag);
    }

    sdbus::PendingAsyncCall callMethodAsync(const sdbus::MethodCall& message,
                                            sdbus::async_reply_handler handler,
                                            uint64_t timeout) override
    {
        return real->callMethodAsync(message, std::move(handler), timeout);
    }

    sdbus::Slot callMethodAsync(const sdbus::MethodCall& message,
                                sdbus::async_reply_handler handler, uint64_t timeout,
                                sdbus::return_slot_t tag) override
    {
        return real->callMethodAsync(message, std::move(handler), timeout, tag);
    }

    std::future<sdbus::MethodReply> callMethodAsync(const sdbus::MethodCall& message,
                                                    sdbus::with_future_t tag) override
    {
        return real->callMethodAsync(message, tag);
    }

    std::future<sdbus::MethodReply> callMethodAsync(const sdbus::MethodCall& message,
                                                    uint64_t timeout,
                                                    sdbus::with_future_t tag) override
    {
        return real->callMethodAsync(message, timeout, tag);
    }

#if __has_include(<sdbus-c++/Awaitable.h>)
    sdbus::Awaitable<sdbus::MethodReply> callMethodAsync(const sdbus::MethodCall& message,
                                                         sdbus::with_awaitable_t tag) override
    {
        return real->callMethodAsync(message, tag);
    }

    sdbus::Awaitable<sdbus::MethodReply> callMethodAsync(const sdbus::MethodCall& message,
                                                         uint64_t timeout,
                                                         sdbus::with_awaitable_t tag) override
    {
        return real->callMethodAsync(message, timeout, tag);
    }
#endif

    void registerSignalHandler(const sdbus::InterfaceName& interfaceName,
                               const sdbus::SignalName& signalName,
                               sdbus::signal_handler handler) override
    {
        real->registerSignalHandler(interfaceName, signalName, std::move(handler));
    }

    sdbus::Slot registerSignalHandler(const sdbus::InterfaceName& interfaceName,
                                      const sdbus::SignalName& signalName,
                                      sdbus::signal_handler handler,
                                      sdbus::return_slot_t tag) override
    {
        return real->registerSignalHandler(interfaceName, signalName, std::move(handler), tag);
    }

private:
    // Of the real proxy, these are not public.
    sdbus::MethodCall createMethodCall(const char* interfaceName,
                                       const char* methodName) const override
    {
        return createMethodCall(sdbus::InterfaceName(interfaceName), sdbus::MethodName(methodName));
    }

    void registerSignalHandler(const char* interfaceName, const char* signalName,
                               sdbus::signal_handler handler) override
    {
        registerSignalHandler(sdbus::InterfaceName(interfaceName), sdbus::SignalName(signalName),
                              std::move(handler));
    }

    sdbus::Slot registerSignalHandler(const char* interfaceName, const char* signalName,
                                      sdbus::signal_handler handler,
                                      sdbus::return_slot_t tag) override
    {
        return registerSignalHandler(sdbus::InterfaceName(interfaceName),
                                     sdbus::SignalName(signalName), std::move(handler), tag);
    }

    std::unique_ptr<sdbus::IProxy> real;
};

} // namespace

std::unique_ptr<sdbus::IProxy> sdbus::createProxy(std::unique_ptr<IConnection>&& connection,
                                                  ServiceName destination, ObjectPath objectPath,
                                                  dont_run_event_loop_thread_t tag)
{
    using Create = std::unique_ptr<IProxy>(std::unique_ptr<IConnection>&&, ServiceName, ObjectPath,
                                           dont_run_event_loop_thread_t);
    static Create* const createReal = interposed<Create>(createProxy);
    FaultySdbus::note("create");
    FaultySdbus::meet("createProxy");
    return std::make_unique<FaultyProxy>(
        createReal(std::move(connection), std::move(destination), std::move(objectPath), tag));
}

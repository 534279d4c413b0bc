#include "FaultyBinding.h"

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <utility>

namespace {

FaultyBinding* current = nullptr;

void meet(const char* operation)
{
    if (current != nullptr)
        current->meet(operation);
}

void note(const char* event)
{
    if (current != nullptr)
        current->events.emplace_back(event);
}

class FaultyProxy : public sdbus::IProxy
{
public:
    explicit FaultyProxy(std::unique_ptr<sdbus::IProxy> realProxy) : real(std::move(realProxy)) {}
    ~FaultyProxy() override { note("destroy"); }

    sdbus::MethodCall createMethodCall(const std::string& interfaceName,
                                       const std::string& methodName) override
    {
        meet("createMethodCall");
        return real->createMethodCall(interfaceName, methodName);
    }

    sdbus::MethodReply callMethod(const sdbus::MethodCall& message, uint64_t timeout) override
    {
        meet("callMethod");
        if (current != nullptr)
            current->timeouts.push_back(timeout);
        return real->callMethod(message, timeout);
    }

    sdbus::PendingAsyncCall callMethod(const sdbus::MethodCall& message,
                                       sdbus::async_reply_handler handler,
                                       uint64_t timeout) override
    {
        return real->callMethod(message, std::move(handler), timeout);
    }

    void registerSignalHandler(const std::string& interfaceName, const std::string& signalName,
                               sdbus::signal_handler handler) override
    {
        real->registerSignalHandler(interfaceName, signalName, std::move(handler));
    }

    void unregisterSignalHandler(const std::string& interfaceName,
                                 const std::string& signalName) override
    {
        real->unregisterSignalHandler(interfaceName, signalName);
    }

    void finishRegistration() override
    {
        note("finish");
        meet("finishRegistration");
        real->finishRegistration();
    }

    void unregister() override
    {
        note("unregister");
        meet("unregister");
        real->unregister();
    }

    sdbus::IConnection& getConnection() const override
    {
        note("connection");
        meet("getConnection");
        return real->getConnection();
    }

    const std::string& getObjectPath() const override { return real->getObjectPath(); }

    const sdbus::Message* getCurrentlyProcessedMessage() const override
    {
        return real->getCurrentlyProcessedMessage();
    }

private:
    std::unique_ptr<sdbus::IProxy> real;
};

} // namespace

// Takes the place of the binding's own, of which it uses another overload.
std::unique_ptr<sdbus::IProxy> sdbus::createProxy(std::string destination, std::string objectPath)
{
    note("create");
    meet("createProxy");
    return std::make_unique<FaultyProxy>(sdbus::createProxy(
        sdbus::createSystemBusConnection(), std::move(destination), std::move(objectPath)));
}

FaultyBinding::FaultyBinding()
{
    current = this;
}

FaultyBinding::~FaultyBinding()
{
    current = nullptr;
}

void FaultyBinding::on(const std::string& operation, std::function<void()> fault)
{
    faults[operation] = std::move(fault);
}

void FaultyBinding::meet(const std::string& operation) const
{
    const auto fault = faults.find(operation);
    if (fault != faults.end() && fault->second)
        fault->second();
}

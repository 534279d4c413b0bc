// The proxies of FaultySdbus, for sdbus-c++ 1.2.
#include "FaultySdbus.h"
#include "support/Interposed.h"

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <utility>

namespace {

class FaultyProxy : public sdbus::IProxy
{
public:
    explicit FaultyProxy(std::unique_ptr<sdbus::IProxy> realProxy) : real(std::move(realProxy)) {}
    ~FaultyProxy() override { FaultySdbus::note("destroy"); }

    sdbus::MethodCall createMethodCall(const std::string& interfaceName,
                                       const std::string& methodName) override
    {
        FaultySdbus::meet("createMethodCall");
        return real->createMethodCall(interfaceName, methodName);
    }

    sdbus::MethodReply callMethod(const sdbus::MethodCall& message, uint64_t timeout) override
    {
        FaultySdbus::meet("callMethod");
        FaultySdbus::noteTimeout(timeout);
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
        FaultySdbus::note("finish");
        FaultySdbus::meet("finishRegistration");
        real->finishRegistration();
    }

    void unregister() override
    {
        FaultySdbus::note("unregister");
        FaultySdbus::meet("unregister");
        real->unregister();
    }

    sdbus::IConnection& getConnection() const override
    {
        FaultySdbus::note("connection");
        FaultySdbus::meet("getConnection");
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

std::unique_ptr<sdbus::IProxy> sdbus::createProxy(IConnection& connection, std::string destination,
                                                  std::string objectPath)
{
    using Create = std::unique_ptr<IProxy>(IConnection&, std::string, std::string);
    static Create* const createReal = interposed<Create>(createProxy);
    FaultySdbus::note("create");
    FaultySdbus::meet("createProxy");
    return std::make_unique<FaultyProxy>(
        createReal(connection, std::move(destination), std::move(objectPath)));
}

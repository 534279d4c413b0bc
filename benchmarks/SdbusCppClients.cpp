#include "Client.h"

#include <dbus/SdbusVersion.h>
#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/ServiceCall.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <memory>
#include <utility>

namespace {

std::unique_ptr<sdbus::IProxy> createLoopingProxy()
{
    return sdbus::createProxy(sdbus::createSystemBusConnection(),
                              sdbus_version::ServiceName(contract::BUS_NAME),
                              sdbus_version::ObjectPath(contract::OBJECT_PATH));
}

std::unique_ptr<sdbus::IProxy> createThreadlessProxy()
{
    return sdbus_version::createThreadlessProxy(contract::BUS_NAME, contract::OBJECT_PATH);
}

class SdbusCppClient : public Client
{
public:
    explicit SdbusCppClient(std::unique_ptr<sdbus::IProxy> openProxy) : proxy(std::move(openProxy))
    {
    }

    void translate(const std::wstring& text) override
    {
        const std::vector<uint32_t> codePoints(text.begin(), text.end());
        TranslationReply reply;
        proxy->callMethod(contract::METHOD)
            .onInterface(contract::INTERFACE)
            .withArguments(std::string(contract::TRANSLATOR), codePoints, contract::CURSOR)
            .storeResultsTo(reply);
        received = std::move(reply);
    }

    std::vector<uint32_t> translated() const override { return received.get<4>(); }

    std::size_t positions() const override { return received.get<2>().size(); }

protected:
    std::unique_ptr<sdbus::IProxy> proxy;

private:
    TranslationReply received;
};

/** Keeps signals and unsolicited messages off the call, as the library does. */
class GuardedSdbusCppClient : public SdbusCppClient
{
public:
    using SdbusCppClient::SdbusCppClient;

    void translate(const std::wstring& text) override
    {
        const service_call::SignalGuard guard;
        service_call::dropStrayMessages(*proxy);
        SdbusCppClient::translate(text);
    }
};

class LibraryClient : public Client
{
public:
    void translate(const std::wstring& text) override
    {
        received = translator.forwardW(text, contract::CURSOR);
    }

    std::vector<uint32_t> translated() const override
    {
        const std::wstring text = received->getTranslatedW();
        return {text.begin(), text.end()};
    }

    std::size_t positions() const override { return received->getPosMap().size(); }

private:
    Translation translation;
    TranslatorProxy translator{0, "", false, contract::TRANSLATOR, translation.getServiceProxy()};
    std::shared_ptr<BrlTranslationResult> received;
};

} // namespace

std::unique_ptr<Client> openSdbusCppClient()
{
    return std::make_unique<SdbusCppClient>(createThreadlessProxy());
}

std::unique_ptr<Client> openGuardedSdbusCppClient()
{
    return std::make_unique<GuardedSdbusCppClient>(createThreadlessProxy());
}

std::unique_ptr<Client> openLoopingSdbusCppClient()
{
    return std::make_unique<SdbusCppClient>(createLoopingProxy());
}

std::unique_ptr<Client> openLibraryClient()
{
    return std::make_unique<LibraryClient>();
}

#include "Client.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/ServiceCall.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <sdbus-c++/sdbus-c++.h>

#include <memory>
#include <utility>

namespace {

class BindingClient : public Client
{
public:
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

    void leaveEventLoop() { proxy->getConnection().leaveEventLoop(); }

protected:
    std::unique_ptr<sdbus::IProxy> proxy =
        sdbus::createProxy(contract::BUS_NAME, contract::OBJECT_PATH);

private:
    TranslationReply received;
};

/** Keeps signals and stray messages off the call, as the library does. */
class GuardedBindingClient : public BindingClient
{
public:
    void translate(const std::wstring& text) override
    {
        const service_call::SignalGuard guard;
        service_call::dropStrayMessages(*proxy);
        BindingClient::translate(text);
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

std::unique_ptr<Client> openBindingClient()
{
    auto client = std::make_unique<BindingClient>();
    client->leaveEventLoop();
    return client;
}

std::unique_ptr<Client> openGuardedBindingClient()
{
    auto client = std::make_unique<GuardedBindingClient>();
    client->leaveEventLoop();
    return client;
}

std::unique_ptr<Client> openLoopingBindingClient()
{
    return std::make_unique<BindingClient>();
}

std::unique_ptr<Client> openLibraryClient()
{
    return std::make_unique<LibraryClient>();
}

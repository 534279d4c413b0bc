#include <libBrailleTranslate/DBusTranslatorProxy.h>

#include <libBrailleTranslate/FailureLog.h>
#include <libBrailleTranslate/ServiceCall.h>

#include <stdexcept>
#include <utility>

// The signature that a log record carries names a parameter's type as it is written.
using string = std::string;

namespace {

string requireText(const char* text, const char* what)
{
    if (text == nullptr)
        throw std::logic_error(string("DBusTranslatorProxy: ") + what + " is null");
    return text;
}

std::unique_ptr<sdbus::IProxy> openProxy(const char* objectPath, const char* busName)
{
    string destination = requireText(busName, "busName");
    string path = requireText(objectPath, "objectPath");
    const service_call::SignalGuard guard;
    return sdbus_version::createThreadlessProxy(std::move(destination), std::move(path));
}

} // namespace

DBusTranslatorProxy::DBusTranslatorProxy(const char* objectPath, const char* busName)
    : proxyHolder(openProxy(objectPath, busName)), sdbusProxy(*proxyHolder)
{
    try {
        sdbus_version::finishRegistration(sdbusProxy);
    } catch (const std::exception& error) {
        LOG_FAILURE(error);
    }
}

DBusTranslatorProxy::~DBusTranslatorProxy()
{
    try {
        proxyHolder->unregister();
    } catch (const std::exception& error) {
        LOG_FAILURE(error);
    }
}

// The two translations spell their return type out: their log records carry it.

sdbus::Struct<bool, int32_t, std::vector<int32_t>, std::vector<bool>, std::vector<uint32_t>,
              std::vector<uint32_t>, std::string>
DBusTranslatorProxy::forwardW_proxy(std::string& id, const std::wstring& text, int cursor)
{
    const std::vector<uint32_t> codePoints(text.begin(), text.end());
    try {
        return service_call::ask<TranslationReply>(sdbusProxy, "forwardW", id, codePoints, cursor);
    } catch (const std::exception& error) {
        LOG_FAILURE(error);
    }
    return {};
}

sdbus::Struct<bool, int32_t, std::vector<int32_t>, std::vector<bool>, std::vector<uint32_t>,
              std::vector<uint32_t>, std::string>
DBusTranslatorProxy::backW_proxy(std::string& id, const std::wstring& text, int cursor)
{
    const std::vector<uint32_t> codePoints(text.begin(), text.end());
    try {
        return service_call::ask<TranslationReply>(sdbusProxy, "backW", id, codePoints, cursor);
    } catch (const std::exception& error) {
        LOG_FAILURE(error);
    }
    return {};
}

void DBusTranslatorProxy::changeLanguageProfile_proxy(const string& profile)
{
    try {
        service_call::tell(sdbusProxy, "changeLanguageProfile", profile);
    } catch (const std::exception& error) {
        LOG_FAILURE(error);
    }
}

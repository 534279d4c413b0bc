#include <libBrailleTranslate/Translation.h>

#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/FailureLog.h>
#include <libBrailleTranslate/ServiceCall.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <utility>

namespace {

constexpr const char* OBJECT_PATH = "/translator";
constexpr const char* BUS_NAME = BRAILLETRANSLATE_BUS_NAME;

/** Asks who has the role, and replaces the handle only if that is another translator. */
TranslatorProxy* refresh(std::unique_ptr<TranslatorProxy>& handle, const char* role,
                         DBusTranslatorProxy* service)
{
    auto info = service_call::ask<TranslatorInfo>(service->sdbusProxy, role);
    auto& [grade, name, flag, id] = service_call::fieldsOf(info);
    if (handle == nullptr || handle->getID() != id)
        handle =
            std::make_unique<TranslatorProxy>(grade, std::move(name), flag, std::move(id), service);
    return handle.get();
}

} // namespace

Translation::Translation() : dbusProxy(std::make_unique<DBusTranslatorProxy>(OBJECT_PATH, BUS_NAME))
{
}

Translation::~Translation() = default;

// The service's methods for the roles have the names of these operations.

TranslatorProxy* Translation::getPreferredBrailleTranslatorForDisplay()
try {
    return refresh(preferredDisplayTranslator, __func__, dbusProxy.get());
} catch (const std::exception& error) {
    LOG_FAILURE(error);
    return nullptr;
}

TranslatorProxy* Translation::getPreferredBrailleTranslatorForEntry()
try {
    return refresh(preferredEntryTranslator, __func__, dbusProxy.get());
} catch (const std::exception& error) {
    LOG_FAILURE(error);
    return nullptr;
}

TranslatorProxy* Translation::getComputerBrailleTranslator()
try {
    return refresh(computerBrailleTranslator, __func__, dbusProxy.get());
} catch (const std::exception& error) {
    LOG_FAILURE(error);
    return nullptr;
}

TranslatorProxy* Translation::getGrade1TranslatorForPreferredEntry()
try {
    return refresh(grade1EntryTranslator, __func__, dbusProxy.get());
} catch (const std::exception& error) {
    LOG_FAILURE(error);
    return nullptr;
}

void Translation::changeLanguageProfile(std::string& profile)
try {
    dbusProxy->changeLanguageProfile_proxy(profile);
} catch (const std::exception& error) {
    LOG_FAILURE(error);
}

DBusTranslatorProxy* Translation::getServiceProxy()
{
    return dbusProxy.get();
}

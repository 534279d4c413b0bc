#include <service/TranslatorService.h>

#include <service/Quoted.h>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <sdbus-c++/Error.h>

#include <exception>
#include <utility>

namespace {

constexpr const char* OBJECT_PATH = "/translator";

/** A failure to throw: the binding replies with it. */
sdbus::Error failure(const char* name, const std::string& text)
{
    LOG4CPLUS_INFO(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("brailletranslatord")),
                   name << " : " << text);
    return {std::string("braille.translator.Error.") + name, text};
}

} // namespace

TranslatorService::TranslatorService(sdbus::IConnection& connection,
                                     const Catalogue& installedTranslators,
                                     const Profiles& knownProfiles, const Profile& firstProfile,
                                     Engine& brailleEngine)
    : AdaptorInterfaces(connection, OBJECT_PATH),
      catalogue(installedTranslators),
      profiles(knownProfiles),
      profile(&firstProfile),
      engine(brailleEngine)
{
    registerAdaptor();
}

TranslatorService::~TranslatorService()
{
    unregisterAdaptor();
}

TranslatorService::TranslationReply TranslatorService::forwardW(const std::string& id,
                                                                const CodePoints& codePoints,
                                                                const int32_t& /*cursor*/)
{
    return translate(&Engine::forward, id, codePoints);
}

TranslatorService::TranslationReply TranslatorService::backW(const std::string& id,
                                                             const CodePoints& codePoints,
                                                             const int32_t& /*cursor*/)
{
    return translate(&Engine::back, id, codePoints);
}

void TranslatorService::changeLanguageProfile(const std::string& name)
{
    try {
        profile = &profiles.named(name);
    } catch (const Profiles::NoSuchProfile& error) {
        throw failure("NoSuchProfile", error.what());
    }
}

TranslatorService::TranslatorInfo TranslatorService::getPreferredBrailleTranslatorForDisplay()
{
    return getTranslatorByName(profile->display);
}

TranslatorService::TranslatorInfo TranslatorService::getPreferredBrailleTranslatorForEntry()
{
    return getTranslatorByName(profile->entry);
}

TranslatorService::TranslatorInfo TranslatorService::getComputerBrailleTranslator()
{
    return getTranslatorByName(profile->computer);
}

TranslatorService::TranslatorInfo TranslatorService::getGrade1TranslatorForPreferredEntry()
{
    return getTranslatorByName(profile->grade1);
}

TranslatorService::TranslatorInfo TranslatorService::getTranslatorByName(const std::string& name)
{
    const Translator& translator = translatorNamed(name);
    return {translator.grade, translator.name, translator.translatesBack, translator.id};
}

TranslatorService::TranslationReply TranslatorService::translate(Direction direction,
                                                                 const std::string& id,
                                                                 const CodePoints& codePoints)
{
    const Translator& translator = translatorNamed(id);
    try {
        EngineResult result = (engine.*direction)(translator.table, codePoints);
        std::vector<bool> known(result.positions.size(), true);
        return {result.complete,
                static_cast<int32_t>(result.consumed),
                std::move(result.positions),
                std::move(known),
                std::move(result.output),
                codePoints,
                std::move(result.diagnostic)};
    } catch (const Engine::TooLong& error) {
        throw failure("TooLong", error.what());
    } catch (const std::exception& error) {
        // Whatever it was, only this call must fail: the binding lets nothing else through.
        throw failure("EngineFailed", translator.id + ": " + error.what());
    }
}

const Translator& TranslatorService::translatorNamed(const std::string& nameOrId) const
{
    if (catalogue.translators().empty())
        throw failure("EngineFailed",
                      "no braille tables are installed; install the package liblouis-data");
    const Translator* translator = catalogue.find(nameOrId);
    if (translator == nullptr)
        throw failure("NoSuchTranslator",
                      "no translator is named " + quoted(nameOrId) +
                          "; give a display name, an identifier such as " +
                          catalogue.translators().front().id +
                          ", or an identifier without its suffix, exactly as it is written");
    return *translator;
}

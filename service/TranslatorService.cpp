#include <service/TranslatorService.h>

#include <dbus/SdbusVersion.h>
#include <service/LazyMap.h>
#include <service/Logging.h>
#include <service/Quoted.h>

#include <sdbus-c++/Error.h>
#include <sdbus-c++/Message.h>

#include <memory>
#include <set>
#include <utility>

namespace {

constexpr const char* OBJECT_PATH = "/translator";

constexpr const char* A_CLIENT_LEAVES =
    "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
    "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg2=''";

/** A failure to throw or to send: it becomes the reply. */
sdbus::Error failure(const char* name, const std::string& text)
{
    LOG_INFO(name << " : " << text);
    return {sdbus_version::ErrorName(std::string("braille.translator.Error.") + name),
            validUtf8(text)};
}

sdbus::Error failureOf(const EngineAnswer& answer, const std::string& id)
{
    return failure(answer.status == EngineAnswer::Status::TOO_LONG ? "TooLong" : "EngineFailed",
                   id + ": " + answer.failure);
}

/** Whatever a reply may fail of, the next call is none the worse. */
template <class Result>
void returnError(const Result& result, const sdbus::Error& reason)
try {
    result.returnError(reason);
} catch (const sdbus::Error& error) {
    LOG_ERROR("a reply could not be sent: " << error.what());
}

std::string describe(const EngineRequest& request, const std::string& id)
{
    return id + ": a text of " + std::to_string(request.text.size()) + " code points ";
}

std::string namesLike(const std::string& nameOrId, const Catalogue& catalogue)
{
    const std::vector<std::string> close = catalogue.closeTo(nameOrId);
    if (!close.empty())
        return "close to it: " + joined(close);
    return "give a display name, an identifier such as " + catalogue.translators().front().id +
           ", or an identifier without its suffix, exactly as it is written";
}

} // namespace

TranslatorService::TranslatorService(sdbus::IConnection& connection,
                                     const Catalogue& installedTranslators,
                                     WorkerPool& engineProcesses, Configuration configuration,
                                     Maps whichMaps)
    : AdaptorInterfaces(connection, sdbus_version::ObjectPath(OBJECT_PATH)),
      catalogue(installedTranslators),
      pool(engineProcesses),
      maps(whichMaps),
      profiles(std::move(configuration.profiles)),
      clientsLeaving(
          sdbus_version::addMatch(connection, A_CLIENT_LEAVES, [this](sdbus::Message& signal) {
              std::string client;
              signal >> client;
              pool.drop(client);
          }))
{
    start(configuration.defaultProfile);
    registerAdaptor();
}

TranslatorService::~TranslatorService()
{
    unregisterAdaptor();
}

void TranslatorService::configure(Configuration configuration)
{
    profiles = std::move(configuration.profiles);
    pool.setLimits(configuration.limits);
    try {
        start(wanted);
    } catch (const Profiles::NoSuchProfile&) {
        start(configuration.defaultProfile);
    }
}

void TranslatorService::forwardW(TranslationResult&& result, std::string id, CodePoints codePoints,
                                 int32_t cursor)
{
    translate(EngineRequest::Kind::FORWARD, std::move(result), id, std::move(codePoints), cursor);
}

void TranslatorService::backW(TranslationResult&& result, std::string id, CodePoints codePoints,
                              int32_t cursor)
{
    translate(EngineRequest::Kind::BACK, std::move(result), id, std::move(codePoints), cursor);
}

void TranslatorService::changeLanguageProfile(const std::string& name)
{
    try {
        use(profiles.offered(name));
        wanted = name;
    } catch (const Profiles::NoSuchProfile& error) {
        throw failure("NoSuchProfile", error.what());
    }
}

TranslatorService::TranslatorInfo TranslatorService::getPreferredBrailleTranslatorForDisplay()
{
    return translatorInRole(&Profile::display);
}

TranslatorService::TranslatorInfo TranslatorService::getPreferredBrailleTranslatorForEntry()
{
    return translatorInRole(&Profile::entry);
}

TranslatorService::TranslatorInfo TranslatorService::getComputerBrailleTranslator()
{
    return translatorInRole(&Profile::computer);
}

TranslatorService::TranslatorInfo TranslatorService::getGrade1TranslatorForPreferredEntry()
{
    return translatorInRole(&Profile::grade1);
}

TranslatorService::TranslatorInfo TranslatorService::getTranslatorByName(const std::string& name)
{
    const Translator& translator = translatorNamed(name);
    return {translator.grade, translator.name, translatesBack(translator, catalogue, profiles),
            translator.id};
}

void TranslatorService::translate(EngineRequest::Kind direction, TranslationResult&& result,
                                  const std::string& id, CodePoints&& codePoints, int32_t cursor)
{
    const Translator& translator = translatorNamed(id);
    if (codePoints.size() > LONGEST_TEXT)
        throw failure("TooLong", "the text has " + std::to_string(codePoints.size()) +
                                     " code points, at most " + std::to_string(LONGEST_TEXT) +
                                     " can be translated at once; send it in parts");
    const auto shared = std::make_shared<TranslationResult>(std::move(result));
    const auto reply = [this, shared, &translator, cursor](Worker::Outcome&& outcome,
                                                           EngineRequest&& request) {
        try {
            shared->returnResults(
                replyOf(std::move(outcome), std::move(request), translator.id, cursor));
        } catch (const sdbus::Error& error) {
            returnError(*shared, error);
        }
    };
    const std::string client = sdbus_version::senderOfCurrentCall(getObject());
    if (!pool.submit({client, {direction, translator.table, std::move(codePoints)}, reply}))
        throw failure("Busy", "too many texts are waiting to be translated; wait for the replies");
}

TranslatorService::Reply TranslatorService::replyOf(Worker::Outcome&& outcome,
                                                    EngineRequest&& request, const std::string& id,
                                                    int32_t cursor) const
{
    switch (outcome.end) {
    case Worker::Outcome::End::TIMED_OUT:
        throw failure("Timeout", describe(request, id) +
                                     "was given up because it took too long; try another "
                                     "translator, or find the part that it takes so long for");
    case Worker::Outcome::End::DIED:
        throw failure("EngineFailed", describe(request, id) +
                                          "has ended the engine; try another translator, or "
                                          "send the text in parts");
    case Worker::Outcome::End::ANSWERED:
        break;
    }
    if (outcome.answer.status != EngineAnswer::Status::DONE)
        throw failureOf(outcome.answer, id);
    EngineResult& result = outcome.answer.result;
    std::vector<bool> known = maps == Maps::LAZY ? hideMap(result.positions, cursor)
                                                 : std::vector<bool>(result.positions.size(), true);
    return {result.complete,
            static_cast<int32_t>(result.consumed),
            std::move(result.positions),
            std::move(known),
            std::move(result.output),
            std::move(request.text),
            std::move(result.diagnostic)};
}

const Translator& TranslatorService::translatorNamed(const std::string& nameOrId) const
{
    if (catalogue.translators().empty())
        throw failure("EngineFailed", NO_TABLES);
    const Translator* translator = catalogue.find(nameOrId);
    if (translator == nullptr)
        throw failure("NoSuchTranslator", "no translator is named " + quoted(nameOrId) + "; " +
                                              namesLike(nameOrId, catalogue));
    return *translator;
}

TranslatorService::TranslatorInfo TranslatorService::translatorInRole(std::string Profile::*role)
{
    if (!profile)
        throw failure("EngineFailed",
                      "no translator has this role; " + whyNotOffered(profiles.named(wanted)));
    return getTranslatorByName((*profile).*role);
}

void TranslatorService::start(const std::string& profileName)
{
    const Profile& first = profiles.named(profileName);
    wanted = profileName;
    for (const std::string& warning : warningsOf(profiles))
        LOG_WARN(warning);
    const Profile* const closest = profiles.closestOffered(first);
    if (closest == nullptr) {
        LOG_WARN("offers no language profile, translators by their names only");
        profile.reset();
        pool.keepLoaded({});
        return;
    }
    if (closest != &first)
        LOG_WARN("starts with the language profile " << quoted(closest->name) << ", because "
                                                     << quoted(first.name) << " is not offered");
    use(*closest);
}

void TranslatorService::use(const Profile& newProfile)
{
    profile = newProfile;
    std::set<std::string> tables;
    for (const auto& [role, member] : ROLES) {
        if (const Translator* translator = catalogue.find(newProfile.*member))
            tables.insert(translator->table);
    }
    pool.keepLoaded({tables.begin(), tables.end()});
}

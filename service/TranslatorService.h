#ifndef SERVICE_TRANSLATORSERVICE_H
#define SERVICE_TRANSLATORSERVICE_H

#include <service/Catalogue.h>
#include <service/Configuration.h>
#include <service/WorkerPool.h>

#include <braille.translator-adaptor.h>
#include <sdbus-c++/AdaptorInterfaces.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/Types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/** What position maps show. */
enum class Maps
{
    COMPLETE,
    LAZY ///< for tests of clients, see LazyMap.h
};

/**
 * The object "/translator" on the bus: turns the methods of the interface
 * "braille.translator" into questions to the catalogue and the profiles and into
 * jobs for the engine processes, and what comes of them into replies. Questions
 * are answered at once, the texts of one client in their order.
 *
 * Failures: a method that cannot be answered gets an error reply named
 * "braille.translator.Error." and NoSuchTranslator, NoSuchProfile, TooLong, Busy,
 * Timeout or EngineFailed, with a text that says what was asked and what would
 * work.
 *
 * Lifetimes: everything that the constructor takes by reference is borrowed and
 * must outlive the service. The object is on the bus from construction to
 * destruction.
 *
 * Threads: lives on the thread that runs the event loop.
 */
class TranslatorService final : public sdbus::AdaptorInterfaces<braille::translator_adaptor>
{
public:
    TranslatorService(sdbus::IConnection& connection, const Catalogue& installedTranslators,
                      WorkerPool& engineProcesses, Configuration configuration, Maps whichMaps);
    ~TranslatorService();

    TranslatorService(const TranslatorService&) = delete;
    TranslatorService& operator=(const TranslatorService&) = delete;

    /**
     * From now on. The profile that was asked for last, or the default until a client
     * asks for one, stays if there is still one of its name.
     */
    void configure(Configuration configuration);

private:
    using Reply = sdbus::Struct<bool, int32_t, std::vector<int32_t>, std::vector<bool>,
                                std::vector<uint32_t>, std::vector<uint32_t>, std::string>;
    using TranslationResult = sdbus::Result<Reply>;
    using TranslatorInfo = sdbus::Struct<int32_t, std::string, bool, std::string>;

    void forwardW(TranslationResult&& result, std::string id, CodePoints codePoints,
                  int32_t cursor) override;
    void backW(TranslationResult&& result, std::string id, CodePoints codePoints,
               int32_t cursor) override;
    void changeLanguageProfile(const std::string& name) override;
    TranslatorInfo getPreferredBrailleTranslatorForDisplay() override;
    TranslatorInfo getPreferredBrailleTranslatorForEntry() override;
    TranslatorInfo getComputerBrailleTranslator() override;
    TranslatorInfo getGrade1TranslatorForPreferredEntry() override;
    TranslatorInfo getTranslatorByName(const std::string& name) override;

    void translate(EngineRequest::Kind direction, TranslationResult&& result, const std::string& id,
                   CodePoints&& codePoints, int32_t cursor);
    Reply replyOf(Worker::Outcome&& outcome, EngineRequest&& request, const std::string& id,
                  int32_t cursor) const;
    const Translator& translatorNamed(const std::string& nameOrId) const;
    TranslatorInfo translatorInRole(std::string Profile::*role);
    void start(const std::string& profileName);
    void use(const Profile& newProfile);

    const Catalogue& catalogue;
    WorkerPool& pool;
    const Maps maps;
    Profiles profiles;
    /** The name of the profile that was asked for; the current one may be its replacement. */
    std::string wanted;
    /** The current profile; none if none is offered. */
    std::optional<Profile> profile;
    sdbus::Slot clientsLeaving;
};

#endif

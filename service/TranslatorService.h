#ifndef SERVICE_TRANSLATORSERVICE_H
#define SERVICE_TRANSLATORSERVICE_H

#include <service/Catalogue.h>
#include <service/Engine.h>
#include <service/Profiles.h>

#include <braille.translator-adaptor.h>
#include <sdbus-c++/AdaptorInterfaces.h>
#include <sdbus-c++/IConnection.h>
#include <sdbus-c++/Types.h>

#include <cstdint>
#include <string>
#include <vector>

/**
 * The object "/translator" on the bus: turns the methods of the interface
 * "braille.translator" into questions to the catalogue, the profiles and the
 * engine, and their answers into replies. It decides nothing itself.
 *
 * Position maps are exact everywhere, so cursors are accepted and not used.
 *
 * Failures: a method that cannot be answered throws an sdbus::Error named
 * "braille.translator.Error." and NoSuchTranslator, NoSuchProfile, TooLong or
 * EngineFailed, with a text that says what was asked and what would work; the
 * binding sends it as the reply.
 *
 * Lifetimes: everything that the constructor takes is borrowed and must outlive
 * the service. The object is on the bus from construction to destruction.
 *
 * Threads: lives on the thread that runs the connection's event loop.
 */
class TranslatorService final : public sdbus::AdaptorInterfaces<braille::translator_adaptor>
{
public:
    TranslatorService(sdbus::IConnection& connection, const Catalogue& installedTranslators,
                      const Profiles& knownProfiles, const Profile& firstProfile,
                      Engine& brailleEngine);
    ~TranslatorService();

    TranslatorService(const TranslatorService&) = delete;
    TranslatorService& operator=(const TranslatorService&) = delete;

private:
    using TranslationReply =
        sdbus::Struct<bool, int32_t, std::vector<int32_t>, std::vector<bool>, std::vector<uint32_t>,
                      std::vector<uint32_t>, std::string>;
    using TranslatorInfo = sdbus::Struct<int32_t, std::string, bool, std::string>;
    using Direction = EngineResult (Engine::*)(const std::string& table, const CodePoints& text);

    TranslationReply forwardW(const std::string& id, const CodePoints& codePoints,
                              const int32_t& cursor) override;
    TranslationReply backW(const std::string& id, const CodePoints& codePoints,
                           const int32_t& cursor) override;
    void changeLanguageProfile(const std::string& name) override;
    TranslatorInfo getPreferredBrailleTranslatorForDisplay() override;
    TranslatorInfo getPreferredBrailleTranslatorForEntry() override;
    TranslatorInfo getComputerBrailleTranslator() override;
    TranslatorInfo getGrade1TranslatorForPreferredEntry() override;
    TranslatorInfo getTranslatorByName(const std::string& name) override;

    TranslationReply translate(Direction direction, const std::string& id,
                               const CodePoints& codePoints);
    const Translator& translatorNamed(const std::string& nameOrId) const;

    const Catalogue& catalogue;
    const Profiles& profiles;
    const Profile* profile;
    Engine& engine;
};

#endif

#ifndef CLI_SESSION_H
#define CLI_SESSION_H

#include "Complaint.h"

#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <array>
#include <memory>
#include <optional>
#include <string>

class BrlTranslationResult;

/** A question to the service: who translates for that. */
struct Role
{
    const char* name;
    TranslatorProxy* (Translation::*translator)();
};

/** All there are; the first is what braille is read with. */
const std::array<Role, 4>& allRoles();

/** Whom to translate with. */
struct Choice
{
    std::optional<std::string> name = {};   ///< of a translator, or its identifier
    const Role* role = &allRoles().front(); ///< where there is no name
};

/**
 * One connection to the Translator service, and the translator in use. Every
 * operation throws Complaint if it fails.
 */
class Session
{
public:
    Session();

    /** Switches the service to that profile, if there is one, and uses that translator. */
    void begin(const Choice& choice, const std::optional<std::string>& profile);

    /** Switches the service to that profile, for all its clients. */
    void changeProfile(std::string name);

    /**
     * Asks the service who that is, and translates with it from now on. If it is
     * not the same as before, earlier results map no positions any more.
     */
    TranslatorProxy& use(const Choice& choice);

    /** Of the translator in use. */
    std::string translatorId() const { return translator->getID(); }

    std::shared_ptr<BrlTranslationResult> forward(const std::wstring& text,
                                                  std::optional<int> cursor = {});
    std::shared_ptr<BrlTranslationResult> back(const std::wstring& cells,
                                               std::optional<int> cursor = {});

private:
    TranslatorProxy* translatorNamed(const std::string& name);
    TranslatorProxy* translatorOf(const Role& role);

    std::unique_ptr<Translation> translation;
    std::unique_ptr<TranslatorProxy> named;
    TranslatorProxy* translator = nullptr;
};

#endif

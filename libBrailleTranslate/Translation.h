#ifndef LIBBRAILLETRANSLATE_TRANSLATION_H
#define LIBBRAILLETRANSLATE_TRANSLATION_H

#include <libBrailleTranslate/Export.h>

#include <memory>
#include <string>

class DBusTranslatorProxy;
class TranslatorProxy;

/**
 * The object that an application makes to use the library: who translates for
 * the braille display, for braille entry, into computer braille and into grade
 * 1, asked of the Translator service afresh each time.
 *
 * Ownership and lifetimes: owns its link to the service and one handle per
 * role, and lends them out. A handle is valid until the same getter returns
 * another one, or until the end of the Translation; a null return ends nothing.
 * Results borrow their handle and share its limit.
 *
 * Failures: a failed service call writes one ERROR record to the host's logger
 * (see LogAppender) and returns null; the handle kept before stays valid and is
 * returned again once the service is back and names the same translator. Without
 * memory for the record, std::bad_alloc leaves getters and changeLanguageProfile().
 * A lost bus, unlike a lost service, does not come back: make a new Translation.
 *
 * Blocking: each getter makes exactly one call and waits for its reply, at most
 * libsystemd's time-out (25 s, or SYSTEMD_BUS_TIMEOUT).
 *
 * Threads: one Translation, with its handles and their results, belongs to one
 * thread at a time (of results, BrlTranslationResult says more). Several are
 * independent, each with its own connection.
 */
class BRAILLETRANSLATE_EXPORT Translation
{
public:
    /**
     * Opens the system bus; makes no service call. Throws an exception derived
     * from std::exception if that fails; can block if the bus is silent (see
     * DBusTranslatorProxy).
     */
    Translation();

    /** Closes the link, then destroys the handles. Throws nothing. */
    ~Translation();

    /** The translator preferred for the braille display, borrowed; null on failure. */
    TranslatorProxy* getPreferredBrailleTranslatorForDisplay();

    /** The translator preferred for braille entry, borrowed; null on failure. */
    TranslatorProxy* getPreferredBrailleTranslatorForEntry();

    /** The computer braille translator, borrowed; null on failure. */
    TranslatorProxy* getComputerBrailleTranslator();

    /**
     * The grade 1 translator of the table preferred for entry, borrowed; null on
     * failure. Whatever the service names, its grade is not checked.
     */
    TranslatorProxy* getGrade1TranslatorForPreferredEntry();

    /**
     * Switches the service, for all its clients, to the language profile of that
     * name (UTF-8; only read). Returns nothing; a failure is only logged. Handles
     * stay as they are until their getters are called again.
     */
    void changeLanguageProfile(std::string& profile);

    /** The link to the service, to build handles by name with: borrowed, never null. */
    DBusTranslatorProxy* getServiceProxy();

private:
    std::unique_ptr<TranslatorProxy> preferredDisplayTranslator;
    std::unique_ptr<TranslatorProxy> preferredEntryTranslator;
    std::unique_ptr<TranslatorProxy> computerBrailleTranslator;
    std::unique_ptr<TranslatorProxy> grade1EntryTranslator;
    // The last member, so that it is destroyed first: the handles only borrow it.
    std::unique_ptr<DBusTranslatorProxy> dbusProxy;
};

#endif

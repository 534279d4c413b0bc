#ifndef LIBBRAILLETRANSLATE_TRANSLATORPROXY_H
#define LIBBRAILLETRANSLATE_TRANSLATORPROXY_H

#include <libBrailleTranslate/Export.h>

#include <memory>
#include <string>

class BrlTranslationResult;
class DBusTranslatorProxy;

/**
 * A handle on one translator of the Translator service: its description as the
 * service gave it, and the way to translate with it. Immutable.
 *
 * Ownership and lifetimes: the service proxy is borrowed, not owned, and must
 * outlive every use of the handle but its destruction. Every result that the
 * handle makes borrows the handle and must not map positions after its end.
 * Handles that Translation returns belong to it; one that an application
 * builds by name belongs to the application.
 *
 * Failures: a failed translation is logged by the service proxy and yields a
 * result with empty texts, never null.
 *
 * Threads: as the service proxy; getID() and getGrade() may be called on any
 * thread while the handle lives, so not while another thread calls the getter
 * of its role, which may end it.
 */
class BRAILLETRANSLATE_EXPORT TranslatorProxy
{
public:
    /**
     * Takes a description as it is; calls nothing.
     *
     * - translatorGrade: the grade of contraction as the service reports it.
     * - displayName: the translator's name, UTF-8.
     * - serviceFlag: a service's own mark; kept, not interpreted.
     * - identifier: what the service knows the translator by, UTF-8.
     * - service: borrowed, not null.
     */
    TranslatorProxy(int translatorGrade, std::string displayName, bool serviceFlag,
                    std::string identifier, DBusTranslatorProxy* service);

    /**
     * Asks the service for the translator of that name and takes the
     * description that it returns; the name asked for is not kept. A reply
     * without a body leaves grade 0 and an empty identifier.
     *
     * - wantedName: UTF-8 without NUL.
     * - service: borrowed, not null.
     *
     * Blocks for one call. Throws sdbus::Error, derived from
     * std::exception, if the call fails or the service knows no such
     * translator; nothing is logged then.
     */
    TranslatorProxy(std::string wantedName, DBusTranslatorProxy* service);

    /** The identifier: a copy. */
    std::string getID() const;

    /** The grade, as the service reported it. */
    int getGrade() const;

    /**
     * Translates print to braille, in one call to the service.
     *
     * - text: one code point per element; sent as it is, unchecked. Its length is
     *   limited by what the bus carries, see DBusTranslatorProxy.
     * - cursor: the position in text, in code points and 0-based, at which the
     *   service makes its position map exact; any int, sent as it is.
     *
     * Returns a new result that borrows this handle, never null; with empty
     * texts, position map [0, 0] and flags [false, true] after a failure, which
     * cannot be told from the translation of an empty text. Throws
     * std::bad_alloc.
     */
    std::shared_ptr<BrlTranslationResult> forwardW(const std::wstring& text, int cursor);

    /** The same with the cursor in the middle: half the text's length, rounded down. */
    std::shared_ptr<BrlTranslationResult> forwardW(const std::wstring& text);

    /** Translates braille to print: as forwardW(), with braille in text. */
    std::shared_ptr<BrlTranslationResult> backW(const std::wstring& text, int cursor);

    /** The same with the cursor in the middle: half the text's length, rounded down. */
    std::shared_ptr<BrlTranslationResult> backW(const std::wstring& text);

private:
    int grade = 0;
    std::string reserved;
    std::string name;
    [[maybe_unused]] bool flag = false;
    std::string id;
    DBusTranslatorProxy* dbusProxy;
};

#endif

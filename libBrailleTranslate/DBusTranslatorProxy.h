#ifndef LIBBRAILLETRANSLATE_DBUSTRANSLATORPROXY_H
#define LIBBRAILLETRANSLATE_DBUSTRANSLATORPROXY_H

#include <libBrailleTranslate/Export.h>
#include <sdbus-c++/IProxy.h>
#include <sdbus-c++/Types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/**
 * @file
 * The link to the Translator service, and the structures that it replies with.
 */

/**
 * The service's reply to a translation, D-Bus signature "(biaiabauaus)". Its
 * fields, by their index:
 *
 * - 0: success, for diagnostics only
 * - 1: a number, for diagnostics only
 * - 2: position map: for each code point of the input, and for its end, the
 *   position in the output, both 0-based
 * - 3: which entries of the position map are known; its length may differ
 * - 4: the output text, one code point per element
 * - 5: the input text as the service read it, one code point per element
 * - 6: UTF-8 text, for diagnostics only
 */
using TranslationReply = sdbus::Struct<bool, int32_t, std::vector<int32_t>, std::vector<bool>,
                                       std::vector<uint32_t>, std::vector<uint32_t>, std::string>;

/** The service's description of a translator, "(isbs)": grade, name, a flag, identifier. */
using TranslatorInfo = sdbus::Struct<int32_t, std::string, bool, std::string>;

/**
 * The one link to the Translator service: a connection to the D-Bus system bus
 * and a proxy for the service's object on it.
 *
 * Most applications never name this class: Translation makes the one that they
 * need and lends it to its handles.
 *
 * Failures: the three service operations never report any. A failed call (no
 * service, an error reply, no reply in time, a reply of another shape) writes
 * one ERROR record to the host's logger and returns the neutral value; without
 * memory for the record it throws std::bad_alloc. Nothing is retried, and a lost
 * bus is not opened again: make a new object then. Exceptions that do not derive
 * from std::exception pass through, but out of the destructor end the program.
 *
 * Blocking: a call waits for its reply up to libsystemd's time-out, 25 s or the
 * environment's SYSTEMD_BUS_TIMEOUT. A call that has timed out still counts at
 * the bus as pending; after 128 of them (the bus's default limit) every call
 * fails until the service answers or goes away. Before it calls, an operation
 * drops unsolicited messages to this connection, for up to 3 s if they do not
 * stop.
 *
 * Signals, during a call and in the constructor: built with libsystemd 253 or
 * later, the library leaves them alone. A handler runs at once and the call goes
 * on; to end at once, a host calls _exit() in its handler. An older libsystemd
 * fails a call when a handler runs. Built with one, the library blocks signals on
 * the calling thread until the call is over (timers and job control among them),
 * except those of faults and SIGINT, SIGTERM, SIGQUIT and SIGHUP: a handler that
 * runs for one of these ends the call as a failure, or the constructor with an
 * exception.
 *
 * Limits: the bus carries messages up to 32 MiB, which is a text of somewhat
 * below 8,388,608 code points. A longer one costs the connection: its call
 * fails, and so do all later ones. Strings must be UTF-8, else the call fails
 * and nothing is sent; a NUL ends them.
 *
 * Threads: one object, and all handles and results that borrow it, belong to
 * one thread at a time (of results, BrlTranslationResult says more). Separate
 * objects are independent. No thread is started. After fork() the object is
 * of no use to the child: its calls fail there, and the parent does not notice.
 * (A child forked while another thread is in a call may destroy that thread's
 * object, but a call with it never returns.)
 */
class BRAILLETRANSLATE_EXPORT DBusTranslatorProxy
{
    std::unique_ptr<sdbus::IProxy> proxyHolder;

public:
    /**
     * Opens a system-bus connection of its own. Makes no service call; the
     * service need not be running.
     *
     * - objectPath, busName: where the service's object is; copied.
     *
     * Throws std::logic_error if either is null (busName is looked at first),
     * before anything else happens; sdbus::Error, derived from std::exception, if
     * there is no bus or a name is malformed. A bus that accepts the connection
     * and then stays silent blocks for 25 s to 90 s.
     */
    DBusTranslatorProxy(const char* objectPath, const char* busName);

    /** Closes the connection. Throws nothing. Handles may be destroyed after it, not used. */
    ~DBusTranslatorProxy();

    /**
     * Translates print to braille.
     *
     * - id: the translator's identifier; only read.
     * - text: one code point per element; sent as it is, unchecked.
     * - cursor: the position in text, in code points and 0-based, at which the
     *   position map must be exact; any int, sent as it is.
     *
     * Returns the service's reply; on failure, and for a reply without a body,
     * false, 0 and empty arrays and text. Throws std::bad_alloc also if there is no
     * memory for a copy of the text.
     */
    TranslationReply forwardW_proxy(std::string& id, const std::wstring& text, int cursor);

    /** Translates braille to print: as forwardW_proxy(), with braille in text. */
    TranslationReply backW_proxy(std::string& id, const std::wstring& text, int cursor);

    /**
     * Switches the service, for all its clients, to the language profile of
     * that name (UTF-8; may be empty) and waits until it has done so. The caller
     * is not told whether it worked.
     */
    void changeLanguageProfile_proxy(const std::string& profile);

    /** The same proxy that this object owns, never dangling before its end. */
    sdbus::IProxy& sdbusProxy;
};

#endif

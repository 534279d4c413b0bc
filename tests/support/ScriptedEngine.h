#ifndef TESTS_SUPPORT_SCRIPTEDENGINE_H
#define TESTS_SUPPORT_SCRIPTEDENGINE_H

#include <array>

/**
 * The tables of the tests' own engine program, scripted-engine-main.cpp. It speaks the protocol of
 * brailletranslate-engine, and each of its tables is a command: what the engine does when it is
 * asked to read that table or to translate with it.
 */
namespace scripted {

/** Answers: a cell for each code point, with the dots of its lowest byte; and the other way. */
constexpr const char* PLAIN = "plain.ctb";
/** The same. */
constexpr const char* OTHER = "other.ctb";
/** Says on standard error that it hangs, and answers as PLAIN only after SIGHUP. */
constexpr const char* HANGS = "hangs.ctb";
/** Sends half of its answer, and hangs. */
constexpr const char* STOPS_HALFWAY = "stops-halfway.ctb";
/** Sends half of its answer, and ends. */
constexpr const char* BREAKS_OFF = "breaks-off.ctb";
/** Is killed. */
constexpr const char* DIES = "dies.ctb";
/** Calls exit(3), as liblouis does when its memory runs out. */
constexpr const char* EXITS = "exits.ctb";
/** Closes the socket, and lives on. */
constexpr const char* CLOSES = "closes.ctb";
/** Answers with a message of no bytes. */
constexpr const char* SAYS_NOTHING = "says-nothing.ctb";
/** Answers with a message of the stated length that is no answer. */
constexpr const char* TALKS_NONSENSE = "talks-nonsense.ctb";
/** Answers with a message in which a string is longer than any memory. */
constexpr const char* EXAGGERATES = "exaggerates.ctb";
/** States a length for its message that is longer than any memory. */
constexpr const char* BOASTS = "boasts.ctb";
/** Answers that it cannot do that, and logs REFUSAL_IN_LOG. */
constexpr const char* REFUSES = "refuses.ctb";
/** Answers that the translation is too long, and logs the same. */
constexpr const char* EXCEEDS = "exceeds.ctb";

constexpr std::array<const char*, 14> TABLES{
    PLAIN,  OTHER,        HANGS,          STOPS_HALFWAY, BREAKS_OFF, DIES,    EXITS,
    CLOSES, SAYS_NOTHING, TALKS_NONSENSE, EXAGGERATES,   BOASTS,     REFUSES, EXCEEDS};

constexpr const char* REFUSAL = "the scripted engine refuses";
constexpr const char* REFUSAL_IN_LOG = "the scripted engine logs that it refuses";

/** What it says on standard error, behind "scripted engine " and its process number. */
constexpr const char* HANGING = " is hanging";
constexpr const char* READING = " reads ";

} // namespace scripted

#endif

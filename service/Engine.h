#ifndef SERVICE_ENGINE_H
#define SERVICE_ENGINE_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/** Text as it travels on the bus: one code point per element, nothing promised about its value. */
using CodePoints = std::vector<uint32_t>;

/** How long a text may be that is translated at once, in code points. */
constexpr std::size_t LONGEST_TEXT = 1000000;

/** One translation, with what the engine did to each position. */
struct EngineResult
{
    /** Whether the whole text was translated. */
    bool complete;
    /** How many code points of the text were translated. */
    std::size_t consumed;
    /**
     * For each position of the text, and for its end, the 0-based position in
     * the output. All entries are known, none is below the one before it, and
     * the last is the output's length.
     */
    std::vector<int32_t> positions;
    /** Braille patterns (U+2800 to U+28FF) forward, print back. */
    CodePoints output;
    /** What a person should know about this translation; empty if nothing. */
    std::string diagnostic;
};

/**
 * The braille engine: translates one text at a time with one table.
 *
 * Any text is accepted. Values that are no characters (surrogates, NUL, above
 * U+10FFFF) are translated as U+FFFD, and the diagnostic says so; the text's
 * positions stay what they are.
 *
 * Failures: throws TooLong or Failure; the engine itself stays usable. Over some
 * texts with some tables it takes for ever, and it ends the process itself if its
 * memory runs out: it is to run in a process that others can do without.
 *
 * Tables: the engine opens and keeps whatever file it is told to, so a table is
 * a path out of the Catalogue, never a string that a client sent.
 *
 * Threads: the engine's state belongs to the process. All objects together are
 * to be used by one thread at a time.
 */
class Engine
{
public:
    /**
     * What a translation may have, in code points; see LONGEST_TEXT. Together they
     * keep a reply, of 12 bytes per position of the text and 4 per cell, below
     * 32 MiB: the system bus cuts the sender of a longer message off.
     */
    static constexpr std::size_t LONGEST_OUTPUT = 5000000;

    /** The translation is above that limit. */
    struct TooLong : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };

    /** The engine cannot use the table; the text holds its own words. */
    struct Failure : std::runtime_error
    {
        using std::runtime_error::runtime_error;
    };

    Engine();

    /** Reads a table, so that the first translation with it need not. */
    void load(const std::string& table);

    /** Print to braille. An empty text does not reach the engine, whatever the table. */
    EngineResult forward(const std::string& table, const CodePoints& text);

    /** Braille to print: takes braille patterns; otherwise as forward(). */
    EngineResult back(const std::string& table, const CodePoints& text);

    /** Forgets all tables, and what room long texts have taken. */
    void giveMemoryBack();
};

#endif

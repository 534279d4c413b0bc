#ifndef LIBBRAILLETRANSLATE_BRLTRANSLATIONRESULT_H
#define LIBBRAILLETRANSLATE_BRLTRANSLATIONRESULT_H

#include <libBrailleTranslate/Export.h>

#include <cstddef>
#include <string>
#include <vector>

class TranslatorProxy;

/**
 * The result of one translation: both texts, the direction, and the position
 * map that moves a cursor between them.
 *
 * Texts are either wide (one code point per element) or narrow (UTF-8), as the
 * constructor took them; the accessors of the other form return empty texts.
 * Every position is a 0-based index in code points of a text, never in bytes.
 * The map has one entry per position of the source text and one for its end.
 * It fills itself: an entry that is not known yet is asked of the translator
 * when it is first needed, and kept.
 *
 * Failures: no operation reports errors of its own. Malformed UTF-8 is skipped.
 * Only the standard library's exceptions (std::bad_alloc, std::length_error)
 * and what a translation throws pass through.
 *
 * Lifetimes: a copyable value that owns its texts and map. The translator is
 * borrowed, may be null, and must live as long as positions are mapped.
 *
 * Threads: one result, lookups included, belongs to one thread at a time.
 * Separate results are independent but for lookups of unknown entries, which
 * use the translator's service proxy. The static operations may be called on
 * any thread.
 */
class BRAILLETRANSLATE_EXPORT BrlTranslationResult
{
public:
    /** Which way the text went. Any other int is taken as not forward. */
    enum Direction : int
    {
        FORWARD = 0, ///< print to braille
        BACK = 1     ///< braille to print
    };

    /**
     * Narrow texts, UTF-8, with the default map: the first position is 0, the
     * end is the translated text's length in code points, all between unknown.
     * (For an empty source text: [0, length], of which the first is not marked
     * as known.)
     */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::string source,
                         std::string translation);

    /** Narrow texts and a map that is known throughout; an empty map gives the default one. */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::string source,
                         std::string translation, std::vector<int> map);

    /**
     * Narrow texts and the default map, in which one more entry is known:
     * knownPosition, or the end if that is beyond it or negative. Nothing is
     * added if knownTranslatedPosition is below 1.
     */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::string source,
                         std::string translation, int knownPosition, int knownTranslatedPosition);

    /** Wide texts with the default map. */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::wstring source,
                         std::wstring translation);

    /** Wide texts and a map that is known throughout; an empty map gives the default one. */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::wstring source,
                         std::wstring translation, std::vector<int> map);

    /**
     * Wide texts, a map, and which of its entries are known, all as they stand:
     * an entry without a flag is unknown, flags without an entry mean nothing.
     * An empty map gives the default one, and known is ignored then.
     */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::wstring source,
                         std::wstring translation, std::vector<int> map, std::vector<bool> known);

    /**
     * Wide texts and the default map, in which one more entry is known:
     * knownPosition, or the end if that is beyond it. Nothing is added if
     * knownPosition is negative or knownTranslatedPosition is below 1.
     */
    BrlTranslationResult(TranslatorProxy* maker, Direction direction, std::wstring source,
                         std::wstring translation, int knownPosition, int knownTranslatedPosition);

    /** Whether print became braille. */
    bool getIsForward() const;

    /** How many leading source positions map to themselves; see addLeftOffset(). */
    int getLeftOffset() const;

    /** The map as far as it is filled. The reference is valid as long as the result. */
    const std::vector<int>& getPosMap() const;

    /** Which entries of the map are known. The reference is valid as long as the result. */
    const std::vector<bool>& getPosMapComputed() const;

    /** The translated text in UTF-8: a copy, empty for wide results. */
    std::string getTranslated() const;

    /** The source text in UTF-8: a copy, empty for wide results. */
    std::string getUntranslated() const;

    /** The translated text: a copy, empty for narrow results. */
    std::wstring getTranslatedW() const;

    /** The source text: a copy, empty for narrow results. */
    std::wstring getUntranslatedW() const;

    /** The translator that is asked for unknown entries: borrowed, may be null. */
    TranslatorProxy* getTranslator() const;

    /** Replaces that translator: borrowed, may be null. Nothing else changes. */
    void setTranslator(TranslatorProxy* replacement);

    /** The left offset plus the number of entries of the map; 0 if the map is empty. */
    int getPosMapLength();

    /** Raises the left offset by one: all mapped positions shift, the map stays. */
    void addLeftOffset();

    /**
     * Where a position of the source text is in the translated text.
     *
     * - position: any int. Below the left offset it is its own translation. At or
     *   above the number of entries of the map, whatever the offset, it keeps its
     *   distance from the end; for narrow texts it is returned as it is.
     *
     * An unknown entry costs one call to the translator, and blocks for it. A
     * failed call yields an entry all the same, as the service proxy does not
     * report failures; without a translator the result is the left offset, and
     * the entry stays unknown.
     */
    int getTranslatedPositionW(int position);

    /**
     * Which position of the source text is shown at a position of the
     * translated text: the smallest one that maps to it, else the smallest one
     * that maps to the nearest lower position, else -1. On a map that descends
     * somewhere it is one of the positions that a binary search comes by.
     *
     * Looks up about log2(n) entries of the map, and as many again if no
     * position maps there exactly; each that is unknown costs one call, as in
     * getTranslatedPositionW(). While the service does not answer, each of these
     * calls blocks for a whole time-out; their answer is then taken to be 0, so
     * that there are never more of them than entries that were unknown.
     */
    int getOriginalPositionW(int translatedPosition);

    /**
     * The result as five lines of UTF-8 text, for logs: direction, both texts,
     * map and flags. No line break at the end. Code points that are none
     * (surrogates, above U+10FFFF) are left out.
     */
    std::string toString();

    /**
     * Braille cells as text: for each byte, of which bit 0 is dot 1 and bit 7 is
     * dot 8, one character of the block U+2800 to U+28FF, in UTF-8.
     *
     * Throws std::logic_error ("basic_string::_M_construct null not valid") if
     * there are no cells, std::length_error ("vector::reserve") for 2^30 or more.
     */
    static std::string unicodeBraillify(const std::vector<unsigned char>& dots);

    /** Kept for applications that link to it: always returns no cells. */
    static std::vector<unsigned char> unUnicodeBraillify(const std::string& text);

    /**
     * Kept for applications that link to it: always returns an empty text.
     * Throws std::length_error ("vector::reserve") for 2^30 code points or more.
     */
    static std::string asciiBrailleToUnicodeBraille(const std::string& text);

    /** As asciiBrailleToUnicodeBraille(). */
    static std::string unicodeBrailleToAsciiBraille(const std::string& text);

private:
    struct Texts;
    struct PositionMap;

    BRAILLETRANSLATE_HIDDEN BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                                 Texts&& texts, PositionMap&& map);
    BRAILLETRANSLATE_HIDDEN void pin(std::size_t index, int translatedPosition);
    BRAILLETRANSLATE_HIDDEN inline int translatedPositionOf(int position, std::size_t size);
    BRAILLETRANSLATE_HIDDEN int translatedPositionBeyondMap(int position) const;
    BRAILLETRANSLATE_HIDDEN int askForTranslatedPosition(int index);
    BRAILLETRANSLATE_HIDDEN void remember(std::size_t index, int translatedPosition);

    bool isForward;
    int leftOffset = 0;
    std::vector<int> posMap;
    std::vector<bool> posMapComputed;
    std::string translated;
    TranslatorProxy* translator;
    std::string untranslated;
    std::wstring translatedW;
    std::wstring untranslatedW;
    bool isWide;
};

#endif

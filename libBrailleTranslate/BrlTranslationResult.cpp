#include <libBrailleTranslate/BrlTranslationResult.h>

#include <libBrailleTranslate/TranslatorProxy.h>

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

namespace utf = boost::locale::utf;

constexpr wchar_t BRAILLE_BLOCK = 0x2800;
/** Above it the decoder's codes for errors are, and nothing else. */
constexpr utf::code_point LAST_CODE_POINT = 0x10ffff;
constexpr std::size_t CELL_LIMIT = std::size_t{1} << 30;

/** The length of a UTF-8 text as Boost.Locale's conversion in skip mode would make it. */
std::size_t countCodePoints(const std::string& text)
{
    const char* next = text.data();
    const char* const end = next + text.size();
    std::size_t count = 0;
    while (next != end) {
        const utf::code_point codePoint = utf::utf_traits<char>::decode(next, end);
        count += codePoint <= LAST_CODE_POINT ? 1 : 0;
    }
    return count;
}

std::string toUtf8(const std::wstring& text)
{
    return boost::locale::conv::utf_to_utf<char>(text, boost::locale::conv::skip);
}

/** Positions come from the service and may be any int: they wrap, they do not overflow. */
int wrappingAdd(int left, int right)
{
    return static_cast<int>(static_cast<uint32_t>(left) + static_cast<uint32_t>(right));
}

int wrappingSubtract(int left, int right)
{
    return static_cast<int>(static_cast<uint32_t>(left) - static_cast<uint32_t>(right));
}

bool isBelow(int position, std::size_t size)
{
    return static_cast<uint32_t>(position) < size;
}

/** Entries that have no flag are unknown. */
inline bool isSet(const std::vector<bool>& flags, uint32_t index)
{
    return index < flags.size() && flags[index];
}

/** What a fresh result says of the position that it was made for; it may say too little. */
int entryAt(BrlTranslationResult& fresh, int index)
{
    const std::vector<int>& map = fresh.getPosMap();
    const int length = std::min(fresh.getPosMapLength(), static_cast<int>(map.size()));
    if (index == 0 || length < 2)
        return 0;
    return map[static_cast<std::size_t>(std::min(index, length - 1))];
}

void requireBelowLimit(std::size_t count)
{
    if (count >= CELL_LIMIT)
        throw std::length_error("vector::reserve");
}

template <typename Entries>
std::string listOf(const char* label, const Entries& entries)
{
    std::string list = label;
    list += " [";
    for (const auto entry : entries) {
        list += std::to_string(entry);
        list += ' ';
    }
    list += ']';
    return list;
}

} // namespace

/** The two texts of a result, in the one form that it has. */
struct BrlTranslationResult::Texts
{
    Texts(std::string source, std::string translation)
        : untranslated(std::move(source)), translated(std::move(translation)), isWide(false)
    {
    }

    Texts(std::wstring source, std::wstring translation)
        : untranslatedW(std::move(source)), translatedW(std::move(translation)), isWide(true)
    {
    }

    std::string untranslated;
    std::string translated;
    std::wstring untranslatedW;
    std::wstring translatedW;
    bool isWide;
};

struct BrlTranslationResult::PositionMap
{
    static PositionMap allKnown(std::vector<int> entries)
    {
        std::vector<bool> flags(entries.size(), true);
        return {std::move(entries), std::move(flags)};
    }

    /** First and end position known; the first is left unmarked if it is the end as well. */
    static PositionMap byDefault(std::size_t sourceLength, std::size_t translatedLength)
    {
        const std::size_t end = std::max<std::size_t>(sourceLength, 1);
        PositionMap map{std::vector<int>(end + 1), std::vector<bool>(end + 1)};
        map.known[0] = sourceLength > 0;
        map.positions[end] = static_cast<int>(translatedLength);
        map.known[end] = true;
        return map;
    }

    std::vector<int> positions;
    std::vector<bool> known;
};

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           Texts&& texts, PositionMap&& map)
    : isForward(direction == FORWARD),
      translated(std::move(texts.translated)),
      translator(maker),
      untranslated(std::move(texts.untranslated)),
      translatedW(std::move(texts.translatedW)),
      untranslatedW(std::move(texts.untranslatedW)),
      isWide(texts.isWide)
{
    if (map.positions.empty())
        map = isWide ? PositionMap::byDefault(untranslatedW.size(), translatedW.size())
                     : PositionMap::byDefault(countCodePoints(untranslated),
                                              countCodePoints(translated));
    posMap = std::move(map.positions);
    posMapComputed = std::move(map.known);
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::string source, std::string translation)
    : BrlTranslationResult(maker, direction, Texts(std::move(source), std::move(translation)),
                           PositionMap{})
{
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::string source, std::string translation,
                                           std::vector<int> map)
    : BrlTranslationResult(maker, direction, Texts(std::move(source), std::move(translation)),
                           PositionMap::allKnown(std::move(map)))
{
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::string source, std::string translation,
                                           int knownPosition, int knownTranslatedPosition)
    : BrlTranslationResult(maker, direction, std::move(source), std::move(translation))
{
    // Only of an empty text the first position is not marked: its map has one entry too many.
    const std::size_t end = posMapComputed.front() ? posMap.size() - 1 : 0;
    // Unsigned, so that a negative position is beyond the end.
    pin(std::min<std::size_t>(static_cast<uint32_t>(knownPosition), end), knownTranslatedPosition);
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::wstring source, std::wstring translation)
    : BrlTranslationResult(maker, direction, Texts(std::move(source), std::move(translation)),
                           PositionMap{})
{
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::wstring source, std::wstring translation,
                                           std::vector<int> map)
    : BrlTranslationResult(maker, direction, Texts(std::move(source), std::move(translation)),
                           PositionMap::allKnown(std::move(map)))
{
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::wstring source, std::wstring translation,
                                           std::vector<int> map, std::vector<bool> known)
    : BrlTranslationResult(maker, direction, Texts(std::move(source), std::move(translation)),
                           PositionMap{std::move(map), std::move(known)})
{
}

BrlTranslationResult::BrlTranslationResult(TranslatorProxy* maker, Direction direction,
                                           std::wstring source, std::wstring translation,
                                           int knownPosition, int knownTranslatedPosition)
    : BrlTranslationResult(maker, direction, std::move(source), std::move(translation))
{
    if (knownPosition >= 0)
        pin(std::min(static_cast<std::size_t>(knownPosition), untranslatedW.size()),
            knownTranslatedPosition);
}

void BrlTranslationResult::pin(std::size_t index, int translatedPosition)
{
    if (translatedPosition >= 1)
        remember(index, translatedPosition);
}

void BrlTranslationResult::remember(std::size_t index, int translatedPosition)
{
    if (index >= posMapComputed.size())
        posMapComputed.resize(index + 1);
    posMap[index] = translatedPosition;
    posMapComputed[index] = true;
}

bool BrlTranslationResult::getIsForward() const
{
    return isForward;
}

int BrlTranslationResult::getLeftOffset() const
{
    return leftOffset;
}

const std::vector<int>& BrlTranslationResult::getPosMap() const
{
    return posMap;
}

const std::vector<bool>& BrlTranslationResult::getPosMapComputed() const
{
    return posMapComputed;
}

std::string BrlTranslationResult::getTranslated() const
{
    return translated;
}

std::string BrlTranslationResult::getUntranslated() const
{
    return untranslated;
}

std::wstring BrlTranslationResult::getTranslatedW() const
{
    return translatedW;
}

std::wstring BrlTranslationResult::getUntranslatedW() const
{
    return untranslatedW;
}

TranslatorProxy* BrlTranslationResult::getTranslator() const
{
    return translator;
}

void BrlTranslationResult::setTranslator(TranslatorProxy* replacement)
{
    translator = replacement;
}

int BrlTranslationResult::getPosMapLength()
{
    return posMap.empty() ? 0 : wrappingAdd(leftOffset, static_cast<int>(posMap.size()));
}

void BrlTranslationResult::addLeftOffset()
{
    leftOffset = wrappingAdd(leftOffset, 1);
}

int BrlTranslationResult::getTranslatedPositionW(int position)
{
    return translatedPositionOf(position, posMap.size());
}

// Searches spend their time here, so what is rare is elsewhere, and the map's size, which no
// lookup changes, need not be found out at each step.
inline int BrlTranslationResult::translatedPositionOf(int position, std::size_t size)
{
    if (position < leftOffset)
        return position;
    // The offset does not move this bound: the last entries give way to the formula.
    if (!isBelow(position, size))
        return translatedPositionBeyondMap(position);
    const int index = wrappingSubtract(position, leftOffset);
    if (!isBelow(index, size))
        return 0;
    const auto entry = static_cast<uint32_t>(index);
    if (!isSet(posMapComputed, entry))
        return askForTranslatedPosition(index);
    return wrappingAdd(posMap[entry], leftOffset);
}

[[gnu::noinline]] int BrlTranslationResult::translatedPositionBeyondMap(int position) const
{
    if (posMap.empty())
        return 0;
    const int fromEnd = wrappingSubtract(position, static_cast<int>(untranslatedW.size()));
    return wrappingAdd(fromEnd, static_cast<int>(translatedW.size()));
}

int BrlTranslationResult::askForTranslatedPosition(int index)
{
    const auto entry = static_cast<uint32_t>(index);
    if (translator == nullptr)
        return leftOffset;
    const std::shared_ptr<BrlTranslationResult> fresh =
        isForward ? translator->forwardW(untranslatedW, index)
                  : translator->backW(untranslatedW, index);
    if (fresh == nullptr)
        return leftOffset;
    remember(entry, entryAt(*fresh, index));
    return wrappingAdd(posMap[entry], leftOffset);
}

int BrlTranslationResult::getOriginalPositionW(int translatedPosition)
{
    constexpr int NONE = std::numeric_limits<int>::min();
    const std::size_t size = posMap.size();
    if (size == 0)
        return -1;
    for (int target = translatedPosition;;) {
        int low = 0;
        int high = static_cast<int>(size) - 1;
        int found = NONE;
        int below = NONE;
        while (low <= high) {
            const int middle = low + (high - low) / 2;
            const int mapped = translatedPositionOf(middle, size);
            if (mapped < target) {
                below = mapped;
                low = middle + 1;
                continue;
            }
            // An equal position may have another one to its left, which wins.
            if (mapped == target)
                found = middle;
            high = middle - 1;
        }
        if (found != NONE)
            return found;
        if (below == NONE)
            return -(low + 1);
        target = below;
    }
}

std::string BrlTranslationResult::toString()
{
    std::string text = isForward ? "isForward: 1" : "isForward: 0";
    text += isWide ? "\n UntranslatedW: " : "\n Untranslated: ";
    text += isWide ? toUtf8(untranslatedW) : untranslated;
    text += isWide ? "\n TranslatedW: " : "\n Translated: ";
    text += isWide ? toUtf8(translatedW) : translated;
    text += "\n PosMap: ";
    text += listOf("posMap", posMap);
    text += "\n PosMapComputed: ";
    text += listOf("PosMapComputed", posMapComputed);
    return text;
}

std::string BrlTranslationResult::unicodeBraillify(const std::vector<unsigned char>& dots)
{
    requireBelowLimit(dots.size());
    if (dots.empty())
        throw std::logic_error("basic_string::_M_construct null not valid");
    std::wstring cells(dots.size(), BRAILLE_BLOCK);
    std::transform(dots.begin(), dots.end(), cells.begin(),
                   [](unsigned char cell) { return BRAILLE_BLOCK | cell; });
    return toUtf8(cells);
}

// The other three have never put their mapping into what they return, and
// applications rely on that: no mapping is made, only its limits are kept.

std::vector<unsigned char> BrlTranslationResult::unUnicodeBraillify(const std::string& text)
{
    std::vector<unsigned char> cells;
    cells.reserve(countCodePoints(text));
    return cells;
}

std::string BrlTranslationResult::asciiBrailleToUnicodeBraille(const std::string& text)
{
    requireBelowLimit(countCodePoints(text));
    return {};
}

std::string BrlTranslationResult::unicodeBrailleToAsciiBraille(const std::string& text)
{
    return asciiBrailleToUnicodeBraille(text);
}

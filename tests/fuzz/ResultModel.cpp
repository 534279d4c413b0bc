#include "ResultModel.h"

#include "Check.h"

#include <boost/locale/encoding_utf.hpp>

#include <algorithm>
#include <optional>
#include <sstream>
#include <utility>

namespace {

constexpr int64_t TWO_TO_32 = int64_t{1} << 32;
constexpr int64_t NONE = -(int64_t{1} << 31);

/** The signed 32-bit number that is left of a number. */
int64_t wrapped(int64_t number)
{
    int64_t rest = number % TWO_TO_32;
    if (rest < -(TWO_TO_32 / 2))
        rest += TWO_TO_32;
    if (rest >= TWO_TO_32 / 2)
        rest -= TWO_TO_32;
    return rest;
}

/** A signed 32-bit number's bits, read as an unsigned one. */
int64_t asUnsigned(int64_t number)
{
    return number < 0 ? number + TWO_TO_32 : number;
}

int64_t lengthOf(const std::wstring& text)
{
    return static_cast<int64_t>(text.size());
}

template <typename Entry>
int64_t sizeOf(const std::vector<Entry>& list)
{
    return static_cast<int64_t>(list.size());
}

template <typename List>
decltype(auto) at(List& list, int64_t index)
{
    check(index >= 0 && index < sizeOf(list), "the model itself: an index beyond a list");
    return list[static_cast<std::size_t>(index)];
}

/** What a fresh result says of an index; it has no more entries than its map really has. */
int64_t valueFrom(const ModelAnswer& fresh, int64_t index)
{
    int64_t length = fresh.map.empty() ? 0 : wrapped(fresh.leftOffset + sizeOf(fresh.map));
    length = std::min(length, sizeOf(fresh.map));
    if (index < length)
        return index == 0 ? 0 : at(fresh.map, index);
    return length - 1 < 1 ? 0 : at(fresh.map, length - 1);
}

void appendUtf8(std::string& text, uint32_t codePoint)
{
    const auto append = [&text](uint32_t unit) { text += static_cast<char>(unit); };
    if (codePoint < 0x80) {
        append(codePoint);
    } else if (codePoint < 0x800) {
        append(0xC0 | codePoint >> 6);
        append(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        append(0xE0 | codePoint >> 12);
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    } else {
        append(0xF0 | codePoint >> 18);
        append(0x80 | (codePoint >> 12 & 0x3F));
        append(0x80 | (codePoint >> 6 & 0x3F));
        append(0x80 | (codePoint & 0x3F));
    }
}

std::string toUtf8(const std::wstring& text)
{
    std::string utf8;
    for (const uint32_t codePoint : std::vector<uint32_t>(text.begin(), text.end())) {
        const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
        if (!isSurrogate && codePoint <= 0x10FFFF)
            appendUtf8(utf8, codePoint);
    }
    return utf8;
}

} // namespace

int64_t lengthOf(const std::string& text)
{
    using namespace boost::locale::conv;
    return static_cast<int64_t>(utf_to_utf<wchar_t>(text, skip).size());
}

ResultModel::ResultModel(const void* itsTranslator, int direction, std::string source,
                         std::string translation)
    : isForward(direction == 0),
      isWide(false),
      translator(itsTranslator),
      untranslated(std::move(source)),
      translated(std::move(translation))
{
    layDefaultMap(lengthOf(untranslated), lengthOf(translated));
}

ResultModel::ResultModel(const void* itsTranslator, int direction, std::wstring source,
                         std::wstring translation)
    : isForward(direction == 0),
      isWide(true),
      translator(itsTranslator),
      untranslatedW(std::move(source)),
      translatedW(std::move(translation))
{
    layDefaultMap(lengthOf(untranslatedW), lengthOf(translatedW));
}

void ResultModel::layDefaultMap(int64_t sourceLength, int64_t translatedLength)
{
    for (int64_t position = 0; position < sourceLength; ++position) {
        map.push_back(0);
        known.push_back(false);
    }
    if (map.empty()) {
        map.push_back(0);
        known.push_back(false);
    } else {
        map[0] = 0;
        known[0] = true;
    }
    map.push_back(translatedLength);
    known.push_back(true);
}

void ResultModel::replaceMap(const std::vector<int>& given)
{
    replaceMap(given, std::vector<bool>(given.size(), true));
}

void ResultModel::replaceMap(const std::vector<int>& given, const std::vector<bool>& givenFlags)
{
    if (given.empty())
        return;
    map.assign(given.begin(), given.end());
    known = givenFlags;
}

void ResultModel::pin(int64_t position, int64_t translatedPosition)
{
    if (translatedPosition < 1)
        return;
    int64_t index = 0;
    if (isWide) {
        if (position < 0)
            return;
        index = std::min(position, lengthOf(untranslatedW));
    } else {
        index = std::min(asUnsigned(position), lengthOf(untranslated));
    }
    at(map, index) = translatedPosition;
    at(known, index) = true;
}

ModelAnswer ResultModel::ask(int64_t index)
{
    calls.push_back({translator, isForward, untranslatedW, index});
    check(!answers.empty(), "the model asks the translator more often than the library did");
    ModelAnswer answer = std::move(answers.front());
    answers.pop_front();
    if (answer.kind == ModelAnswer::EXCEPTION)
        throw TranslationThrew();
    return answer;
}

int64_t ResultModel::translatedPosition(int64_t position)
{
    if (position < leftOffset)
        return position;
    if (map.empty())
        return 0;
    if (asUnsigned(position) >= sizeOf(map))
        return wrapped(position + lengthOf(translatedW) - lengthOf(untranslatedW));
    const int64_t index = wrapped(position - leftOffset);
    if (asUnsigned(index) >= sizeOf(map))
        return 0;
    const bool isKnown = index < sizeOf(known) && at(known, index);
    if (isKnown)
        return wrapped(at(map, index) + leftOffset);
    if (translator == nullptr)
        return leftOffset;
    const ModelAnswer fresh = ask(index);
    if (fresh.kind == ModelAnswer::NOTHING)
        return leftOffset;
    const int64_t value = valueFrom(fresh, index);
    while (sizeOf(known) <= index)
        known.push_back(false);
    at(map, index) = value;
    at(known, index) = true;
    return wrapped(value + leftOffset);
}

int64_t ResultModel::originalPosition(int64_t translatedPositionWanted)
{
    int64_t target = translatedPositionWanted;
    while (!map.empty()) {
        int64_t low = 0;
        int64_t high = sizeOf(map) - 1;
        int64_t found = NONE;
        int64_t below = NONE;
        while (low <= high) {
            const int64_t middle = low + (high - low) / 2;
            const int64_t mapped = translatedPosition(middle);
            if (mapped == target) {
                found = middle;
                high = middle - 1;
            } else if (mapped < target) {
                below = mapped;
                low = middle + 1;
            } else {
                high = middle - 1;
            }
        }
        if (found != NONE)
            return found;
        if (below == NONE)
            return -(low + 1);
        check(below < target, "the model itself: a pass that gets no further");
        target = below;
    }
    return -1;
}

int64_t ResultModel::mapLength() const
{
    return map.empty() ? 0 : wrapped(leftOffset + sizeOf(map));
}

void ResultModel::addLeftOffset()
{
    leftOffset = wrapped(leftOffset + 1);
}

std::string ResultModel::dump() const
{
    std::ostringstream lines;
    lines << "isForward: " << isForward;
    if (isWide)
        lines << "\n UntranslatedW: " << toUtf8(untranslatedW)
              << "\n TranslatedW: " << toUtf8(translatedW);
    else
        lines << "\n Untranslated: " << untranslated << "\n Translated: " << translated;
    lines << "\n PosMap: posMap [";
    for (const int64_t entry : map)
        lines << entry << ' ';
    lines << "]\n PosMapComputed: PosMapComputed [";
    for (const bool flag : known)
        lines << flag << ' ';
    lines << ']';
    return lines.str();
}

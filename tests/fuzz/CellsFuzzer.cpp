/**
 * The four conversions of braille cells, and the counting of code points that
 * they share with the constructors, against plain ones. The input is the text,
 * and the cells.
 */
#include "Check.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <boost/locale/encoding_utf.hpp>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

/** Each cell is one of the 256 characters from U+2800 on: E2 A0 80 to E2 A3 BF. */
std::string plainBraille(const std::vector<unsigned char>& cells)
{
    std::string text;
    for (const unsigned cell : cells) {
        text += '\xE2';
        text += static_cast<char>(0xA0 + cell / 64);
        text += static_cast<char>(0x80 + cell % 64);
    }
    return text;
}

std::size_t plainCount(const std::string& text)
{
    using namespace boost::locale::conv;
    return utf_to_utf<char32_t>(text, skip).size();
}

void checkBraillify(const std::vector<unsigned char>& cells)
{
    std::optional<std::string> refusal;
    std::string text;
    try {
        text = BrlTranslationResult::unicodeBraillify(cells);
    } catch (const std::logic_error& error) {
        refusal = error.what();
    }
    check(text == plainBraille(cells), "unicodeBraillify");
    check(refusal.has_value() == cells.empty(), "what unicodeBraillify refuses");
    check(refusal.value_or("basic_string::_M_construct null not valid") ==
              "basic_string::_M_construct null not valid",
          "the words in which unicodeBraillify refuses");
}

void checkEmptyConversions(const std::string& text, std::size_t length)
{
    const auto cells = BrlTranslationResult::unUnicodeBraillify(text);
    check(cells.empty(), "unUnicodeBraillify");
    check(cells.capacity() == length, "the room that unUnicodeBraillify takes");
    check(BrlTranslationResult::asciiBrailleToUnicodeBraille(text).empty(),
          "asciiBrailleToUnicodeBraille");
    check(BrlTranslationResult::unicodeBrailleToAsciiBraille(text).empty(),
          "unicodeBrailleToAsciiBraille");
}

void checkConstructors(const std::string& text, std::size_t length)
{
    const auto forward = BrlTranslationResult::FORWARD;
    const BrlTranslationResult plain(nullptr, forward, text, text);
    std::vector<int> map(std::max<std::size_t>(length, 1) + 1);
    map.back() = static_cast<int>(length);
    check(plain.getPosMap() == map, "the default map");

    // A negative position is the end of the source text, which is counted once more.
    const BrlTranslationResult pinned(nullptr, forward, text, text, -1, 7);
    map[length] = 7;
    check(pinned.getPosMap() == map, "the entry at the end");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    checkBraillify({data, data + size});
    const std::string text(data, data + size);
    const std::size_t length = plainCount(text);
    checkEmptyConversions(text, length);
    checkConstructors(text, length);
    return 0;
}

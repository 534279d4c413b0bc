#include "Utf8.h"

#include <boost/locale/encoding_utf.hpp>
#include <boost/locale/utf.hpp>

namespace utf = boost::locale::utf;

std::string malformedUtf8At(std::size_t offset)
{
    return "malformed UTF-8 at byte offset " + std::to_string(offset);
}

DecodedText decodeUtf8(std::string_view bytes)
{
    DecodedText decoded;
    const char* const begin = bytes.data();
    const char* const end = begin + bytes.size();
    for (const char* next = begin; next != end;) {
        const char* const sequence = next;
        const utf::code_point codePoint = utf::utf_traits<char>::decode(next, end);
        if (codePoint == utf::illegal || codePoint == utf::incomplete) {
            decoded.malformedAt = static_cast<std::size_t>(sequence - begin);
            return decoded;
        }
        decoded.text += static_cast<wchar_t>(codePoint);
    }
    return decoded;
}

std::string encodeUtf8(std::wstring text)
{
    constexpr wchar_t REPLACEMENT_CHARACTER = 0xFFFD;
    for (wchar_t& character : text) {
        if (!utf::is_valid_codepoint(static_cast<utf::code_point>(character)))
            character = REPLACEMENT_CHARACTER;
    }
    return boost::locale::conv::utf_to_utf<char>(text);
}

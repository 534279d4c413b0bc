#include "TerminalText.h"

#include <fribidi.h>

#include <algorithm>
#include <clocale>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <iomanip>
#include <langinfo.h>
#include <sstream>
#include <string_view>

namespace {

constexpr wchar_t REPLACEMENT_CHARACTER = 0xFFFD;
constexpr wchar_t DOTTED_CIRCLE = 0x25CC;
constexpr wchar_t CONTROL_PICTURES = 0x2400;
constexpr wchar_t PICTURE_OF_DELETE = 0x2421;
constexpr wchar_t FIRST_STRONG_ISOLATE = 0x2068;
constexpr wchar_t POP_DIRECTIONAL_ISOLATE = 0x2069;

} // namespace

void useUtf8Locale()
{
    // NOLINTBEGIN(concurrency-mt-unsafe): there is one thread yet
    const bool isUsers = std::setlocale(LC_CTYPE, "") != nullptr;
    if (isUsers && std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0)
        return;
    // Every Debian system has this one.
    static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
    // NOLINTEND(concurrency-mt-unsafe)
}

std::string codePointName(wchar_t character)
{
    std::ostringstream name;
    name << "U+" << std::uppercase << std::hex << std::setw(4) << std::setfill('0')
         << static_cast<unsigned>(character);
    return name.str();
}

std::size_t columnsOf(wchar_t character)
{
    return static_cast<std::size_t>(std::max(wcwidth(character), 0));
}

std::size_t columnsOf(const std::wstring& text)
{
    std::size_t columns = 0;
    for (const wchar_t character : text)
        columns += columnsOf(character);
    return columns;
}

wchar_t visible(wchar_t character)
{
    if (character >= 0 && character < L' ')
        return CONTROL_PICTURES + character;
    if (character == 0x7F)
        return PICTURE_OF_DELETE;
    const FriBidiCharType type = fribidi_get_bidi_type(static_cast<FriBidiChar>(character));
    const bool isShown =
        wcwidth(character) >= 0 && !FRIBIDI_IS_EXPLICIT(type) && !FRIBIDI_IS_ISOLATE(type);
    return isShown ? character : REPLACEMENT_CHARACTER;
}

std::wstring visible(std::wstring text)
{
    for (wchar_t& character : text)
        character = visible(character);
    if (!text.empty() && columnsOf(text.front()) == 0)
        text.insert(text.begin(), DOTTED_CIRCLE);
    return text;
}

bool isBlank(wchar_t character)
{
    constexpr std::wstring_view OTHERS = L"\u00a0\u2007\u202f"; // those that do not break
    return std::iswspace(static_cast<std::wint_t>(character)) != 0 ||
           OTHERS.find(character) != std::wstring_view::npos;
}

bool isRightToLeft(const std::wstring& text)
{
    return std::any_of(text.begin(), text.end(), [](wchar_t character) {
        return FRIBIDI_IS_RTL(fribidi_get_bidi_type(static_cast<FriBidiChar>(character)));
    });
}

std::wstring isolated(const std::wstring& text)
{
    return FIRST_STRONG_ISOLATE + text + POP_DIRECTIONAL_ISOLATE;
}

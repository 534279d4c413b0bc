#include <service/Quoted.h>

#include <boost/locale/encoding_utf.hpp>

#include <cstddef>

namespace {

constexpr std::size_t LONGEST = 80;

bool continuesCharacter(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

bool isControl(char byte)
{
    return static_cast<unsigned char>(byte) < ' ' || byte == 0x7F;
}

} // namespace

std::string quoted(std::string text)
{
    if (text.size() > LONGEST) {
        std::size_t end = LONGEST;
        // What is cut within a character is no UTF-8, and the bus would not carry it.
        while (end > 0 && continuesCharacter(text[end]))
            --end;
        text.replace(end, std::string::npos, "...");
    }
    for (char& byte : text) {
        if (isControl(byte))
            byte = ' ';
    }
    return '"' + text + '"';
}

std::string joined(const std::vector<std::string>& names, const std::string& separator)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : separator) + name;
    return text;
}

std::string validUtf8(const std::string& text)
{
    return boost::locale::conv::utf_to_utf<char>(text);
}

#ifndef CLI_UTF8_H
#define CLI_UTF8_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/** A text, or where it stops being one. */
struct DecodedText
{
    std::wstring text;                      ///< one code point per element
    std::optional<std::size_t> malformedAt; ///< offset of the first malformed sequence, in bytes
};

/** How a person is told of that offset. */
std::string malformedUtf8At(std::size_t offset);

/** Decodes UTF-8, up to the first malformed sequence. */
DecodedText decodeUtf8(std::string_view bytes);

/** Encodes code points; what is none becomes U+FFFD, so that positions stay right. */
std::string encodeUtf8(std::wstring text);

#endif

#ifndef TESTS_SUPPORT_RANDOMTEXT_H
#define TESTS_SUPPORT_RANDOMTEXT_H

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

/** Texts of all kinds: letters and spaces, ASCII, braille, Unicode, and any values at all. */
inline std::vector<uint32_t> randomText(std::mt19937& random)
{
    const std::vector<std::function<uint32_t()>> kinds{
        [&random] { return random() % 6 == 0 ? ' ' : 'a' + random() % 26; },
        [&random] { return ' ' + random() % 95; },
        [&random] { return 0x2800 + random() % 256; },
        [&random] { return random() % 0x110000; },
        [&random] { return static_cast<uint32_t>(random()); },
    };
    const auto& kind = kinds[random() % kinds.size()];
    std::vector<uint32_t> text(random() % 60);
    for (uint32_t& codePoint : text)
        codePoint = kind();
    return text;
}

#endif

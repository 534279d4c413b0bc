#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * What an input says, read from front to back; zeros when it is used up.
 *
 * Printable characters stand for what is common, so that the seeds can be
 * written and read by hand:
 *
 *   number      '0' to '9' are 0 to 9, the characters around them go on to -48
 *               and 175; then some extreme values; 0xFF and four bytes for any
 *   count       the place in the alphabet: '@' is 0, 'a' is 1, to 31
 *   code point  ASCII is itself, then braille cells, then the borders of what
 *               Unicode has; 0xFF and four bytes for any
 *   list        a count and as many items
 */
class Input
{
public:
    Input(const uint8_t* data, std::size_t size) : next(data), end(data + size) {}

    bool isUsedUp() const { return next == end; }

    uint8_t byte() { return isUsedUp() ? uint8_t{0} : *next++; }

    /** One of 0 to choices - 1; '0' is the first one of two, three or four. */
    unsigned oneOf(unsigned choices) { return byte() % choices; }

    unsigned count() { return oneOf(32); }

    bool flag() { return oneOf(2) == 1; }

    uint32_t word()
    {
        uint32_t value = 0;
        for (unsigned shift = 0; shift < 32; shift += 8)
            value |= uint32_t{byte()} << shift;
        return value;
    }

    int number()
    {
        constexpr int EXTREMES[] = {INT_MIN,     INT_MIN + 1, INT_MIN + 2, INT_MAX,
                                    INT_MAX - 1, INT_MAX - 2, 1000,        -1000};
        const uint8_t first = byte();
        if (first == 0xFF)
            return static_cast<int>(word());
        return first < 0xE0 ? first - '0' : EXTREMES[first % 8];
    }

    wchar_t codePoint()
    {
        constexpr uint32_t BORDERS[] = {
            0x7F,   0x80,    0x7FF,    0x800,    0xD7FF,     0xD800,     0xDFFF,     0xE000,
            0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x301};
        const uint8_t first = byte();
        if (first == 0xFF)
            return static_cast<wchar_t>(word());
        if (first < 0x80)
            return first;
        return static_cast<wchar_t>(first < 0xE0 ? 0x2800 + first : BORDERS[first % 16]);
    }

    /** All that is left. */
    std::string rest()
    {
        std::string all(next, end);
        next = end;
        return all;
    }

    std::string bytes()
    {
        std::string text(count(), '\0');
        for (char& unit : text)
            unit = static_cast<char>(byte());
        return text;
    }

    std::wstring text()
    {
        std::wstring text(count(), L'\0');
        for (wchar_t& unit : text)
            unit = codePoint();
        return text;
    }

    std::vector<int> numbers()
    {
        std::vector<int> list(count());
        for (int& item : list)
            item = number();
        return list;
    }

    std::vector<bool> flags()
    {
        std::vector<bool> list(count());
        for (auto&& item : list)
            item = flag();
        return list;
    }

private:
    const uint8_t* next;
    const uint8_t* end;
};

#endif

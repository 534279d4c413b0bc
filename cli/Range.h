#ifndef CLI_RANGE_H
#define CLI_RANGE_H

#include <algorithm>
#include <cstddef>
#include <string>

/** The positions from begin up to, but without, end: code points of a text, or cells. */
struct Range
{
    std::size_t begin = 0;
    std::size_t end = 0;

    std::size_t size() const { return end > begin ? end - begin : 0; }
    bool has(std::size_t position) const { return begin <= position && position < end; }

    /** What the text has there; less, if it ends before. */
    std::wstring of(const std::wstring& text) const
    {
        return text.substr(std::min(begin, text.size()), size());
    }
};

inline bool operator==(const Range& one, const Range& other)
{
    return one.begin == other.begin && one.end == other.end;
}

#endif

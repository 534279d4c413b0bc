#ifndef CLI_FOLDING_H
#define CLI_FOLDING_H

#include "Range.h"

#include <cstddef>
#include <vector>

/** What is never divided between two lines. */
struct Piece
{
    std::size_t width = 1; ///< in columns of a terminal or cells of a display
    bool isBreak = false;  ///< a line may end behind it
    bool mayHang = false;  ///< it need not be seen, and may be over the edge
};

/**
 * Divides pieces between lines of that width, behind breaks where there are
 * any. Every piece is in a line, in order. What is wider than a line has one to
 * itself.
 */
std::vector<Range> fold(const std::vector<Piece>& pieces, std::size_t width);

/** The same for what the pieces stand for, one for each of the items: the items of each line. */
template <typename Item>
std::vector<std::vector<Item>> folded(const std::vector<Item>& items,
                                      const std::vector<Piece>& pieces, std::size_t width)
{
    std::vector<std::vector<Item>> lines;
    for (const Range& line : fold(pieces, width))
        lines.emplace_back(items.begin() + static_cast<std::ptrdiff_t>(line.begin),
                           items.begin() + static_cast<std::ptrdiff_t>(line.end));
    return lines;
}

#endif

#ifndef CLI_FOLDING_H
#define CLI_FOLDING_H

#include "Range.h"

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

#endif

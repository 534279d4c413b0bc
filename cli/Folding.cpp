#include "Folding.h"

namespace {

/** Where the line that begins there ends. */
std::size_t endOfLine(const std::vector<Piece>& pieces, std::size_t begin, std::size_t width)
{
    std::size_t behindBreak = begin;
    std::size_t used = 0;
    std::size_t next = begin;
    for (; next < pieces.size(); ++next) {
        used += pieces[next].width;
        if (used > width && !pieces[next].mayHang)
            break;
        if (pieces[next].isBreak)
            behindBreak = next + 1;
    }
    if (next == pieces.size())
        return next;
    if (behindBreak > begin)
        return behindBreak;
    return next > begin ? next : begin + 1;
}

} // namespace

std::vector<Range> fold(const std::vector<Piece>& pieces, std::size_t width)
{
    std::vector<Range> lines;
    for (std::size_t begin = 0; begin < pieces.size(); begin = lines.back().end)
        lines.push_back({begin, endOfLine(pieces, begin, width)});
    return lines;
}

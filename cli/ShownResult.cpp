#include "ShownResult.h"

#include "Cells.h"
#include "Folding.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <algorithm>

namespace {

/** What is wider than a display has to be cut; each part shows all of the characters. */
std::vector<Group> cut(const std::vector<Group>& groups, std::size_t width)
{
    std::vector<Group> parts;
    for (Group rest : groups) {
        for (; rest.translation.size() > width; rest.translation.begin += width)
            parts.push_back(
                {rest.source, {rest.translation.begin, rest.translation.begin + width}});
        parts.push_back(rest);
    }
    return parts;
}

bool isBlank(const std::wstring& cells)
{
    return !cells.empty() && std::all_of(cells.begin(), cells.end(), isBlankCell);
}

} // namespace

ShownResult::ShownResult(BrlTranslationResult& result, std::optional<int> cursor)
    : forward(result.getIsForward()),
      source(result.getUntranslatedW()),
      translation(result.getTranslatedW()),
      length(translation.size()),
      parts(groupsOf(result))
{
    if (!cursor)
        return;
    const int translated = result.getTranslatedPositionW(*cursor);
    show(static_cast<std::size_t>(*cursor),
         std::min(static_cast<std::size_t>(std::max(translated, 0)), translation.size()));
}

void ShownResult::show(std::size_t cursor, std::size_t translatedCursor)
{
    std::wstring& braille = forward ? translation : source;
    cell = forward ? translatedCursor : cursor;
    if (*cell < braille.size())
        return;
    Group behind = {{source.size(), source.size()}, {translation.size(), translation.size()}};
    ++(forward ? behind.translation : behind.source).end;
    parts.push_back(behind);
    braille += BLANK_CELL;
}

std::wstring ShownResult::sourceText(const Range& range) const
{
    return forward ? range.of(source) : withCursorIn(range.of(source), range);
}

std::wstring ShownResult::translatedText(const Range& range) const
{
    return forward ? withCursorIn(range.of(translation), range) : range.of(translation);
}

std::wstring ShownResult::withCursorIn(std::wstring cells, const Range& range) const
{
    if (cell && range.has(*cell))
        cells[*cell - range.begin] = withCursor(cells[*cell - range.begin]);
    return cells;
}

std::vector<DisplayLine> ShownResult::displayLines(std::size_t width) const
{
    const std::vector<Group> narrow = cut(parts, width);
    std::vector<Piece> pieces;
    pieces.reserve(narrow.size());
    for (const Group& part : narrow) {
        const bool blank = isBlank(part.translation.of(translation));
        // The cursor has to be seen, wherever it is.
        const bool hangs = blank && !(cell && part.translation.has(*cell));
        pieces.push_back({part.translation.size(), blank, hangs});
    }
    return folded(narrow, pieces, width);
}

Range sourceOf(const DisplayLine& line)
{
    return {line.front().source.begin, line.back().source.end};
}

Range cellsOf(const DisplayLine& line)
{
    return {line.front().translation.begin, line.back().translation.end};
}

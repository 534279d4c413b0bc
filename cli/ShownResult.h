#ifndef CLI_SHOWNRESULT_H
#define CLI_SHOWNRESULT_H

#include "Groups.h"
#include "Range.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

class BrlTranslationResult;

/** A line of a braille display: what is on it, in order. Groups too wide for it are cut. */
using DisplayLine = std::vector<Group>;

/**
 * A result as a braille display shows it: with the cursor as dots 7 and 8, in
 * a blank cell of its own where it is behind the text.
 */
class ShownResult
{
public:
    /**
     * Fills the result's map, so that calls may fail.
     * cursor: a position of the source, at most its end.
     */
    explicit ShownResult(BrlTranslationResult& result, std::optional<int> cursor = {});

    bool isForward() const { return forward; }

    /** In order, without gaps, with one for a cursor behind the text. */
    const std::vector<Group>& groups() const { return parts; }

    std::wstring sourceText(const Range& range) const;
    std::wstring translatedText(const Range& range) const;

    /** All of it. */
    std::wstring translatedText() const { return translatedText({0, translation.size()}); }

    /** The same without the cursor. */
    std::wstring bareTranslatedText(const Range& range) const { return range.of(translation); }

    /** Without a cell for a cursor behind the text. */
    std::size_t translatedLength() const { return length; }

    /** The cell that shows the cursor. */
    std::optional<std::size_t> cursorCell() const { return cell; }

    /** The braille of a forward result in lines of that many cells, at least one. */
    std::vector<DisplayLine> displayLines(std::size_t width) const;

private:
    void show(std::size_t cursor, std::size_t translatedCursor);
    std::wstring withCursorIn(std::wstring cells, const Range& range) const;

    bool forward;
    std::wstring source;
    std::wstring translation;
    std::size_t length;
    std::vector<Group> parts;
    std::optional<std::size_t> cell;
};

Range sourceOf(const DisplayLine& line);
Range cellsOf(const DisplayLine& line);

#endif

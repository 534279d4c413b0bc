#include "Views.h"

#include "Cells.h"
#include "Complaint.h"
#include "Folding.h"
#include "ShownResult.h"
#include "TerminalText.h"
#include "Utf8.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <vector>

namespace {

constexpr wchar_t LEFT_TO_RIGHT_MARK = 0x200E;
constexpr const wchar_t* COLUMN_SEPARATOR = L"\u2502";

std::wstring shownCells(const std::wstring& cells, const ViewOptions& options)
{
    return options.asDots ? decodeUtf8(dotsOf(cells)).text : cells;
}

std::size_t lengthOf(const BrlTranslationResult& result)
{
    return result.getUntranslatedW().size();
}

/** What stands under each other for one group. */
struct Column
{
    std::wstring source;
    std::wstring translation;

    std::size_t width() const { return std::max(columnsOf(source), columnsOf(translation)); }
};

/** Braille as the options want it, print as it can be shown. */
std::vector<Column> columnsFor(const ShownResult& shown, const std::vector<Group>& groups,
                               const ViewOptions& options)
{
    std::vector<Column> columns;
    columns.reserve(groups.size());
    for (const Group& group : groups) {
        Column column = {shown.sourceText(group.source), shown.translatedText(group.translation)};
        std::wstring& print = shown.isForward() ? column.source : column.translation;
        std::wstring& braille = shown.isForward() ? column.translation : column.source;
        print = visible(print);
        braille = shownCells(braille, options);
        columns.push_back(std::move(column));
    }
    return columns;
}

/** One row of columns: texts of any direction, each in its own, from left to right. */
std::string row(const std::vector<Column>& columns, std::wstring Column::*side)
{
    const bool isMixed = std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
        return isRightToLeft(column.*side);
    });
    std::wstring line = isMixed ? std::wstring(1, LEFT_TO_RIGHT_MARK) : L"";
    for (const Column& column : columns) {
        const std::wstring& text = column.*side;
        const bool isLast = &column == &columns.back();
        line += isMixed ? isolated(text) : text;
        // No blanks at the end of a line.
        if (!isLast)
            line += std::wstring(column.width() - columnsOf(text), L' ') + COLUMN_SEPARATOR;
    }
    return encodeUtf8(line) + '\n';
}

std::string alignedRows(const std::vector<Column>& columns)
{
    return row(columns, &Column::source) + row(columns, &Column::translation);
}

std::string rangeText(const Range& range)
{
    return std::to_string(range.begin) + ".." + std::to_string(range.end);
}

/** The columns of each pair of rows that a terminal holds. */
std::vector<std::vector<Column>> terminalBlocks(const std::vector<Column>& columns,
                                                std::size_t terminalColumns)
{
    std::vector<Piece> pieces;
    pieces.reserve(columns.size());
    for (const Column& column : columns)
        pieces.push_back({column.width() + 1, true, false});
    return folded(columns, pieces, terminalColumns + 1);
}

/** Cells without the blank ones at their end. */
std::wstring trimmed(std::wstring cells)
{
    while (!cells.empty() && isBlankCell(cells.back()))
        cells.pop_back();
    return cells;
}

std::string positions(const char* one, const char* several, const Range& range)
{
    if (range.size() == 1)
        return std::string(one) + ' ' + std::to_string(range.begin);
    return std::string(several) + ' ' + std::to_string(range.begin) + " to " +
           std::to_string(range.end - 1);
}

/** Print as it is spoken: what has no look of its own by its name. */
std::string spoken(const std::wstring& text)
{
    if (text == L" ")
        return "space";
    if (text.size() == 1 && (isBlank(text.front()) || visible(text) != text))
        return codePointName(text.front());
    return encodeUtf8(visible(text));
}

/** One side of a result in words, "cell 3: ...", and what is there. */
std::string inWords(bool isBraille, const std::wstring& text, const Range& range)
{
    if (range.size() == 0)
        return isBraille ? "no cell" : "no character";
    if (isBraille)
        return positions("cell", "cells", range) + ": " + encodeUtf8(text) + ' ' + dotsOf(text);
    return positions("character", "characters", range) + ": " + spoken(text);
}

std::string sourceInWords(const ShownResult& shown, const Range& range)
{
    return inWords(!shown.isForward(), shown.sourceText(range), range);
}

std::string translationInWords(const ShownResult& shown, const Range& range)
{
    return inWords(shown.isForward(), shown.translatedText(range), range);
}

std::string neighbour(const char* where, const ShownResult& shown, const Group* group)
{
    if (group == nullptr)
        return std::string(where) + ": nothing\n";
    return std::string(where) + ": " + sourceInWords(shown, group->source) + ", " +
           translationInWords(shown, group->translation) + '\n';
}

/** Some tables make a line break of a cell; a line of output has to remain one. */
std::string onOneLine(std::wstring text)
{
    std::replace(text.begin(), text.end(), L'\n', L' ');
    return encodeUtf8(std::move(text));
}

const char* directionOf(const BrlTranslationResult& result)
{
    return result.getIsForward() ? "forward" : "back";
}

/** The map with nothing left unknown in it. */
const std::vector<int>& filledMap(BrlTranslationResult& result)
{
    const std::size_t length = lengthOf(result);
    for (std::size_t position = 0; position <= length; ++position)
        result.getTranslatedPositionW(static_cast<int>(position));
    return result.getPosMap();
}

} // namespace

std::string plainView(BrlTranslationResult& result, const ViewOptions& options)
{
    std::wstring text = result.getTranslatedW();
    if (!result.getIsForward())
        return onOneLine(text) + '\n';
    if (options.cursor)
        text = ShownResult(result, options.cursor).translatedText();
    return encodeUtf8(shownCells(text, options)) + '\n';
}

std::string displayView(BrlTranslationResult& result, const ViewOptions& options)
{
    const ShownResult shown(result, options.cursor);
    const std::string widest = rangeText({lengthOf(result), lengthOf(result)});
    std::string text;
    for (const DisplayLine& line : shown.displayLines(*options.width)) {
        std::string range = rangeText(sourceOf(line));
        range.resize(std::max(range.size(), widest.size()), ' ');
        const std::wstring cells = trimmed(shown.translatedText(cellsOf(line)));
        text += range + "  " + encodeUtf8(shownCells(cells, options)) + '\n';
    }
    return text.empty() ? "0..0\n" : text;
}

std::string mapView(BrlTranslationResult& result, const ViewOptions& options)
{
    const ShownResult shown(result, options.cursor);
    std::string text;
    if (options.width) {
        for (const DisplayLine& line : shown.displayLines(*options.width))
            text +=
                rangeText(sourceOf(line)) + '\n' + alignedRows(columnsFor(shown, line, options));
    } else {
        const std::vector<Column> columns = columnsFor(shown, shown.groups(), options);
        for (const auto& block : terminalBlocks(columns, options.terminalColumns))
            text += alignedRows(block);
    }
    return text.empty() ? "\n\n" : text;
}

std::string explainView(BrlTranslationResult& result, const ViewOptions& options)
{
    const std::size_t length = lengthOf(result);
    if (options.explained >= length)
        throw Complaint(Status::WRONG_USE, "there is nothing to explain at position " +
                                               std::to_string(options.explained) +
                                               ": the text has " + std::to_string(length) +
                                               (length == 1 ? " character" : " characters") +
                                               ", and the first is at position 0");
    const ShownResult shown(result);
    const std::vector<Group>& groups = shown.groups();
    const Group* const group = &groupAt(groups, options.explained);
    std::string text = sourceInWords(shown, {options.explained, options.explained + 1}) + '\n';
    if (group->source.size() > 1)
        text += "part of " + sourceInWords(shown, group->source) + '\n';
    text += translationInWords(shown, group->translation) + '\n';
    text += neighbour("before", shown, group == &groups.front() ? nullptr : group - 1);
    text += neighbour("after", shown, group == &groups.back() ? nullptr : group + 1);
    return text;
}

std::string positionsView(BrlTranslationResult& result, const ViewOptions& /*options*/)
{
    std::string text = "source   " + encodeUtf8(result.getUntranslatedW()) + '\n' +
                       (result.getIsForward() ? "braille  " : "print    ") +
                       onOneLine(result.getTranslatedW()) + "\nmap     ";
    for (const int position : filledMap(result))
        text += ' ' + std::to_string(position);
    return text + '\n';
}

std::string dumpView(BrlTranslationResult& result, const ViewOptions& /*options*/)
{
    return result.toString() + '\n';
}

std::string jsonView(BrlTranslationResult& result, const ViewOptions& options)
{
    nlohmann::ordered_json object;
    object["direction"] = directionOf(result);
    object["translator"] = result.getTranslator()->getID();
    object["source"] = encodeUtf8(result.getUntranslatedW());
    object["translation"] = encodeUtf8(result.getTranslatedW());
    object["map"] = filledMap(result);
    if (options.cursor)
        object["cursor"] = {{"source", *options.cursor},
                            {"translation", result.getTranslatedPositionW(*options.cursor)}};
    // The translator's name is the service's, and may be anything.
    return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

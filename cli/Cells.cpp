#include "Cells.h"

#include "Complaint.h"
#include "TerminalText.h"
#include "Utf8.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr unsigned DOTS = 8;
constexpr wchar_t DOTS_7_AND_8 = 0xC0;

std::string dotsOf(wchar_t cell)
{
    if (!isCell(cell))
        return codePointName(cell);
    std::string dots;
    for (unsigned dot = 0; dot < DOTS; ++dot) {
        if ((static_cast<unsigned>(cell) >> dot & 1U) != 0)
            dots += static_cast<char>('1' + dot);
    }
    return dots.empty() ? "0" : dots;
}

/** The bit of a dot's number in a cell; none if there is no such dot. */
wchar_t bitOf(wchar_t dot)
{
    return dot >= L'1' && dot <= L'8' ? wchar_t{1} << (dot - L'1') : wchar_t{0};
}

/** number: which of the cells it is, for the complaint. */
wchar_t cellOfDots(const std::wstring& dots, std::size_t number)
{
    if (dots == L"0")
        return BLANK_CELL;
    wchar_t cell = BLANK_CELL;
    bool isWellFormed = !dots.empty();
    for (const wchar_t dot : dots) {
        const wchar_t bit = bitOf(dot);
        isWellFormed = isWellFormed && bit != 0 && (cell & bit) == 0;
        cell |= bit;
    }
    if (!isWellFormed)
        throw Complaint(Status::NOT_TRANSLATED,
                        "cell " + std::to_string(number) + ", \"" + encodeUtf8(visible(dots)) +
                            "\", is none; give dots 1 to 8, each once, or 0 for a blank cell, "
                            "with hyphens between cells");
    return cell;
}

} // namespace

bool isCell(wchar_t character)
{
    return character >= BLANK_CELL && character <= BLANK_CELL + 0xFF;
}

bool isBlankCell(wchar_t character)
{
    return character == BLANK_CELL || character == L' ';
}

wchar_t withCursor(wchar_t cell)
{
    return (isCell(cell) ? cell : BLANK_CELL) | DOTS_7_AND_8;
}

std::string dotsOf(const std::wstring& cells)
{
    std::string text;
    for (const wchar_t cell : cells)
        text += (text.empty() ? "" : "-") + dotsOf(cell);
    return text;
}

std::wstring cellsOfDots(const std::wstring& dots)
{
    std::wstring cells;
    for (std::size_t begin = 0; begin < dots.size();) {
        if (dots[begin] == L' ') {
            cells += BLANK_CELL;
            ++begin;
            continue;
        }
        const std::size_t end = std::min(dots.find_first_of(L"- ", begin), dots.size());
        cells += cellOfDots(dots.substr(begin, end - begin), cells.size());
        const bool isHyphen = end < dots.size() && dots[end] == L'-';
        if (isHyphen && (end + 1 == dots.size() || dots[end + 1] == L' '))
            cellOfDots(L"", cells.size());
        begin = isHyphen ? end + 1 : end;
    }
    return cells;
}

std::wstring cellsOfText(std::wstring text)
{
    for (std::size_t position = 0; position < text.size(); ++position) {
        wchar_t& character = text[position];
        if (character == L' ')
            character = BLANK_CELL;
        if (!isCell(character))
            throw Complaint(Status::NOT_TRANSLATED,
                            codePointName(character) + " at position " + std::to_string(position) +
                                " is no braille cell; give U+2800 to U+28FF, or dot numbers with "
                                "--dots");
    }
    return text;
}

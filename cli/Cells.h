/** Braille cells as characters U+2800 to U+28FF, and as dot numbers. */
#ifndef CLI_CELLS_H
#define CLI_CELLS_H

#include <string>

constexpr wchar_t BLANK_CELL = 0x2800;

bool isCell(wchar_t character);

/** Whether nothing is felt there: a blank cell, or a space in a braille text. */
bool isBlankCell(wchar_t character);

/** With dots 7 and 8 as well: how a braille display shows the cursor. */
wchar_t withCursor(wchar_t cell);

/**
 * The dots of each cell, with hyphens between cells and 0 for a blank one:
 * "125-15-0-24". What is no cell is written as U+0041.
 */
std::string dotsOf(const std::wstring& cells);

/**
 * The cells of such dots; a space is a blank cell and needs no hyphens.
 * Throws Complaint with what is no cell.
 */
std::wstring cellsOfDots(const std::wstring& dots);

/** A braille text as the translator takes it; throws Complaint with what is no cell. */
std::wstring cellsOfText(std::wstring text);

#endif

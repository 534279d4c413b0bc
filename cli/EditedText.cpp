#include "EditedText.h"

#include <algorithm>
#include <utility>

EditedText::EditedText(std::vector<std::wstring> content) : text(std::move(content))
{
    if (text.empty())
        text.emplace_back();
}

void EditedText::moveTo(std::size_t newPosition)
{
    column = std::min(newPosition, line().size());
}

void EditedText::left()
{
    if (column > 0) {
        --column;
    } else if (row > 0) {
        --row;
        end();
    }
}

void EditedText::right()
{
    if (column < line().size()) {
        ++column;
    } else if (!isAtEndOfText()) {
        ++row;
        home();
    }
}

void EditedText::up()
{
    if (row > 0)
        goToLine(row - 1);
}

void EditedText::down()
{
    if (row + 1 < text.size())
        goToLine(row + 1);
}

void EditedText::goToLine(std::size_t number)
{
    row = number;
    moveTo(column);
}

void EditedText::insert(wchar_t character)
{
    text[row].insert(column, 1, character);
    ++column;
}

void EditedText::breakLine()
{
    std::wstring rest = line().substr(column);
    text[row].resize(column);
    ++row;
    text.insert(text.begin() + static_cast<std::ptrdiff_t>(row), std::move(rest));
    home();
}

void EditedText::eraseBefore()
{
    if (row == 0 && column == 0)
        return;
    left();
    eraseAt();
}

void EditedText::eraseAt()
{
    if (column < line().size())
        text[row].erase(column, 1);
    else if (!isAtEndOfText())
        joinNextLine();
}

void EditedText::joinNextLine()
{
    const auto next = text.begin() + static_cast<std::ptrdiff_t>(row) + 1;
    text[row] += *next;
    text.erase(next);
}

#include "Screen.h"

#include "Cells.h"
#include "Complaint.h"
#include "EndingSignals.h"
#include "Folding.h"
#include "TerminalKind.h"
#include "TerminalText.h"
#include "Utf8.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <curses.h>
#include <exception>
#include <iomanip>
#include <poll.h>
#include <sstream>
#include <unistd.h>

namespace {

constexpr const wchar_t* HELP = L"Tab braille F2 role F3 profile F10 end";

constexpr int MOST_STATUS_ROWS = 4;
constexpr int ROWS_WITH_A_RULE = 9;

/** A row of the terminal: a part of a line of the text. */
struct TextRow
{
    std::size_t line;
    Range part;
};

std::vector<TextRow> rowsOf(const EditedText& text, std::size_t line, std::size_t columns)
{
    std::vector<Piece> pieces;
    for (const wchar_t character : text.lines()[line]) {
        const bool isBlank = character == L' ';
        pieces.push_back({columnsOf(visible(character)), isBlank, isBlank});
    }
    std::vector<TextRow> rows;
    for (const Range& part : fold(pieces, columns))
        rows.push_back({line, part});
    if (rows.empty())
        rows.push_back({line, {}});
    return rows;
}

/** As many rows as there is room for, with the one of the cursor in the middle if need be. */
std::vector<TextRow> rowsAround(const EditedText& text, std::size_t columns, std::size_t room,
                                std::size_t& cursorRow)
{
    std::vector<TextRow> rows = rowsOf(text, text.lineNumber(), columns);
    cursorRow = 0;
    while (cursorRow + 1 < rows.size() && text.position() >= rows[cursorRow].part.end)
        ++cursorRow;
    for (std::size_t line = text.lineNumber(); line > 0 && cursorRow < room; --line) {
        const std::vector<TextRow> before = rowsOf(text, line - 1, columns);
        rows.insert(rows.begin(), before.begin(), before.end());
        cursorRow += before.size();
    }
    for (std::size_t line = text.lineNumber() + 1;
         line < text.lines().size() && rows.size() < cursorRow + room; ++line) {
        const std::vector<TextRow> behind = rowsOf(text, line, columns);
        rows.insert(rows.end(), behind.begin(), behind.end());
    }
    const std::size_t last = rows.size() > room ? rows.size() - room : 0;
    const std::size_t first = std::min(cursorRow > room / 2 ? cursorRow - room / 2 : 0, last);
    rows.erase(rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(first));
    rows.resize(std::min(rows.size(), room));
    cursorRow -= first;
    return rows;
}

std::wstring positionsInWords(const Exploration& exploration)
{
    const std::wstring cells = exploration.focusedBraille();
    std::ostringstream words;
    words << "char " << exploration.text().position() << '/' << exploration.text().line().size()
          << ", cell " << exploration.cell() << '/' << exploration.brailleLength();
    if (!cells.empty())
        words << ", dots " << dotsOf(cells);
    return decodeUtf8(words.str()).text;
}

std::wstring effortInWords(const Exploration& exploration)
{
    std::ostringstream words;
    words << "last call " << std::fixed << std::setprecision(2) << exploration.lastCall().count()
          << " ms, calls of the map " << exploration.callsOfTheMap();
    return decodeUtf8(words.str()).text;
}

/** As much of it as fits. */
std::wstring clipped(const std::wstring& text, std::size_t columns)
{
    std::size_t end = 0;
    for (std::size_t used = 0; end < text.size(); ++end) {
        used += columnsOf(text[end]);
        if (used > columns)
            break;
    }
    return text.substr(0, end);
}

/** What stands below the braille, the most important first. */
std::vector<std::wstring> statusOf(const Exploration& exploration, std::size_t rows,
                                   std::size_t columns)
{
    std::vector<std::wstring> status = {positionsInWords(exploration),
                                        decodeUtf8(exploration.translatorInWords()).text,
                                        effortInWords(exploration), HELP};
    status.resize(rows);
    std::wstring problem = visible(decodeUtf8(exploration.problem()).text);
    for (std::size_t row = rows - std::min<std::size_t>(rows, 2); row < rows && !problem.empty();
         ++row) {
        status[row] = clipped(problem, columns);
        problem.erase(0, status[row].size());
    }
    return status;
}

/** A program that ends by a fault leaves the terminal as it was. */
void restoreTerminalOnTerminate()
{
    static const std::terminate_handler previous = std::get_terminate();
    std::set_terminate([] {
        endwin();
        previous();
    });
}

} // namespace

std::mutex Screen::mutex;

Screen::Screen()
{
    const std::lock_guard lock(mutex);
    if (!canMoveCursor() || newterm(nullptr, stdout, stdin) == nullptr)
        throw Complaint(Status::WRONG_USE, "--explore cannot draw on this terminal; set TERM to "
                                           "what it is");
    restoreTerminalOnTerminate();
    cbreak();
    noecho();
    nonl();
    set_escdelay(25);
    keypad(stdscr, TRUE);
}

Screen::~Screen()
{
    const std::lock_guard lock(mutex);
    endwin();
}

void Screen::abandon()
{
    mutex.lock();
    if (!isendwin())
        endwin();
}

/** What get_wch() says, without waiting. */
int Screen::typedKey(wint_t& code)
{
    const std::lock_guard lock(mutex);
    timeout(0);
    return get_wch(&code);
}

std::optional<Key> Screen::key(std::chrono::milliseconds patience)
{
    // The terminal library cannot tell that there is no key from that there is no terminal.
    wint_t code = 0;
    int kind = typedKey(code);
    pollfd typed{STDIN_FILENO, POLLIN, 0};
    if (kind == ERR && poll(&typed, 1, static_cast<int>(patience.count())) != 0)
        kind = typedKey(code);
    if (kind == ERR && (typed.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0)
        endBy(SIGHUP); // which only a controlling terminal sends by itself
    if (kind == ERR)
        return std::nullopt;
    return Key{kind == KEY_CODE_YES, static_cast<wchar_t>(code)};
}

void Screen::draw(const Exploration& exploration, const std::optional<std::wstring>& prompt)
{
    const std::lock_guard lock(mutex);
    int rows = 0;
    int width = 0;
    getmaxyx(stdscr, rows, width);
    columns = static_cast<std::size_t>(std::max(width, 1));
    erase();
    const int statusRows = std::clamp(rows - 2, 0, MOST_STATUS_ROWS);
    const int brailleRow = rows - statusRows - 1;
    const int rule = rows >= ROWS_WITH_A_RULE ? 1 : 0;
    if (rule > 0)
        mvhline(brailleRow - 1, 0, 0, width);
    const auto textRows = static_cast<std::size_t>(std::max(brailleRow - rule, 1));
    const Place inText = drawText(exploration.text(), textRows);
    const Place inBraille = drawBraille(exploration, brailleRow);
    int row = brailleRow;
    for (const std::wstring& line :
         statusOf(exploration, static_cast<std::size_t>(statusRows), columns))
        drawLine(++row, line);
    Place focus = exploration.side() == Exploration::Side::PRINT ? inText : inBraille;
    if (prompt)
        focus = drawPrompt(rows - 1, *prompt);
    ::move(focus.row, static_cast<int>(std::min(focus.column, columns - 1)));
    ::refresh();
}

Screen::Place Screen::drawText(const EditedText& text, std::size_t rows) const
{
    std::size_t cursorRow = 0;
    // One column is for a cursor behind the last character.
    const std::size_t width = std::max<std::size_t>(columns, 2) - 1;
    const std::vector<TextRow> shown = rowsAround(text, width, rows, cursorRow);
    for (std::size_t row = 0; row < shown.size(); ++row)
        drawLine(static_cast<int>(row), visible(shown[row].part.of(text.lines()[shown[row].line])));
    const Range before = {shown[cursorRow].part.begin, text.position()};
    return {static_cast<int>(cursorRow), columnsOf(visible(before.of(text.line())))};
}

Screen::Place Screen::drawBraille(const Exploration& exploration, int row) const
{
    const Range cells = exploration.displayedCells();
    const std::size_t column = std::min(exploration.cell() - cells.begin, cells.size());
    // A display may be wider than the terminal.
    const std::size_t hidden = column < columns ? 0 : column - columns + 1;
    if (row > 0)
        drawLine(row, visible(exploration.braille({cells.begin + hidden, cells.end})));
    return {row, column - hidden};
}

Screen::Place Screen::drawPrompt(int row, const std::wstring& prompt) const
{
    std::wstring text = visible(prompt);
    while (columnsOf(text) >= columns)
        text.erase(0, 1);
    drawLine(row, text);
    return {row, columnsOf(text)};
}

void Screen::drawLine(int row, const std::wstring& text) const
{
    ::move(row, 0);
    clrtoeol();
    // At the last place of the terminal this fails, after it has drawn.
    addwstr(clipped(text, columns).c_str());
}

#include "Exploration.h"

#include "FailureReport.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <algorithm>
#include <utility>

namespace {

std::size_t knownEntries(const BrlTranslationResult& result)
{
    const std::vector<bool>& known = result.getPosMapComputed();
    return static_cast<std::size_t>(std::count(known.begin(), known.end(), true));
}

} // namespace

Exploration::Exploration(std::vector<std::wstring> lines, Choice whoTranslates,
                         std::size_t displayWidth)
    : edited(std::move(lines)), choice(std::move(whoTranslates)), width(displayWidth)
{
    refresh();
}

Exploration::~Exploration() = default;

/** The one place where something may fail. */
template <typename Operation>
void Exploration::attempt(const Operation& operation)
{
    try {
        if (session == nullptr)
            connect();
        operation();
        throwIfACallHasFailed();
        trouble.clear();
    } catch (const Complaint& complaint) {
        trouble = complaint.what();
        if (complaint.status() != Status::NO_SERVICE)
            return;
        trouble.insert(0, "Trying again: ");
        // A bus that is gone does not come back to the same connection.
        if (result != nullptr)
            result->setTranslator(nullptr);
        isTranslated = false;
        session.reset();
    }
}

void Exploration::connect()
{
    auto opened = std::make_unique<Session>();
    translatorId = opened->use(choice).getID();
    session = std::move(opened);
}

void Exploration::refresh()
{
    const std::string before = trouble;
    bool isNews = true;
    attempt([&] {
        const std::string id = session->use(choice).getID();
        isNews = !isTranslated || id != translatorId;
        translatorId = id;
        if (isNews)
            translate();
    });
    // What was refused stays so, until something else is asked for.
    if (!isNews && trouble.empty())
        trouble = before;
}

void Exploration::acknowledge()
{
    if (shown && session != nullptr)
        trouble.clear();
}

void Exploration::translate()
{
    forgetTranslation();
    isTranslated = true;
    const auto begin = std::chrono::steady_clock::now();
    result = session->forward(edited.line(), static_cast<int>(edited.position()));
    took = std::chrono::steady_clock::now() - begin;
    show();
}

void Exploration::show()
{
    const std::size_t before = knownEntries(*result);
    shown.emplace(*result, static_cast<int>(edited.position()));
    mapCalls += knownEntries(*result) - before;
    display = shown->displayLines(width);
    focusedCell = std::min(focusedCell, lastCell());
}

void Exploration::forgetTranslation()
{
    display.clear();
    shown.reset();
    result.reset();
    mapCalls = 0;
}

template <typename Operation>
void Exploration::edit(const Operation& operation)
{
    focus = Side::PRINT;
    operation();
    isTranslated = false;
    forgetTranslation();
    // A service that is gone is looked for when nobody is typing.
    if (session != nullptr)
        attempt([this] { translate(); });
}

template <typename Operation>
void Exploration::move(const Operation& operation)
{
    const std::size_t line = edited.lineNumber();
    operation();
    if (line != edited.lineNumber())
        edit([] {});
    else if (result != nullptr && session != nullptr)
        attempt([this] { show(); });
    else if (result != nullptr)
        show();
}

void Exploration::left()
{
    if (focus == Side::PRINT)
        move([this] { edited.left(); });
    else if (focusedCell > 0)
        --focusedCell;
}

void Exploration::right()
{
    if (focus == Side::PRINT)
        move([this] { edited.right(); });
    else if (focusedCell < lastCell())
        ++focusedCell;
}

void Exploration::up()
{
    if (focus == Side::PRINT)
        move([this] { edited.up(); });
    else
        goToDisplayLine(false);
}

void Exploration::down()
{
    if (focus == Side::PRINT)
        move([this] { edited.down(); });
    else
        goToDisplayLine(true);
}

void Exploration::home()
{
    if (focus == Side::PRINT)
        move([this] { edited.home(); });
    else
        focusedCell = 0;
}

void Exploration::end()
{
    if (focus == Side::PRINT)
        move([this] { edited.end(); });
    else
        focusedCell = lastCell();
}

void Exploration::switchSide()
{
    focusedCell = cursorCell();
    focus = focus == Side::PRINT ? Side::BRAILLE : Side::PRINT;
}

void Exploration::enter()
{
    if (focus == Side::PRINT) {
        edit([this] { edited.breakLine(); });
    } else if (result != nullptr) {
        const int position = result->getOriginalPositionW(static_cast<int>(focusedCell));
        move([&] { edited.moveTo(static_cast<std::size_t>(std::max(position, 0))); });
    }
}

void Exploration::insert(wchar_t character)
{
    edit([&] { edited.insert(character); });
}

void Exploration::eraseBefore()
{
    edit([this] { edited.eraseBefore(); });
}

void Exploration::eraseAt()
{
    edit([this] { edited.eraseAt(); });
}

void Exploration::nextRole()
{
    const auto& roles = allRoles();
    // From a translator that was named, to the first role.
    if (choice.name)
        choice = {};
    else
        choice.role = choice.role == &roles.back() ? &roles.front() : choice.role + 1;
    isTranslated = false;
    if (session != nullptr)
        refresh();
}

void Exploration::changeProfile(const std::string& name)
{
    attempt([&] { session->changeProfile(name); });
    if (trouble.empty())
        refresh();
}

std::size_t Exploration::cell() const
{
    return focus == Side::PRINT ? cursorCell() : focusedCell;
}

std::size_t Exploration::cursorCell() const
{
    return shown ? shown->cursorCell().value_or(0) : 0;
}

std::size_t Exploration::cellCount() const
{
    return shown ? shown->translatedText().size() : 0;
}

std::size_t Exploration::brailleLength() const
{
    return shown ? shown->translatedLength() : 0;
}

/** The first, where there are none. */
std::size_t Exploration::lastCell() const
{
    return std::max<std::size_t>(cellCount(), 1) - 1;
}

std::size_t Exploration::displayLineOf(std::size_t wantedCell) const
{
    std::size_t line = 0;
    while (line + 1 < display.size() && cellsOf(display[line]).end <= wantedCell)
        ++line;
    return line;
}

Range Exploration::displayedCells() const
{
    if (display.empty())
        return {};
    // Blanks at the end may hang over the edge.
    const Range cells = cellsOf(display[displayLineOf(cell())]);
    return {cells.begin, std::min(cells.end, cells.begin + width)};
}

void Exploration::goToDisplayLine(bool isNext)
{
    const std::size_t line = displayLineOf(focusedCell);
    if (isNext ? line + 1 >= display.size() : line == 0)
        return;
    const std::size_t column = focusedCell - cellsOf(display[line]).begin;
    const Range target = cellsOf(display[isNext ? line + 1 : line - 1]);
    focusedCell = target.begin + std::min(column, std::max<std::size_t>(target.size(), 1) - 1);
}

std::wstring Exploration::braille(const Range& cells) const
{
    return shown ? shown->translatedText(cells) : L"";
}

std::wstring Exploration::focusedBraille() const
{
    return shown ? shown->bareTranslatedText({cell(), cell() + 1}) : L"";
}

std::string Exploration::translatorInWords() const
{
    return (choice.name ? "translator" : choice.role->name) + std::string(": ") + translatorId;
}

#ifndef CLI_EXPLORATION_H
#define CLI_EXPLORATION_H

#include "EditedText.h"
#include "Session.h"
#include "ShownResult.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class BrlTranslationResult;

/**
 * A text, the line of it that a braille display shows, and a cursor in both.
 * Nothing here fails: what goes wrong is kept as a problem, and a service that
 * is gone is looked for again.
 */
class Exploration
{
public:
    enum class Side
    {
        PRINT,
        BRAILLE
    };

    using Milliseconds = std::chrono::duration<double, std::milli>;

    Exploration(std::vector<std::wstring> lines, Choice whoTranslates, std::size_t displayWidth);
    ~Exploration();
    Exploration(const Exploration&) = delete;
    Exploration& operator=(const Exploration&) = delete;

    /** Asks the service who translates; translates if that is news. */
    void refresh();

    /** Stops showing a problem that is over, such as a profile that there is not. */
    void acknowledge();

    /** Moves in the text or over the braille, whichever side has the focus. */
    void left();
    void right();
    void up();
    void down();
    void home();
    void end();

    void switchSide();

    /** In braille, routes the cursor to the cell in focus; in print, breaks the line. */
    void enter();

    /** These go on in print. */
    void insert(wchar_t character);
    void eraseBefore();
    void eraseAt();

    void nextRole();
    void changeProfile(const std::string& name);

    const EditedText& text() const { return edited; }
    Side side() const { return focus; }

    /** The cell in focus, and the one that shows the cursor; at most the braille's end. */
    std::size_t cell() const;
    std::size_t cursorCell() const;
    std::size_t cellCount() const;

    /** Without a cell for a cursor behind the text. */
    std::size_t brailleLength() const;

    /** The cells of the line of the display that has the cell in focus. */
    Range displayedCells() const;
    std::wstring braille(const Range& cells) const;

    /** The cell in focus itself, without the cursor; empty if there is none. */
    std::wstring focusedBraille() const;

    std::string translatorInWords() const;

    /** How long the last translation took, and how many more calls its position map. */
    Milliseconds lastCall() const { return took; }
    std::size_t callsOfTheMap() const { return mapCalls; }

    /** What is wrong; empty if nothing is. */
    const std::string& problem() const { return trouble; }

private:
    template <typename Operation>
    void attempt(const Operation& operation);
    template <typename Operation>
    void edit(const Operation& operation);
    template <typename Operation>
    void move(const Operation& operation);

    void connect();
    void translate();
    void show();
    void forgetTranslation();
    void goToDisplayLine(bool isNext);
    std::size_t lastCell() const;
    std::size_t displayLineOf(std::size_t wantedCell) const;

    EditedText edited;
    Choice choice;
    std::size_t width;
    std::unique_ptr<Session> session;
    std::shared_ptr<BrlTranslationResult> result;
    std::optional<ShownResult> shown;
    std::vector<DisplayLine> display;
    std::string translatorId;
    bool isTranslated = false; ///< or refused: there is no need to try again
    Side focus = Side::PRINT;
    std::size_t focusedCell = 0;
    Milliseconds took{};
    std::size_t mapCalls = 0;
    std::string trouble;
};

#endif

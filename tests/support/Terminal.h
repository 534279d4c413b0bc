#ifndef TESTS_SUPPORT_TERMINAL_H
#define TESTS_SUPPORT_TERMINAL_H

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

/** What a terminal shows. */
struct Picture
{
    std::vector<std::string> rows; ///< UTF-8, without blanks at their ends
    int cursorRow = 0;
    int cursorColumn = 0;

    /** All rows, a line each. */
    std::string text() const;
};

/**
 * A terminal of its own, tmux, and a program in it that a test uses as a person
 * would. It dies with the test, however that ends.
 */
class Terminal
{
public:
    /**
     * Runs a command line of bash in a terminal of that size, which stays when the command has
     * ended.
     */
    Terminal(const std::string& command, int columns, int rows);
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /** Presses a key by its name in tmux: Tab, Left, F2, C-c. */
    void press(const std::string& key);

    /** Types a text, which has no quotation marks. */
    void type(const std::string& text);

    void resize(int columns, int rows);

    /** The first picture that is as expected; the last one there is if none comes. */
    Picture await(const std::function<bool(const Picture&)>& isExpected);

    /** The same, for one that has that text in it. */
    Picture awaitText(const std::string& text);

    /** What tmux says in place of its variables, such as #{pane_pid}. */
    std::string value(const std::string& variables);

private:
    std::vector<std::string> ask(const std::string& command);
    std::vector<std::string> readAnswer();
    Picture look();
    bool readLine(std::string& line);
    bool awaitOutput();

    pid_t client = -1;
    int commands = -1;
    int answers = -1;
    std::string unread;
    bool hasChanged = false;
    std::string folder;
};

#endif

#include "Explorer.h"

#include "Complaint.h"
#include "EndingSignals.h"
#include "Exploration.h"
#include "Screen.h"
#include "StandardStreams.h"
#include "Utf8.h"

#include <cerrno>
#include <cstdlib>
#include <curses.h>
#include <cwctype>
#include <fcntl.h>
#include <functional>
#include <system_error>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t DEFAULT_WIDTH = 40;
constexpr std::size_t LONGEST_LINE = 4000000;
constexpr std::chrono::seconds BETWEEN_REFRESHES(1);
constexpr const wchar_t* PROFILE_PROMPT = L"Profile: ";

// Nobody looks at a view that stands still for the 25 s that a call may take.
constexpr const char* PATIENCE = "5s";

constexpr wchar_t BACKSPACE = 8;
constexpr wchar_t TAB = 9;
constexpr wchar_t LINE_FEED = 10;
constexpr wchar_t CARRIAGE_RETURN = 13;
constexpr wchar_t CONTROL_X = 24;
constexpr wchar_t ESCAPE = 27;
constexpr wchar_t DELETE = 127;

Complaint cannotRead(const std::string& file, const std::string& why)
{
    return {Status::NOT_TRANSLATED, "cannot read " + file + ": " + why};
}

std::vector<std::wstring> linesOf(const std::string& file)
{
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC); // NOLINT(*-vararg)
    if (descriptor < 0)
        throw cannotRead(file, std::generic_category().message(errno));
    LineReader reader(descriptor, file, LONGEST_LINE);
    std::vector<std::wstring> lines;
    for (std::string line; reader.next(line);) {
        const std::string where = "line " + std::to_string(lines.size() + 1);
        if (reader.wasCut())
            throw cannotRead(file,
                             where + " is longer than " + std::to_string(LONGEST_LINE) + " bytes");
        DecodedText decoded = decodeUtf8(line);
        if (decoded.malformedAt)
            throw cannotRead(file, where + ": " + malformedUtf8At(*decoded.malformedAt));
        lines.push_back(std::move(decoded.text));
    }
    close(descriptor);
    return lines;
}

/** Leaves the terminal as it is now. */
std::function<void()> terminalRestorer()
{
    termios before{};
    tcgetattr(STDIN_FILENO, &before);
    return [before] {
        // This does not wait for a terminal that is stopped.
        tcsetattr(STDIN_FILENO, TCSANOW, &before);
        if (outputHasRoomSoon())
            Screen::abandon();
    };
}

/** What is wrong with the names is said before the view opens; a service may come later. */
void requireNames(const Options& options)
try {
    Session().begin(options.choice, options.profile);
} catch (const Complaint& complaint) {
    if (complaint.status() != Status::NO_SERVICE || options.profile)
        throw;
}

/** The function of a key that terminals send as a character. */
Key meant(const Key& key)
{
    if (key.isFunction)
        return key;
    switch (key.code) {
    case BACKSPACE:
    case DELETE:
        return {true, KEY_BACKSPACE};
    case TAB:
        return {true, KEY_BTAB};
    case LINE_FEED:
    case CARRIAGE_RETURN:
        return {true, KEY_ENTER};
    case CONTROL_X:
        return {true, KEY_F(10)};
    default:
        return key;
    }
}

bool isPrintable(const Key& key)
{
    return !key.isFunction && std::iswcntrl(static_cast<std::wint_t>(key.code)) == 0;
}

/** Does what keys mean, until one means the end. */
class Explorer
{
public:
    Explorer(std::vector<std::wstring> lines, const Options& options)
        : exploration(std::move(lines), options.choice,
                      options.viewOptions.width.value_or(DEFAULT_WIDTH))
    {
    }

    void run()
    {
        while (!isDone) {
            screen.draw(exploration, prompt ? std::optional(PROFILE_PROMPT + *prompt) : prompt);
            const std::optional<Key> key = Screen::key(BETWEEN_REFRESHES);
            if (key)
                take(meant(*key));
            else
                exploration.refresh();
        }
    }

private:
    void take(const Key& key)
    {
        if (key.isFunction && key.code == KEY_RESIZE)
            return;
        exploration.acknowledge();
        isDone = key.isFunction && key.code == KEY_F(10);
        if (isDone)
            return;
        if (prompt)
            answer(key);
        else if (key.isFunction)
            pressFunction(static_cast<int>(key.code));
        else if (isPrintable(key))
            exploration.insert(key.code);
    }

    void pressFunction(int code)
    {
        struct Binding
        {
            int code;
            void (Exploration::*operation)();
        };
        static constexpr Binding BINDINGS[] = {
            {KEY_LEFT, &Exploration::left},     {KEY_RIGHT, &Exploration::right},
            {KEY_UP, &Exploration::up},         {KEY_DOWN, &Exploration::down},
            {KEY_HOME, &Exploration::home},     {KEY_END, &Exploration::end},
            {KEY_ENTER, &Exploration::enter},   {KEY_BACKSPACE, &Exploration::eraseBefore},
            {KEY_DC, &Exploration::eraseAt},    {KEY_BTAB, &Exploration::switchSide},
            {KEY_F(2), &Exploration::nextRole},
        };
        for (const Binding& binding : BINDINGS) {
            if (binding.code == code)
                (exploration.*binding.operation)();
        }
        if (code == KEY_F(3))
            prompt.emplace();
    }

    /** A key while the name of a profile is asked for. */
    void answer(const Key& key)
    {
        if (key.isFunction && key.code == KEY_ENTER)
            exploration.changeProfile(encodeUtf8(*std::exchange(prompt, std::nullopt)));
        else if (key.isFunction && key.code == KEY_BACKSPACE && !prompt->empty())
            prompt->pop_back();
        else if (!key.isFunction && key.code == ESCAPE)
            prompt.reset();
        else if (isPrintable(key))
            *prompt += key.code;
    }

    Exploration exploration;
    Screen screen;
    std::optional<std::wstring> prompt;
    bool isDone = false;
};

} // namespace

Status explore(const Options& options)
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        throw Complaint(Status::WRONG_USE, "--explore needs a terminal");
    auto lines = options.words.empty() ? std::vector<std::wstring>() : linesOf(options.words[0]);
    setenv("SYSTEMD_BUS_TIMEOUT", PATIENCE, 0); // NOLINT(concurrency-mt-unsafe)
    requireNames(options);
    const EndingSignals signals(terminalRestorer());
    Explorer(std::move(lines), options).run();
    return Status::ALL_TRANSLATED;
}

#include "Terminal.h"

#include "Figures.h"
#include "Require.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// A view that a test waits for comes within milliseconds; this is for very slow machines.
constexpr std::chrono::seconds PATIENCE(60);

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    require(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : -errno, "pipe2");
    return ends;
}

std::string makeFolder()
{
    std::string folder = "/tmp/terminal-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        throw std::runtime_error("mkdtemp");
    return folder;
}

bool beginsWith(const std::string& text, const std::string& beginning)
{
    return text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

std::string Picture::text() const
{
    std::string all;
    for (const std::string& row : rows)
        all += row + '\n';
    return all;
}

Terminal::Terminal(const std::string& command, int columns, int rows) : folder(makeFolder())
{
    const std::string configuration = folder + "/tmux.conf";
    const std::string socket = folder + "/socket";
    std::ofstream(configuration) << "set -g default-size " << columns << 'x' << rows << '\n'
                                 << "set -g default-terminal screen\n"
                                 << "set -g escape-time 0\n"
                                 << "set -g status off\n";
    const std::array<int, 2> input = makePipe();
    const std::array<int, 2> output = makePipe();
    client = fork();
    if (client == 0) {
        dup2(input[0], STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        // Of the person at whose terminal the tests are started.
        for (const char* variable : {"TMUX", "BASH_ENV", "LINES", "COLUMNS"})
            unsetenv(variable);
        // tmux may lose the last output of a shell that has ended.
        const std::string lasting = command + "; read -r _";
        // When the test is gone, so is the client's input, the client, its session and the server.
        execlp("tmux", "tmux", "-u", "-S", socket.c_str(), "-f", configuration.c_str(), "-C",
               "new-session", "bash", "-c", lasting.c_str(), nullptr);
        _exit(127);
    }
    close(input[0]);
    close(output[1]);
    commands = input[1];
    answers = output[0];
    readAnswer(); // to new-session
    ask("set-option -g destroy-unattached on");
}

Terminal::~Terminal()
{
    // A process that the test has forked may hold the client's input open.
    if (write(commands, "kill-session\n", 13) == 13) {
        for (std::string line; readLine(line);) {
        }
    }
    close(commands);
    close(answers);
    waitpid(client, nullptr, 0);
    unlink((folder + "/tmux.conf").c_str());
    unlink((folder + "/socket").c_str());
    rmdir(folder.c_str());
}

void Terminal::press(const std::string& key)
{
    ask("send-keys " + key);
}

void Terminal::type(const std::string& text)
{
    ask("send-keys -l '" + text + "'");
}

void Terminal::resize(int columns, int rows)
{
    ask("resize-window -x " + std::to_string(columns) + " -y " + std::to_string(rows));
}

Picture Terminal::await(const std::function<bool(const Picture&)>& isExpected)
{
    const auto deadline = std::chrono::steady_clock::now() + patiently(PATIENCE);
    Picture picture = look();
    while (!isExpected(picture) && std::chrono::steady_clock::now() < deadline && awaitOutput())
        picture = look();
    return picture;
}

Picture Terminal::awaitText(const std::string& text)
{
    return await(
        [&](const Picture& picture) { return picture.text().find(text) != std::string::npos; });
}

Picture Terminal::look()
{
    hasChanged = false;
    // Both at once, so that they belong together.
    const std::vector<std::string> cursor =
        ask("display-message -p '#{cursor_y} #{cursor_x}' ; capture-pane -p");
    Picture picture;
    picture.rows = readAnswer();
    if (!cursor.empty())
        std::istringstream(cursor[0]) >> picture.cursorRow >> picture.cursorColumn;
    return picture;
}

std::string Terminal::value(const std::string& variables)
{
    const std::vector<std::string> answer = ask("display-message -p '" + variables + "'");
    return answer.empty() ? "" : answer.front();
}

std::vector<std::string> Terminal::ask(const std::string& command)
{
    const std::string line = command + '\n';
    if (write(commands, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        throw std::runtime_error("tmux has gone");
    return readAnswer();
}

/** The lines of tmux's answer, which it puts between two of its own. */
std::vector<std::string> Terminal::readAnswer()
{
    std::vector<std::string> answer;
    bool isInside = false;
    for (std::string next; readLine(next);) {
        if (isInside && (beginsWith(next, "%end ") || beginsWith(next, "%error ")))
            return answer;
        if (isInside)
            answer.push_back(next);
        else if (beginsWith(next, "%begin "))
            isInside = true;
        else if (beginsWith(next, "%output "))
            hasChanged = true;
    }
    throw std::runtime_error("tmux has gone; is the package tmux installed?");
}

/** Waits for a change of what the terminal shows. Returns whether there is one. */
bool Terminal::awaitOutput()
{
    for (std::string line; !hasChanged;) {
        if (!readLine(line))
            return false;
        hasChanged = beginsWith(line, "%output ") || beginsWith(line, "%layout-change ");
    }
    return true;
}

bool Terminal::readLine(std::string& line)
{
    std::size_t end = 0;
    while ((end = unread.find('\n')) == std::string::npos) {
        pollfd readable{answers, POLLIN, 0};
        const auto limit = patiently(PATIENCE);
        if (poll(&readable, 1, static_cast<int>(limit.count())) <= 0)
            return false;
        std::array<char, 4096> part{};
        const ssize_t count = read(answers, part.data(), part.size());
        if (count <= 0)
            return false;
        unread.append(part.data(), static_cast<std::size_t>(count));
    }
    line = unread.substr(0, end);
    unread.erase(0, end + 1);
    return true;
}

#include "Brltranslate.h"
#include "support/ChildProcess.h"
#include "support/FakeService.h"
#include "support/Figures.h"
#include "support/PrivateBus.h"
#include "support/Process.h"
#include "support/Require.h"
#include "support/Terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <pty.h>
#include <string>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;
using testing::Not;

namespace {

// Of Control-C, or of any other signal that ends a program.
constexpr Milliseconds AT_ONCE(200);

/** Two descriptors, of which what is written to the one is read from the other. */
class Pipe
{
public:
    Pipe() { require(pipe2(ends.data(), O_CLOEXEC) == 0 ? 0 : -errno, "pipe2"); }
    ~Pipe()
    {
        close(input());
        closeOutput();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int input() const { return ends[0]; }
    int output() const { return ends[1]; }

    void write(const std::string& text) const
    {
        require(::write(output(), text.data(), text.size()) < 0 ? -errno : 0, "write");
    }

    std::string readLine() const
    {
        std::string line;
        for (char next = 0; next != '\n' && read(input(), &next, 1) == 1;)
            line += next;
        return line;
    }

    /** All that was written, once no other process can write more. */
    std::string content()
    {
        closeOutput();
        std::string all;
        for (std::string line; !(line = readLine()).empty();)
            all += line;
        return all;
    }

    void closeOutput()
    {
        if (output() >= 0)
            close(output());
        ends[1] = -1;
    }

private:
    std::array<int, 2> ends{-1, -1};
};

/**
 * Signals that end a program, and a service that does not answer the texts with an x in them.
 * Calls do not end by themselves while a test lasts.
 */
class AnEndingSignal : public testing::TestWithParam<int>
{
protected:
    AnEndingSignal()
    {
        service.on("getPreferredBrailleTranslatorForDisplay",
                   answer::translator(2, "Some table", true, "some.ctb"));
        // With which the other connections of a filter begin.
        service.on("getTranslatorByName", answer::translator(2, "Some table", true, "some.ctb"));
        service.on("forwardW", [this](sd_bus_message* call) {
            if (hasX(service.calls().back()))
                return;
            answer::echo(call);
        });
        setenv("SYSTEMD_BUS_TIMEOUT", "1h", 1);
    }

    ~AnEndingSignal() override { unsetenv("SYSTEMD_BUS_TIMEOUT"); }

    /** The program with those streams. */
    static int execute(const Words& arguments, int input, int output)
    {
        constexpr rlimit NO_CORE{0, 0};
        setrlimit(RLIMIT_CORE, &NO_CORE);
        dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        std::vector<char*> words{const_cast<char*>(BRLTRANSLATE)};
        for (const std::string& argument : arguments)
            words.push_back(const_cast<char*>(argument.c_str()));
        words.push_back(nullptr);
        execv(BRLTRANSLATE, words.data());
        return 127;
    }

    /** The service has been asked so often for what it does not answer. */
    void awaitTextsWithX(int times) const
    {
        std::vector<Call> calls;
        const auto isEnough = [&] {
            return std::count_if(calls.begin(), calls.end(), hasX) >= times;
        };
        while (!isEnough())
            calls = service.waitForCalls(calls.size() + 1);
    }

    static void expectItEnds(ChildProcess& program)
    {
        int status = 0;
        const Milliseconds duration = timeOf([&] {
            program.signal(GetParam());
            status = program.wait();
        });
        EXPECT_TRUE(WIFSIGNALED(status)) << status;
        EXPECT_EQ(WTERMSIG(status), GetParam());
        expectWithin(AT_ONCE, duration);
    }

    PrivateBus bus;
    FakeService service{bus.address()};

private:
    static bool hasX(const Call& call)
    {
        return std::count(call.codePoints.begin(), call.codePoints.end(), 'x') > 0;
    }
};

tcflag_t modesOf(int terminal)
{
    termios modes{};
    require(tcgetattr(terminal, &modes) == 0 ? 0 : -errno, "tcgetattr");
    return modes.c_lflag;
}

std::string nameOf(const testing::TestParamInfo<int>& signal)
{
    return std::string("SIG") + sigabbrev_np(signal.param);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, AnEndingSignal, testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT),
                         nameOf);

TEST_P(AnEndingSignal, EndsACallThatIsNotAnswered)
{
    Pipe output;
    ChildProcess program([&] { return execute({"x"}, STDIN_FILENO, output.output()); });
    awaitTextsWithX(1);
    expectItEnds(program);
    EXPECT_EQ(output.content(), "");
}

TEST_P(AnEndingSignal, EndsTheQuestionWhoTranslates)
{
    service.on("getPreferredBrailleTranslatorForDisplay", answer::silence());
    Pipe output;
    ChildProcess program([&] { return execute({"x"}, STDIN_FILENO, output.output()); });
    service.waitForCalls(1);
    expectItEnds(program);
}

TEST_P(AnEndingSignal, EndsAWaitingForInput)
{
    Pipe input;
    Pipe output;
    ChildProcess program(
        [&] { return execute({"--line-buffered"}, input.input(), output.output()); });
    input.write("a\n");
    EXPECT_EQ(output.readLine(), "\u2861\n");
    expectItEnds(program);
}

TEST_P(AnEndingSignal, WritesWhatIsTranslatedBeforeItEndsAFilter)
{
    Pipe input;
    Pipe output;
    ChildProcess program([&] { return execute({}, input.input(), output.output()); });
    input.write("a\nb\nx\n");
    awaitTextsWithX(1);
    expectItEnds(program);
    EXPECT_EQ(output.content(), "\u2861\n\u2862\n");
}

TEST_P(AnEndingSignal, WritesWhatSeveralConnectionsHaveTranslated)
{
    constexpr int CONNECTIONS = 4;
    std::string input;
    std::string braille;
    for (int line = 0; line < 50; ++line) {
        input += "a\n";
        braille += "\u2861\n";
    }
    Pipe text;
    Pipe output;
    ChildProcess program([&] { return execute({}, text.input(), output.output()); });
    // Each connection stops at one of these, when all before is translated.
    text.write(input + "x\nx\nx\nx\n");
    awaitTextsWithX(CONNECTIONS);
    expectItEnds(program);
    EXPECT_EQ(output.content(), braille);
}

TEST_P(AnEndingSignal, DoesNotWaitForOutputThatHasNoRoom)
{
    Pipe input;
    Pipe output;
    const std::string room(static_cast<std::size_t>(fcntl(output.output(), F_GETPIPE_SZ)), '.');
    output.write(room);
    ChildProcess program([&] { return execute({}, input.input(), output.output()); });
    input.write("a\nx\n");
    awaitTextsWithX(1);
    expectItEnds(program);
    EXPECT_EQ(output.content(), room);
}

TEST_P(AnEndingSignal, ThatIsIgnoredStaysSo)
{
    Pipe input;
    Pipe output;
    ChildProcess program([&] {
        static_cast<void>(signal(GetParam(), SIG_IGN));
        return execute({"--line-buffered"}, input.input(), output.output());
    });
    input.write("a\n");
    EXPECT_EQ(output.readLine(), "\u2861\n");
    program.signal(GetParam());
    input.write("b\n");
    input.closeOutput();
    const int status = program.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(output.content(), "\u2862\n");
}

TEST_P(AnEndingSignal, RestoresTheModesOfATerminalThatTakesNoOutput)
{
    int master = -1;
    int terminal = -1;
    ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
    ChildProcess program([&] {
        setenv("TERM", "screen", 1);
        setenv("COLUMNS", "80", 1);
        setenv("LINES", "24", 1);
        return execute({"--explore"}, terminal, terminal);
    });
    std::string drawn;
    for (char next = 0; drawn.find("F10 end") == std::string::npos && read(master, &next, 1) == 1;)
        drawn += next;
    EXPECT_EQ(modesOf(terminal) & (ECHO | ICANON), 0U);
    require(write(master, "x", 1) == 1 ? 0 : -errno, "write");
    awaitTextsWithX(1);
    tcflow(terminal, TCOOFF);
    expectItEnds(program);
    EXPECT_EQ(modesOf(terminal) & (ECHO | ICANON), tcflag_t{ECHO | ICANON});
    close(terminal);
    close(master);
}

namespace {

/** The view, in a terminal that a shell has used before and uses afterwards. */
class AnEndingSignalInTheView : public AnEndingSignal
{
protected:
    pid_t view()
    {
        const auto children = childrenOf(std::stoi(terminal.value("#{pane_pid}")));
        require(children.size() == 1 ? 0 : -ESRCH, "the view");
        return children.front();
    }

    /** With the status that a shell makes of the signal, and everything as it was. */
    void expectItEnds(const std::function<void()>& signal)
    {
        const std::string end = "status " + std::to_string(128 + GetParam());
        Picture picture;
        const Milliseconds duration = timeOf([&] {
            signal();
            picture = terminal.awaitText("status");
        });
        EXPECT_THAT(picture.text(), HasSubstr(end));
        EXPECT_THAT(picture.text(), Not(HasSubstr("F10 end")));
        expectWithin(AT_ONCE, duration);
        EXPECT_THAT(terminal.awaitText("modes").text(), HasSubstr("modes as before"));
        EXPECT_EQ(terminal.value(FLAGS), flags);
    }

    static constexpr const char* FLAGS = "#{alternate_on} #{cursor_flag} #{keypad_flag} "
                                         "#{keypad_cursor_flag} #{insert_flag} #{wrap_flag}";

    Terminal terminal{"trap : INT; trap : QUIT; read -r _; ulimit -c 0; before=$(stty -g); " +
                          std::string(BRLTRANSLATE) +
                          " --explore; echo status $?; "
                          "[[ $(stty -g) != \"$before\" ]] || echo modes as before",
                      60, 12};
    std::string flags = flagsOfTheShell();

private:
    std::string flagsOfTheShell()
    {
        std::string shells = terminal.value(FLAGS);
        terminal.press("Enter");
        terminal.awaitText("display: some.ctb");
        EXPECT_NE(terminal.value(FLAGS), shells);
        return shells;
    }
};

/** The keys that a terminal makes such signals of; NULL for the others. */
const char* keyFor(int signal)
{
    switch (signal) {
    case SIGINT:
        return "C-c";
    case SIGQUIT:
        return "C-\\\\";
    default:
        return nullptr;
    }
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, AnEndingSignalInTheView,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT), nameOf);

TEST_P(AnEndingSignalInTheView, RestoresTheTerminal)
{
    expectItEnds([this] { kill(view(), GetParam()); });
}

TEST_P(AnEndingSignalInTheView, RestoresTheTerminalDuringACallThatIsNotAnswered)
{
    terminal.type("x");
    awaitTextsWithX(1);
    const char* const key = keyFor(GetParam());
    expectItEnds([&] { key == nullptr ? void(kill(view(), GetParam())) : terminal.press(key); });
}

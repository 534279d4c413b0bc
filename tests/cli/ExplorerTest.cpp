#include "Brltranslate.h"
#include "support/ChildProcess.h"
#include "support/FakeServiceProcess.h"
#include "support/PrivateBus.h"
#include "support/Terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <pty.h>
#include <string>
#include <unistd.h>

namespace {

struct Size
{
    int columns;
    int rows;
};

/** A text on the disk, until the test is over. */
class TextFile
{
public:
    explicit TextFile(const std::string& content)
        : path(testing::TempDir() + "explored-" + std::to_string(getpid()) + ".txt")
    {
        std::ofstream(path) << content;
    }

    ~TextFile() { unlink(path.c_str()); }
    TextFile(const TextFile&) = delete;
    TextFile& operator=(const TextFile&) = delete;

    const std::string path;
};

/** Waits until the terminal shows all of the one and none of the other. */
void expectShown(Terminal& terminal, const Words& present, const Words& absent = {})
{
    const auto isExpected = [&](const Picture& picture) {
        const std::string text = picture.text();
        const auto isShown = [&](const std::string& part) {
            return text.find(part) != std::string::npos;
        };
        return std::all_of(present.begin(), present.end(), isShown) &&
               std::none_of(absent.begin(), absent.end(), isShown);
    };
    const Picture picture = terminal.await(isExpected);
    EXPECT_TRUE(isExpected(picture))
        << picture.text() << "is not " << testing::PrintToString(present) << " without "
        << testing::PrintToString(absent);
}

/** The terminal's cursor is there. */
auto cursorAt(int row, int column)
{
    return [=](const Picture& picture) {
        return picture.cursorRow == row && picture.cursorColumn == column;
    };
}

/** The view, on a bus with the real service, at several sizes. */
class Explorer : public testing::TestWithParam<Size>
{
protected:
    explicit Explorer(const std::string& text = "The knowledge of reading\nand more\n",
                      const std::string& options = "")
        : file(text),
          terminal("trap : INT; SYSTEMD_BUS_TIMEOUT=1min " + std::string(BRLTRANSLATE) +
                       (" --explore " + options + ' ' + file.path) + "; echo status $?",
                   GetParam().columns, GetParam().rows)
    {
        terminal.awaitText("F10 end");
    }

    /** Presses keys, one by one. */
    void press(const Words& keys)
    {
        for (const std::string& key : keys)
            terminal.press(key);
    }

    void expectCursor(int row, int column)
    {
        const Picture picture = terminal.await(cursorAt(row, column));
        EXPECT_EQ(picture.cursorRow, row) << picture.text();
        EXPECT_EQ(picture.cursorColumn, column) << picture.text();
    }

    int brailleRow() const { return GetParam().rows - 5; }

    PrivateBus bus{PrivateBus::Services::REAL};
    TextFile file;
    Terminal terminal;
};

std::string nameOf(const testing::TestParamInfo<Size>& size)
{
    return std::to_string(size.param.columns) + "Columns" + std::to_string(size.param.rows) +
           "Rows";
}

} // namespace

INSTANTIATE_TEST_SUITE_P(With, Explorer, testing::Values(Size{40, 10}, Size{80, 24}), nameOf);

TEST_P(Explorer, ShowsPrintAboveItsBrailleAndAStatus)
{
    const Picture picture = terminal.await(cursorAt(0, 0));
    EXPECT_EQ(picture.rows.at(0), "The knowledge of reading");
    EXPECT_EQ(picture.rows.at(1), "and more");
    const auto braille = static_cast<std::size_t>(brailleRow());
    EXPECT_EQ(picture.rows.at(braille),
              "\u28e0\u282e\u2800\u2805\u2800\u2837\u2800\u2817\u2802\u2819\u282c");
    EXPECT_EQ(picture.rows.at(braille + 1), "char 0/24, cell 0/11, dots 6");
    EXPECT_EQ(picture.rows.at(braille + 2), "display: en-ueb-g2.ctb");
    EXPECT_THAT(picture.rows.at(braille + 3),
                testing::MatchesRegex("last call [0-9.]+ ms, calls of the map 0"));
    EXPECT_EQ(picture.rows.at(braille + 4), "Tab braille F2 role F3 profile F10 end");
}

TEST_P(Explorer, MovesBothCursorsTogether)
{
    press({"Right", "Right", "Right", "Right"});
    expectShown(terminal, {"char 4/24", "cell 3/11, dots 13", "\u2820\u282e\u2800\u28c5"});
    expectCursor(0, 4);
    press({"End"});
    expectShown(terminal, {"char 24/24", "cell 11/11, dots 0\n"});
    press({"Left"});
    expectShown(terminal, {"char 23/24", "cell 10/11, dots 346"});
    press({"Home"});
    expectShown(terminal, {"char 0/24", "cell 0/11, dots 6"});
}

TEST_P(Explorer, MovesThroughTheLinesOfTheText)
{
    press({"Down"});
    expectShown(terminal, {"char 0/8", "cell 0/3, dots 12346"});
    expectCursor(1, 0);
    press({"Left"});
    expectShown(terminal, {"char 24/24", "cell 11/11"});
    press({"Right", "Down", "Down"});
    expectShown(terminal, {"char 0/8", "cell 0/3"});
}

TEST_P(Explorer, RoutesTheCursorToTheCellInFocus)
{
    press({"Tab"});
    expectCursor(brailleRow(), 0);
    press({"Right", "Right", "Right"});
    expectShown(terminal, {"cell 3/11", "char 0/24"});
    expectCursor(brailleRow(), 3);
    press({"Enter"});
    expectShown(terminal, {"char 4/24", "cell 3/11, dots 13"});
    press({"Tab"});
    expectCursor(0, 4);
}

TEST_P(Explorer, StaysOnTheBrailleWithItsKeys)
{
    press({"Tab", "Left", "End", "Right"});
    expectShown(terminal, {"cell 10/11", "dots 346"});
    press({"Home", "Up", "Down"});
    expectShown(terminal, {"cell 0/11", "char 0/24"});
}

TEST_P(Explorer, TranslatesWhatIsTyped)
{
    terminal.type("So ");
    expectShown(terminal, {"So The knowledge", "char 3/27", "\u2820\u280e\u2800"});
    press({"BSpace", "BSpace"});
    expectShown(terminal, {"SThe knowledge", "char 1/25"});
    press({"DC"});
    expectShown(terminal, {"She knowledge", "char 1/24"});
    press({"Enter"});
    expectShown(terminal, {"S\nhe knowledge", "char 0/23"});
    press({"BSpace"});
    expectShown(terminal, {"She knowledge", "char 1/24"});
    // What is typed on the other side goes where the cursor is.
    press({"Tab", "Right"});
    terminal.type("x");
    expectShown(terminal, {"Sxhe knowledge", "char 2/25"});
}

TEST_P(Explorer, CyclesThroughTheRoles)
{
    for (const char* role : {"entry: en-ueb-g2.ctb", "computer: en_US-comp8-ext.tbl",
                             "grade1: en-ueb-g1.ctb", "display: en-ueb-g2.ctb"}) {
        press({"F2"});
        expectShown(terminal, {role});
    }
}

TEST_P(Explorer, StaysOnTheBrailleThatHasBecomeShorter)
{
    press({"F2", "F2", "F2"});
    expectShown(terminal, {"grade1: "});
    press({"Tab", "End"});
    expectShown(terminal, {"cell 24/25"});
    press({"F2"});
    expectShown(terminal, {"display: ", "cell 10/11, dots 346"});
}

TEST_P(Explorer, SwitchesTheProfile)
{
    press({"F3"});
    terminal.type("dee");
    expectShown(terminal, {"Profile: dee"});
    press({"BSpace", "Enter"});
    expectShown(terminal, {"display: de-g2"}, {"Profile"});
    press({"F3"});
    terminal.type("en");
    press({"Enter"});
    expectShown(terminal, {"no language profile", "\"en\"", "display: de-g2"});
    press({"F3"});
    terminal.type("fr");
    press({"Escape"});
    expectShown(terminal, {"Tab braille", "display: de-g2"});
}

TEST_P(Explorer, EndsWithItsKeysAndLeavesTheTerminalAsItWas)
{
    press({"F3", "F10"});
    expectShown(terminal, {"status 0"}, {"knowledge"});
}

TEST_P(Explorer, EndsWithControlXAfterShiftTab)
{
    press({"BTab"});
    expectCursor(brailleRow(), 0);
    press({"C-x"});
    expectShown(terminal, {"status 0"}, {"knowledge"});
}

TEST_P(Explorer, EndsWithControlBackslashAndLeavesTheTerminalAsItWas)
{
    press({"C-\\\\"});
    expectShown(terminal, {"status 131"}, {"knowledge"});
}

TEST_P(Explorer, EndsWithControlCAndLeavesTheTerminalAsItWas)
{
    press({"C-c"});
    expectShown(terminal, {"status 130"}, {"knowledge"});
}

TEST_P(Explorer, FollowsTheTerminalsSize)
{
    for (const Size size : {Size{60, 15}, Size{40, 10}, Size{80, 24}}) {
        terminal.resize(size.columns, size.rows);
        const auto isDrawn = [&](const Picture& picture) {
            return picture.rows.size() == static_cast<std::size_t>(size.rows) &&
                   picture.rows.back() == "Tab braille F2 role F3 profile F10 end" &&
                   picture.rows.front() == "The knowledge of reading";
        };
        EXPECT_TRUE(isDrawn(terminal.await(isDrawn))) << terminal.await(isDrawn).text();
    }
}

TEST_P(Explorer, ShowsTextAndBrailleFirstWhereThereIsLittleRoom)
{
    terminal.resize(20, 2);
    const auto isDrawn = [](const Picture& picture) {
        return picture.rows.size() == 2 && picture.rows[0] == "The knowledge of" &&
               picture.rows[1] ==
                   "\u28e0\u282e\u2800\u2805\u2800\u2837\u2800\u2817\u2802\u2819\u282c";
    };
    EXPECT_TRUE(isDrawn(terminal.await(isDrawn))) << terminal.await(isDrawn).text();
    terminal.resize(1, 1);
    press({"End", "Home"});
    terminal.resize(GetParam().columns, GetParam().rows);
    expectShown(terminal, {"Tab braille F2", "The knowledge of reading"});
}

/** With text that does not take a column for each of its characters. */
class ExplorerOfWideText : public Explorer
{
protected:
    ExplorerOfWideText() : Explorer("\u4e2d\u6587e\u0301\tx\n", "-t zh-tw.ctb") {}
};

INSTANTIATE_TEST_SUITE_P(With, ExplorerOfWideText, testing::Values(Size{40, 10}, Size{80, 24}),
                         nameOf);

TEST_P(ExplorerOfWideText, StandsInTheColumnOfItsCharacter)
{
    EXPECT_EQ(terminal.await(cursorAt(0, 0)).rows.at(0), "\u4e2d\u6587e\u0301\u2409x");
    int position = 0;
    for (const int column : {2, 4, 5, 5, 6, 7}) {
        press({"Right"});
        expectShown(terminal, {"char " + std::to_string(++position) + "/6", "/6"});
        expectCursor(0, column);
    }
}

/** With a text that is longer than the terminal, on a short display. */
class ExplorerOfLongText : public Explorer
{
protected:
    ExplorerOfLongText() : Explorer(longText(), "--width 8 -t en-ueb-g1") {}

    static std::string longText()
    {
        std::string text;
        for (int line = 10; line < 99; ++line)
            text += "line " + std::to_string(line) + '\n';
        return text + "one two three four\n";
    }
};

INSTANTIATE_TEST_SUITE_P(With, ExplorerOfLongText, testing::Values(Size{40, 10}, Size{80, 24}),
                         nameOf);

TEST_P(ExplorerOfLongText, ScrollsToItsCursor)
{
    for (int line = 10; line < 60; ++line)
        press({"Down"});
    expectShown(terminal, {"line 59\nline 60\nline 61\n", "char 0/7"});
    const Picture picture = terminal.await([](const Picture& shown) {
        return shown.rows.at(static_cast<std::size_t>(shown.cursorRow)) == "line 60";
    });
    EXPECT_EQ(picture.rows.at(static_cast<std::size_t>(picture.cursorRow)), "line 60");
}

TEST_P(ExplorerOfLongText, ShowsTheLineOfTheDisplayThatHasTheCell)
{
    for (int line = 10; line < 99; ++line)
        press({"Down"});
    expectShown(terminal, {"char 0/18", "\u28d5\u281d\u2811\u2800\u281e\u283a\u2815\u2800\n"});
    press({"Tab", "Down", "Right"});
    expectShown(terminal, {"cell 9/18", "\n\u281e\u2813\u2817\u2811\u2811\u2800\n"});
    expectCursor(brailleRow(), 1);
    press({"Down", "Down", "Up", "Up", "Up"});
    expectShown(terminal, {"cell 1/18", "\u28d5\u281d\u2811\u2800\u281e\u283a\u2815\u2800\n"});
}

namespace {

/** The view, on a bus with a service that comes and goes. */
class ExplorerWithAFakeService : public testing::Test
{
protected:
    void startService()
    {
        service = std::make_unique<FakeServiceProcess>(bus.address(), [](FakeService& fake) {
            fake.on("getPreferredBrailleTranslatorForDisplay",
                    answer::translator(2, "Some table", true, "some.ctb"));
            fake.on("forwardW", answer::echo);
        });
    }

    PrivateBus bus;
    std::unique_ptr<FakeServiceProcess> service;
};

} // namespace

TEST_F(ExplorerWithAFakeService, SaysThatTheServiceIsGoneAndComesBackByItself)
{
    startService();
    Terminal terminal(BRLTRANSLATE + std::string(" --explore"), 40, 10);
    terminal.awaitText("display: some.ctb");
    terminal.type("a");
    expectShown(terminal, {"\u2861", "char 1/1, cell 1/1"});
    service.reset();
    expectShown(terminal, {"Trying again", "the Translator service", "\u2861"});
    terminal.type("b");
    expectShown(terminal, {"char 2/2", "Trying again"});
    startService();
    expectShown(terminal, {"\u2861\u2862", "display: some.ctb"}, {"Trying again"});
}

TEST_F(ExplorerWithAFakeService, LetsOneTypeWhileTheServiceStandsStill)
{
    startService();
    Terminal terminal("SYSTEMD_BUS_TIMEOUT=500ms " + std::string(BRLTRANSLATE) + " --explore", 40,
                      10);
    expectShown(terminal, {"display: some.ctb"});
    service->stop();
    terminal.type("abc");
    expectShown(terminal, {"char 3/3, cell 0/0", "Trying again: the Translator service"});
    service->resume();
    expectShown(terminal, {"\u2861\u2862\u2863"}, {"Trying again"});
}

TEST_F(ExplorerWithAFakeService, StartsWithoutTheService)
{
    Terminal terminal(BRLTRANSLATE + std::string(" --explore"), 40, 10);
    expectShown(terminal, {"Trying again", "char 0/0, cell 0/0"});
    terminal.type("a");
    startService();
    expectShown(terminal, {"\u2861"}, {"Trying again"});
}

TEST_F(ExplorerWithAFakeService, CountsTheCallsThatThePositionMapHasNeeded)
{
    FakeService fake(bus.address());
    fake.on("getPreferredBrailleTranslatorForDisplay",
            answer::translator(2, "Some table", true, "some.ctb"));
    fake.on("forwardW", [](sd_bus_message* call) {
        TranslationFields fields;
        fields.posMap = {0, 1, 2, 3};
        fields.known = {true, false, false, true};
        fields.translated = {0x2801, 0x2802, 0x2803};
        fields.untranslated = {'a', 'b', 'c'};
        answer::translation(fields)(call);
    });
    const TextFile file("abc\n");
    Terminal terminal(BRLTRANSLATE + (" --explore " + file.path), 40, 10);
    expectShown(terminal, {"calls of the map 2", "\u28c1\u2802\u2803"});
}

TEST_F(ExplorerWithAFakeService, SaysWhatTheServiceRefuses)
{
    FakeService fake(bus.address());
    fake.on("getPreferredBrailleTranslatorForDisplay",
            answer::translator(2, "Some table", true, "some.ctb"));
    fake.on("forwardW", answer::error("braille.translator.Error.TooLong", "that is too long"));
    Terminal terminal(BRLTRANSLATE + std::string(" --explore"), 40, 10);
    expectShown(terminal, {"that is too long", "display: some.ctb"});
    fake.on("forwardW", answer::echo);
    terminal.type("a");
    expectShown(terminal, {"\u2861"}, {"too long"});
}

TEST_F(ExplorerWithAFakeService, NeedsATerminalThatItCanDrawOn)
{
    for (const char* kind : {"dumb", "unheard-of"}) {
        Terminal terminal(std::string("TERM=") + kind + ' ' + BRLTRANSLATE +
                              " --explore; echo status $?",
                          90, 10);
        expectShown(terminal, {"brltranslate: --explore cannot draw on this terminal; set TERM to "
                               "what it is\nstatus 2\n"});
    }
}

TEST(AnExplorerWhoseTerminalGoes, EndsAlthoughNoSignalSaysSo)
{
    const PrivateBus bus;
    int master = -1;
    int terminal = -1;
    ASSERT_EQ(openpty(&master, &terminal, nullptr, nullptr, nullptr), 0);
    ChildProcess explorer([&] {
        setsid(); // so that the terminal controls nobody
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(terminal, stream);
        close(terminal);
        close(master);
        setenv("TERM", "screen", 1);
        execl(BRLTRANSLATE, BRLTRANSLATE, "--explore", nullptr);
        return 127;
    });
    close(terminal);
    char drawn = 0;
    EXPECT_EQ(read(master, &drawn, 1), 1);
    close(master);
    EXPECT_EQ(WTERMSIG(explorer.wait()), SIGHUP);
}

TEST(AnExplorerOfWhatThereIsNot, SaysSoBeforeItOpens)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal(BRLTRANSLATE + std::string(" --explore -t nope; echo status $?"), 90, 10);
    expectShown(terminal, {"brltranslate: no translator is named \"nope\"", "status 2"});
}

TEST_F(ExplorerWithAFakeService, NamesAFileThatItCannotRead)
{
    Terminal missing(BRLTRANSLATE + std::string(" --explore /nonexistent; echo $?"), 70, 10);
    expectShown(missing, {"1\n"});
    const TextFile malformed("a\nb\xff\n");
    Terminal terminal(BRLTRANSLATE + (" --explore " + malformed.path + "; echo $?"), 120, 10);
    expectShown(terminal, {"offset 1", "line 2: malformed UTF-8 at byte offset 1"});
}

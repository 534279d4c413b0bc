#include "Brltranslate.h"
#include "support/FakeService.h"
#include "support/PrivateBus.h"
#include "support/ServiceProcess.h"
#include "support/TemporaryFolder.h"
#include "support/Terminal.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <string>

using testing::AllOf;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

namespace {

/** On a bus with the real service. */
class ABrltranslateThatCannot : public testing::Test
{
    PrivateBus bus{PrivateBus::Services::REAL};
};

/** On a bus with a service that does what it is told. */
class BrltranslateWithAFakeService : public testing::Test
{
protected:
    BrltranslateWithAFakeService()
    {
        service.on("getPreferredBrailleTranslatorForDisplay",
                   answer::translator(2, "Some table", true, "some.ctb"));
        service.on("forwardW", answer::echo);
    }

    PrivateBus bus;
    FakeService service{bus.address()};
};

/** One line on standard error, nothing on standard output. */
void expectComplaint(const Outcome& outcome, int status, const std::string& complaint)
{
    EXPECT_EQ(outcome.errors, "brltranslate: " + complaint + '\n');
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.status, status);
}

void expectComplaintWith(const Outcome& outcome, int status, const std::string& part)
{
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("brltranslate: "), HasSubstr(part)));
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.status, status);
}

/** The answer to a text of three characters: a cell for each, and that map. */
Responder abcWithMap(std::vector<int32_t> map, std::vector<bool> known)
{
    TranslationFields fields;
    fields.posMap = std::move(map);
    fields.known = std::move(known);
    fields.translated = {0x2801, 0x2802, 0x2803};
    fields.untranslated = {'a', 'b', 'c'};
    return answer::translation(std::move(fields));
}

struct WrongUse
{
    Words arguments;
    std::string complaint;
};

} // namespace

TEST(ABrltranslateThatIsUsedWrongly, SaysInOneLineWhatIsWrong)
{
    const std::vector<WrongUse> uses = {
        {{"--bogus", "x"}, "--bogus"},
        {{"x", "-z"}, "-z"},
        {{"--json=false", "x"}, "json was given a disallowed flag override"},
        {{"--role", "a\nb", "x"}, "no role is named \"a b\"; there are display"},
        {{"--explore", "a", "b"}, "--explore takes one file at most"},
        {{"--role", "disply", "x"},
         "no role is named \"disply\"; there are display, entry, "
         "computer, grade1"},
        {{"--role", "entry", "-t", "en-ueb-g2", "x"}, "--role excludes --translator"},
        {{"--width", "0", "x"}, "--width: \"0\" is no whole number from 1 to 2147483647"},
        {{"--width=-1", "x"}, "--width: \"-1\" is no whole number from 1"},
        {{"--width", "ten", "x"}, "--width: \"ten\" is no whole number from 1"},
        {{"--cursor=-1", "x"}, "--cursor: \"-1\" is no whole number from 0"},
        {{"--cursor", "2147483648", "x"}, "is no whole number from 0 to 2147483647"},
        {{"--cursor", "1.5", "x"}, "is no whole number from 0"},
        {{"--explain", "x1", "x"}, "--explain: \"x1\" is no whole number from 0"},
        {{"--dots", "125"}, "--dots requires --back"},
        {{"--back", "--cells", "x"}, "--back excludes --cells"},
        {{"--back", "--width", "9", "x"}, "--back excludes --width"},
        {{"--map", "--json", "x"}, "--map excludes --json"},
        {{"--dump", "--positions", "x"}, "--positions excludes --dump"},
        {{"--explain", "1", "--map", "x"}, "--map excludes --explain"},
        {{"--explain", "0", "--cursor", "0", "x"}, "--cursor excludes --explain"},
        {{"--json", "--width", "9", "x"}, "--width excludes --json"},
        {{"--json", "--cells", "x"}, "--cells excludes --json"},
        {{"--roles", "x"}, "--roles takes no text"},
        {{"--roles", "--back"}, "--back excludes --roles"},
        {{"--explore", "--json"}, "--json excludes --explore"},
        {{"--explore"}, "--explore needs a terminal"},
        {{"--explore", "--back"}, "--back excludes --explore"},
        {{"--translator"}, "--translator: 1 required NAME missing"},
    };
    for (const WrongUse& use : uses)
        expectComplaintWith(run(use.arguments), 2, use.complaint);
}

TEST_F(ABrltranslateThatCannot, FindATranslatorNamesItAndUpToThreeCloseOnes)
{
    expectComplaint(run({"-t", "en-ueb-g3.ctb", "x"}), 2,
                    "no translator is named \"en-ueb-g3.ctb\"; close to it: en-ueb-g1.ctb, "
                    "en-ueb-g2.ctb, en-us-g1.ctb");
    expectComplaintWith(run({"-t", "no-such-table", "x"}), 2,
                        "no translator is named \"no-such-table\"; give a display name");
    expectComplaintWith(run({"-t", "", "x"}), 2, "no translator is named \"\"");
    expectComplaint(run({"-t", "caf\xe9", "x"}), 2, "translator: malformed UTF-8 at byte offset 3");
}

TEST_F(ABrltranslateThatCannot, FindAProfileNamesItAndUpToThreeCloseOnes)
{
    expectComplaint(run({"-p", "en", "x"}), 2,
                    "no language profile is named \"en\"; close to it: en-gb, en-us, en-us-ebae");
    expectComplaint(run({"-p", "fr\xff", "x"}), 2, "profile: malformed UTF-8 at byte offset 2");
}

TEST_F(ABrltranslateThatCannot, FindATranslatorLeavesTheProfileAsItIs)
{
    EXPECT_EQ(run({"-p", "de", "-t", "no-such-table", "x"}).status, 2);
    EXPECT_THAT(run({"--roles"}).output, StartsWith("display   en-ueb-g2.ctb"));
}

TEST_F(ABrltranslateThatCannot, DecodeALineNamesItWithTheOffsetAndTranslatesTheRest)
{
    const Outcome outcome = run({}, "and\nt\xffo\nfor\nab\xe2\x82\nthe\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: line 2: malformed UTF-8 at byte offset 1\n"
                              "brltranslate: line 4: malformed UTF-8 at byte offset 2\n");
    EXPECT_EQ(outcome.output, "\u282f\n\u283f\n\u282e\n");
    expectComplaint(run({"a", "b\xc0"}), 1, "line 1: malformed UTF-8 at byte offset 3");
}

TEST_F(ABrltranslateThatCannot, ReadCellsNamesWhatIsNone)
{
    expectComplaint(run({"-b", "\u282ea"}), 1,
                    "line 1: U+0061 at position 1 is no braille cell; give U+2800 to U+28FF, or "
                    "dot numbers with --dots");
    for (const char* dots : {"9", "129", "11", "01", "a", "1-", "1--2", "-1", "1- 2"}) {
        const Outcome outcome = run({"-b", "--dots", "--", dots});
        expectComplaintWith(outcome, 1, "is none; give dots 1 to 8, each once, or 0");
    }
    expectComplaintWith(run({"-b", "--dots", "12-0-19"}), 1, "line 1: cell 2, \"19\", is none");
}

TEST_F(ABrltranslateThatCannot, PlaceTheCursorSaysWhereTheTextEnds)
{
    const Outcome outcome = run({"--cursor", "4"}, "and\nthere\n");
    EXPECT_EQ(outcome.errors, "brltranslate: line 1: the cursor, at position 4, is outside the "
                              "text, whose end is at position 3\n");
    EXPECT_EQ(linesOf(outcome.output).size(), 1U);
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(ABrltranslateThatCannot, ExplainAPositionBehindTheEndSaysHowLongTheTextIs)
{
    expectComplaint(run({"--explain", "3", "and"}), 2,
                    "line 1: there is nothing to explain at position 3: the text has 3 "
                    "characters, and the first is at position 0");
    expectComplaintWith(run({"--explain", "0", ""}), 2, "the text has 0 characters");
    EXPECT_EQ(run({"--explain", "2", "and"}).status, 0);
}

TEST_F(ABrltranslateThatCannot, SendALineOverTheBusTranslatesTheRest)
{
    const Outcome outcome = run({}, std::string(8000001, 'a') + "\nand\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: line 1: more than the 8000000 characters that the bus "
                              "carries at once\n");
    EXPECT_EQ(outcome.output, "\u282f\n");
    // Whatever is in it.
    expectComplaint(runInShell("yes \u6f22 | tr -d '\\n' | head -c 40000001 | \"$BRLTRANSLATE\""),
                    1, "line 1: it has more than 40000000 bytes, which is too long for the bus");
}

TEST_F(ABrltranslateThatCannot, WriteSaysWhyAndStops)
{
    const std::string noSpace = "brltranslate: cannot write to standard output: No space left on "
                                "device\n";
    Command full = brltranslate({"x"});
    full.outputFile = "/dev/full";
    EXPECT_EQ(full.run().errors, noSpace);
    EXPECT_EQ(full.run().status, 1);
    // It does not go on for ever.
    EXPECT_EQ(runInShell("yes | \"$BRLTRANSLATE\" --line-buffered >/dev/full").errors, noSpace);
    full.words = {BRLTRANSLATE, "--help"};
    EXPECT_EQ(full.run().errors, noSpace);
    EXPECT_EQ(runInShell("\"$BRLTRANSLATE\" x >&-").errors,
              "brltranslate: cannot write to standard output: Bad file descriptor\n");
    EXPECT_EQ(runInShell("\"$BRLTRANSLATE\" x >&-").status, 1);
}

TEST_F(ABrltranslateThatCannot, ReadSaysWhy)
{
    expectComplaint(runInShell("\"$BRLTRANSLATE\" <&-"), 1,
                    "cannot read standard input: Bad file descriptor");
    expectComplaint(runInShell("\"$BRLTRANSLATE\" </"), 1,
                    "cannot read standard input: Is a directory");
}

TEST_F(ABrltranslateThatCannot, BeHeardLeavesItsStatusAtLeast)
{
    const Outcome outcome = runInShell("\"$BRLTRANSLATE\" -t no-such-table x 2>&-");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
}

TEST_F(ABrltranslateThatCannot, WriteToAClosedPipeEndsAsOthersDo)
{
    const Outcome outcome =
        runInShell("yes \"$(printf 'and %.0s' {1..100})\" | \"$BRLTRANSLATE\" | head -c 3; "
                   "echo ${PIPESTATUS[1]}");
    EXPECT_EQ(outcome.output, "\u282f141\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST(BrltranslateOnATerminal, TranslatesEachLineAtOnceAndEndsWithControlC)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal("trap : INT; " + std::string(BRLTRANSLATE) + "; echo status $?", 40, 10);
    terminal.type("and");
    terminal.press("Enter");
    EXPECT_THAT(terminal.awaitText("\u282f").text(), StartsWith("and\n\u282f\n"));
    terminal.press("C-c");
    EXPECT_THAT(terminal.awaitText("status").text(), HasSubstr("status 130\n"));
}

TEST(BrltranslateOnATerminal, EndsWithItsInput)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal(BRLTRANSLATE + std::string("; echo status $?"), 40, 10);
    terminal.type("and");
    terminal.press("C-d");
    terminal.press("C-d");
    EXPECT_THAT(terminal.awaitText("status").text(), HasSubstr("\u282f\nstatus 0\n"));
}

TEST(BrltranslateOnATerminal, WritesEachLineAtOnceToAPipeIfAsked)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal(BRLTRANSLATE + std::string(" --line-buffered | cat"), 40, 10);
    terminal.type("and");
    terminal.press("Enter");
    EXPECT_THAT(terminal.awaitText("\u282f").text(), StartsWith("and\n\u282f\n"));
}

TEST(BrltranslateOnATerminal, ShowsItsProgressWhereTheOutputGoesElsewhere)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal("yes and | " + std::string(BRLTRANSLATE) + " >/dev/null", 60, 10);
    EXPECT_THAT(terminal.awaitText("lines translated").text(),
                testing::ContainsRegex("^brltranslate: [0-9]+ lines translated\n"));
}

TEST(BrltranslateOnATerminal, ShowsNoProgressIfItIsToBeQuiet)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal(
        "yes and | timeout 4 " + std::string(BRLTRANSLATE) + " -q >/dev/null; echo done", 60, 10);
    EXPECT_THAT(terminal.awaitText("done").text(), StartsWith("done\n"));
}

TEST(BrltranslateOnATerminal, AlignsAMapToItsWidth)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    Terminal terminal(
        BRLTRANSLATE + std::string(" -m -t en-ueb-g1 aaaaaaaaaaaaaaaaaaaaaaaa; echo done"), 40, 10);
    const Picture picture = terminal.awaitText("done");
    EXPECT_EQ(picture.rows[0],
              "a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a"
              "\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a\u2502a");
    EXPECT_EQ(picture.rows[2], "a\u2502a\u2502a\u2502a");
}

TEST(BrltranslateWithoutAnything, NamesThePackageWithTheTables)
{
    const TemporaryFolder none;
    setenv("LOUIS_TABLEPATH", none.path().c_str(), 1);
    const PrivateBus bus(PrivateBus::Services::REAL);
    unsetenv("LOUIS_TABLEPATH");
    expectComplaintWith(run({"x"}), 1, "liblouis-data");
    expectComplaintWith(run({"-t", "en-ueb-g2.ctb", "x"}), 1, "liblouis-data");
}

TEST(BrltranslateWithoutAnything, SaysHowToStartTheService)
{
    const PrivateBus bus;
    const std::string help = "the Translator service is not running; start brailletranslatord, "
                             "or, in a source tree, put scripts/with-private-bus before the "
                             "command (";
    for (const Words& arguments :
         {Words{}, {"-t", "en-ueb-g2", "x"}, {"-p", "de", "x"}, {"--roles"}})
        expectComplaintWith(run(arguments, "a\nb\n"), 3, help);
}

TEST(BrltranslateWithoutAnything, SaysThatThereIsNoBus)
{
    for (const Words& arguments : {Words{"x"}, {"--roles"}}) {
        Command nowhere = brltranslate(arguments);
        nowhere.environment = {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus"}};
        expectComplaintWith(nowhere.run(), 3,
                            "there is no system bus; start dbus-daemon, or let "
                            "DBUS_SYSTEM_BUS_ADDRESS name another bus");
    }
}

TEST_F(BrltranslateWithAFakeService, SaysThatItDoesNotAnswer)
{
    service.on("forwardW", answer::silence());
    Outcome outcome;
    // A busy machine may not answer the first question in time, either.
    for (const char* patience : {"200ms", "2s", "20s"}) {
        Command impatient = brltranslate({"x"});
        impatient.environment = {{"SYSTEMD_BUS_TIMEOUT", patience}};
        outcome = impatient.run();
        if (outcome.errors.find("line 1") != std::string::npos)
            break;
    }
    expectComplaintWith(outcome, 3, "line 1: the Translator service does not answer");
}

TEST_F(BrltranslateWithAFakeService, StopsAtTheLineAtWhichTheServiceIsGone)
{
    int count = 0;
    service.on("forwardW", [&](sd_bus_message* call) {
        if (++count == 2)
            service.on("forwardW", answer::error("org.freedesktop.DBus.Error.NoReply", "gone"));
        answer::echo(call);
    });
    const Outcome outcome = run({}, "a\nb\nc\nd\n");
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.errors, StartsWith("brltranslate: line 3: the Translator service"));
    EXPECT_EQ(outcome.output, "\u2861\n\u2862\n");
    EXPECT_THAT(service.calls(), SizeIs(4));
}

TEST_F(BrltranslateWithAFakeService, SaysHowToStartOneThatCouldNotBeStarted)
{
    service.on("forwardW", answer::error("org.freedesktop.DBus.Error.Spawn.ChildExited", "ended"));
    expectComplaintWith(run({"x"}), 3, "is not running; start brailletranslatord");
    service.on("forwardW", answer::error("org.freedesktop.DBus.Error.LimitsExceeded", "too much"));
    expectComplaint(run({"x"}), 3, "line 1: the Translator service cannot be reached: too much");
}

TEST_F(BrltranslateWithAFakeService, KeepsTheOrderOfManyLinesAndOfTheirComplaints)
{
    service.on("forwardW", [](sd_bus_message* call) {
        const char* text = nullptr;
        sd_bus_message_rewind(call, 1);
        sd_bus_message_read(call, "s", &text);
        const void* codePoints = nullptr;
        std::size_t size = 0;
        sd_bus_message_read_array(call, 'u', &codePoints, &size);
        const bool isLong = size > 3 * sizeof(std::uint32_t);
        isLong ? answer::error("braille.translator.Error.TooLong", "too long")(call)
               : answer::echo(call);
    });
    std::string input;
    std::string output;
    std::string errors;
    for (int line = 1; line <= 1000; ++line) {
        const bool isMalformed = line % 100 == 50;
        const std::string digits = std::to_string(line % 100 == 0 ? 1000 + line : line % 1000);
        input += isMalformed ? "\xff\n" : digits + '\n';
        if (isMalformed)
            errors += "brltranslate: line " + std::to_string(line) +
                      ": malformed UTF-8 at byte offset 0\n";
        else if (digits.size() > 3)
            errors += "brltranslate: line " + std::to_string(line) + ": too long\n";
        else
            output += digits + '\n';
    }
    const Outcome outcome = run({"--positions"}, input);
    EXPECT_EQ(outcome.errors, errors);
    std::string sources;
    for (const std::string& line : linesOf(outcome.output)) {
        if (line.compare(0, 9, "source   ") == 0)
            sources += line.substr(9) + '\n';
    }
    EXPECT_EQ(sources, output);
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(BrltranslateWithAFakeService, StopsAmongManyLinesAtTheOneAtWhichTheServiceIsGone)
{
    int count = 0;
    service.on("forwardW", [&](sd_bus_message* call) {
        if (++count == 100)
            service.on("forwardW", answer::error("org.freedesktop.DBus.Error.NoReply", "gone"));
        answer::echo(call);
    });
    std::string input;
    for (int line = 0; line < 1000; ++line)
        input += "a\n";
    const Outcome outcome = run({}, input);
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    const std::size_t lines = linesOf(outcome.output).size();
    EXPECT_THAT(outcome.errors,
                StartsWith("brltranslate: line " + std::to_string(lines + 1) + ": the Translator"));
    EXPECT_THAT(lines, testing::AllOf(testing::Ge(90U), testing::Le(100U)));
}

TEST_F(BrltranslateWithAFakeService, GoesOnBehindALineThatTheServiceRefuses)
{
    service.on("forwardW", answer::error("braille.translator.Error.TooLong", "too long"));
    const Outcome outcome = run({}, "a\nb\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: line 1: too long\nbrltranslate: line 2: too long\n");
}

TEST_F(BrltranslateWithAFakeService, PrintsNoMapThatItCouldNotFill)
{
    const Responder refuse = answer::error("braille.translator.Error.Busy", "too much to do");
    const Responder translateOnce = [&](sd_bus_message* call) {
        service.on("forwardW", refuse);
        abcWithMap({0, 0, 0, 3}, {true, false, false, true})(call);
    };
    for (const char* view : {"--map", "--json", "--positions", "--width=9", "--explain=1"}) {
        service.on("forwardW", translateOnce);
        expectComplaint(run({view, "abc"}), 1, "line 1: too much to do");
    }
}

TEST_F(BrltranslateWithAFakeService, FillsTheMapThatItPrints)
{
    service.on("forwardW", abcWithMap({0, 1, 2, 3}, {true, false, true, true}));
    EXPECT_THAT(run({"--json", "abc"}).output, HasSubstr("\"map\":[0,1,2,3]"));
    EXPECT_THAT(service.calls(), SizeIs(3)) << "the role, the text, and the entry";
}

TEST_F(BrltranslateWithAFakeService, HandsTheCursorToTheService)
{
    run({"--cursor", "2", "abc"});
    EXPECT_EQ(service.calls().at(1).cursor, 2);
    run({"abcdef"});
    EXPECT_EQ(service.calls().at(3).cursor, 3) << "the middle, where there is none";
}

TEST_F(BrltranslateWithAFakeService, DrawsAnyMapThatTheServiceMayHave)
{
    const std::vector<std::vector<int32_t>> maps = {
        {}, {3, 2, 1, 0}, {-5, 100, 0, 7}, {0, 0, 0, 0}, {3, 3, 3, 3}, {1, 1, 2, 3}, {0}};
    for (const auto& map : maps) {
        service.on("forwardW", abcWithMap(map, std::vector<bool>(map.size(), true)));
        const Outcome outcome = run({"-m", "abc"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        for (const char* part : {"a", "b", "c", "\u2801", "\u2802", "\u2803"})
            EXPECT_THAT(outcome.output, HasSubstr(part)) << testing::PrintToString(map);
    }
}

TEST_F(BrltranslateWithAFakeService, ShowsWhatIsNoCharacterAsOne)
{
    TranslationFields fields;
    fields.posMap = {0, 1};
    fields.known = {true, true};
    fields.translated = {0xD800};
    fields.untranslated = {0x110000};
    service.on("forwardW", answer::translation(fields));
    EXPECT_EQ(run({"x"}).output, "\ufffd\n");
    EXPECT_EQ(run({"--cells", "x"}).output, "U+D800\n");
    EXPECT_EQ(run({"-m", "x"}).output, "\ufffd\n\ufffd\n");
    EXPECT_THAT(run({"--json", "x"}).output, HasSubstr("\"source\":\"\ufffd\""));
}

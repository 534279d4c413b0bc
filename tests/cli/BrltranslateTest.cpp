#include "support/Command.h"
#include "support/FakeService.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr const char* PROGRAM = TEST_BUILD_FOLDER "/cli/brltranslate";

using Words = std::vector<std::string>;

/** The program on a bus with the real service. */
class Brltranslate : public testing::Test
{
protected:
    static Command command(Words arguments, std::string input = "")
    {
        arguments.insert(arguments.begin(), PROGRAM);
        return {std::move(arguments), std::move(input)};
    }

    static Outcome run(const Words& arguments, const std::string& input = "")
    {
        return command(arguments, input).run();
    }

    PrivateBus bus{PrivateBus::Services::REAL};
};

void expectOneLine(const std::string& text)
{
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    EXPECT_THAT(text, EndsWith("\n"));
}

} // namespace

TEST_F(Brltranslate, PrintsSourceBrailleAndPositionMap)
{
    const Outcome outcome = run({"the", "knowledge"});
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "source   the knowledge\n"
                              "braille  \u282e\u2800\u2805\n"
                              "map      0 0 0 1 2 2 2 2 2 2 2 2 2 3\n");
    EXPECT_EQ(outcome.errors, "");
}

TEST_F(Brltranslate, GivesTheSameBrailleAsTheEnginesOwnProgram)
{
    const std::string text = "The quick brown fox jumps over the lazy dog.";
    const Command engine{{"lou_translate", "--forward", "unicode.dis,en-ueb-g2.ctb"}, text + "\n"};
    const std::string expected = engine.run().output;
    ASSERT_THAT(expected, EndsWith("\u2832\n"));
    const Outcome outcome = run({text});
    EXPECT_THAT(outcome.output, HasSubstr("\nbraille  " + expected));
    const std::size_t cells = (expected.size() - 1) / 3;
    EXPECT_THAT(outcome.output, EndsWith(" " + std::to_string(cells) + "\n"));
}

TEST_F(Brltranslate, TranslatesStandardInputLineByLine)
{
    const Outcome outcome = run({}, "and\n\nfor");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "source   and\nbraille  \u282f\nmap      0 0 0 1\n"
                              "source   \nbraille  \nmap      0\n"
                              "source   for\nbraille  \u283f\nmap      0 0 0 1\n");
}

TEST_F(Brltranslate, TranslatesWithTheTranslatorThatIsNamed)
{
    for (const char* name :
         {"en-ueb-g1.ctb", "en-ueb-g1", "Unified English uncontracted braille"}) {
        EXPECT_THAT(run({"--translator", name, "and"}).output,
                    HasSubstr("braille  \u2801\u281d\u2819\n"));
        EXPECT_THAT(run({"-t", name}, "and\n").output, HasSubstr("\u2801\u281d\u2819\n"));
    }
}

TEST_F(Brltranslate, ReportsMalformedUtf8WithItsOffsetAndTranslatesTheRest)
{
    const Outcome outcome = run({}, "and\nt\xffo\nfor\nab\xe2\x82\nthe\n");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: line 2: malformed UTF-8 at byte offset 1\n"
                              "brltranslate: line 4: malformed UTF-8 at byte offset 2\n");
    EXPECT_EQ(outcome.output, "source   and\nbraille  \u282f\nmap      0 0 0 1\n"
                              "source   for\nbraille  \u283f\nmap      0 0 0 1\n"
                              "source   the\nbraille  \u282e\nmap      0 0 0 1\n");
}

TEST_F(Brltranslate, ReportsMalformedUtf8InItsArguments)
{
    const Outcome outcome = run({"a", "b\xc0"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "brltranslate: text: malformed UTF-8 at byte offset 3\n");
}

TEST_F(Brltranslate, NamesAnUnknownOption)
{
    const Outcome outcome = run({"--bogus", "x"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    expectOneLine(outcome.errors);
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("brltranslate: "), HasSubstr("--bogus")));
}

TEST_F(Brltranslate, NamesAnUnknownTranslator)
{
    const Outcome outcome = run({"-t", "no-such-table", "x"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    expectOneLine(outcome.errors);
    EXPECT_THAT(outcome.errors, AllOf(StartsWith("brltranslate: "), HasSubstr("no-such-table")));
}

TEST_F(Brltranslate, TakesNoTranslatorThatHasNoNameOrNoneInUtf8)
{
    const Outcome empty = run({"-t", "", "x"});
    EXPECT_EQ(empty.status, 2);
    EXPECT_THAT(empty.errors, HasSubstr("no translator is named \"\""));
    const Outcome malformed = run({"-t", "caf\xe9", "x"});
    EXPECT_EQ(malformed.status, 2);
    EXPECT_EQ(malformed.errors, "brltranslate: translator: malformed UTF-8 at byte offset 3\n");
}

TEST_F(Brltranslate, RefusesALineThatTheBusCannotCarryAndTranslatesTheRest)
{
    const Outcome outcome = run({}, std::string(8000001, 'a') + "\nand\n");
    EXPECT_EQ(outcome.status, 1);
    expectOneLine(outcome.errors);
    EXPECT_THAT(outcome.errors, StartsWith("brltranslate: line 1: more than the 8000000"));
    EXPECT_EQ(outcome.output, "source   and\nbraille  \u282f\nmap      0 0 0 1\n");
}

TEST_F(Brltranslate, PrintsItsUsageOnATerminalWithoutText)
{
    Command onTerminal = command({});
    onTerminal.isOnTerminal = true;
    const Outcome outcome = onTerminal.run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, HasSubstr("Usage: brltranslate"));
}

TEST_F(Brltranslate, PrintsHelpAndVersionWhenAsked)
{
    EXPECT_THAT(run({"--help"}).output, HasSubstr("--translator"));
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(run({"--version"}).output, "brltranslate " TEST_VERSION "\n");
}

TEST_F(Brltranslate, SaysThatItCannotWrite)
{
    Command full = command({"x"});
    full.outputFile = "/dev/full";
    const Outcome outcome = full.run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: cannot write to standard output\n");
}

TEST(BrltranslateWithoutAnything, NamesThePackageWithTheTables)
{
    const std::string none = testing::TempDir();
    setenv("LOUIS_TABLEPATH", none.c_str(), 1);
    const PrivateBus bus(PrivateBus::Services::REAL);
    unsetenv("LOUIS_TABLEPATH");
    for (const Words& words : {Words{PROGRAM, "x"}, {PROGRAM, "-t", "en-ueb-g2.ctb", "x"}}) {
        const Outcome outcome = Command{words, ""}.run();
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        expectOneLine(outcome.errors);
        EXPECT_THAT(outcome.errors, HasSubstr("liblouis-data"));
    }
}

TEST(BrltranslateWithoutAnything, SaysThatThereIsNoService)
{
    const PrivateBus bus;
    const Outcome outcome = Command{{PROGRAM}, "a\nb\n"}.run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.output, "");
    expectOneLine(outcome.errors);
    EXPECT_THAT(outcome.errors, HasSubstr("service cannot be reached"));
}

TEST(BrltranslateWithoutAnything, SaysThatThereIsNoBus)
{
    const Outcome outcome =
        Command{{PROGRAM, "x"}, "", {{"DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus"}}}
            .run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.output, "");
    expectOneLine(outcome.errors);
}

TEST(BrltranslateWithAFakeService, StopsAtTheLineAtWhichTheServiceIsGone)
{
    const PrivateBus bus;
    FakeService service(bus.address());
    service.on("getPreferredBrailleTranslatorForDisplay",
               answer::translator(2, "Some table", true, "some.ctb"));
    service.on("forwardW", answer::error("org.freedesktop.DBus.Error.NoReply", "gone"));
    const Outcome outcome = Command{{PROGRAM}, "a\nb\n"}.run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_EQ(outcome.errors, "brltranslate: the Translator service cannot be reached: gone\n");
    EXPECT_THAT(service.calls(), testing::SizeIs(2));
}

TEST(BrltranslateWithAFakeService, GoesOnBehindALineThatTheServiceRefuses)
{
    const PrivateBus bus;
    FakeService service(bus.address());
    service.on("getPreferredBrailleTranslatorForDisplay",
               answer::translator(2, "Some table", true, "some.ctb"));
    service.on("forwardW", answer::error("braille.translator.Error.TooLong", "too long"));
    const Outcome outcome = Command{{PROGRAM}, "a\nb\n"}.run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "brltranslate: too long\nbrltranslate: too long\n");
}

#include "Brltranslate.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

/** The program on a bus with the real service. */
class Brltranslate : public testing::Test
{
    PrivateBus bus{PrivateBus::Services::REAL};
};

void expectOutput(const Words& arguments, const std::string& expected,
                  const std::string& input = "")
{
    const Outcome outcome = run(arguments, input);
    EXPECT_EQ(outcome.output, expected);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

} // namespace

TEST_F(Brltranslate, PrintsTheBrailleOfItsArguments)
{
    expectOutput({"the", "knowledge"}, "\u282e\u2800\u2805\n");
}

TEST_F(Brltranslate, TranslatesStandardInputLineByLine)
{
    expectOutput({}, "\u282f\n\n\u283f\n", "and\n\nfor");
}

TEST_F(Brltranslate, TranslatesArgumentsWithSeveralLinesLineByLine)
{
    expectOutput({"and\nfor"}, "\u282f\n\u283f\n");
}

TEST_F(Brltranslate, TakesItsArgumentsAsTheyStand)
{
    for (const char* text : {"[a,b]", "[x]", "[]", "--", "-", "-b"})
        expectOutput({"--", text}, run({}, text).output);
    expectOutput({"[a,b]"}, run({}, "[a,b]").output);
    expectOutput({"and\n"}, "\u282f\n");
    expectOutput({""}, "\n");
}

TEST_F(Brltranslate, KeepsALineWhereTheTranslatorMakesALineBreakOfACell)
{
    expectOutput({"--json", "-b", "-t", "hu-hu-g2", "\u2880"},
                 "{\"direction\":\"back\",\"translator\":\"hu-hu-g2.ctb\",\"source\":\"\u2880\","
                 "\"translation\":\"\\n\",\"map\":[0,1]}\n");
    expectOutput({"-b", "-t", "hu-hu-g2", "\u2880"}, " \n");
    EXPECT_EQ(linesOf(run({"-b", "--positions", "-t", "hu-hu-g2", "\u2880"}).output).size(), 3U);
}

TEST_F(Brltranslate, TakesTheLastOfAnOptionThatIsGivenTwice)
{
    expectOutput({"-t", "en-ueb-g2", "-t", "en-ueb-g1", "and"}, "\u2801\u281d\u2819\n");
}

TEST_F(Brltranslate, TranslatesLinesThatAreLongerThanAnyBuffer)
{
    const std::string line(200000, 'a');
    const Outcome outcome = run({"-t", "en-ueb-g1.ctb"}, line + '\n' + line + '\n');
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output.size(), 2 * (3 * line.size() + 1));
}

TEST_F(Brltranslate, PrintsUtf8WhateverTheLocale)
{
    Command elsewhere = brltranslate({"--map", "\u00fc"});
    elsewhere.environment = {{"LC_ALL", "C"}};
    EXPECT_THAT(elsewhere.run().output, StartsWith("\u00fc"));
}

TEST_F(Brltranslate, TranslatesWithTheTranslatorThatIsNamed)
{
    for (const char* name :
         {"en-ueb-g1.ctb", "en-ueb-g1", "Unified English uncontracted braille"}) {
        expectOutput({"--translator", name, "and"}, "\u2801\u281d\u2819\n");
        expectOutput({"-t", name}, "\u2801\u281d\u2819\n", "and\n");
    }
}

TEST_F(Brltranslate, TranslatesWithTheTranslatorThatHasTheRole)
{
    expectOutput({"--profile", "en-us", "--roles"}, "display   en-ueb-g2.ctb, grade 2\n"
                                                    "entry     en-ueb-g2.ctb, grade 2\n"
                                                    "computer  en_US-comp8-ext.tbl, grade 0\n"
                                                    "grade1    en-ueb-g1.ctb, grade 1\n");
    expectOutput({"--role", "display", "And"}, "\u2820\u282f\n");
    expectOutput({"--role", "entry", "And"}, "\u2820\u282f\n");
    expectOutput({"--role", "computer", "And"}, "\u2841\u281d\u2819\n");
    expectOutput({"--role", "grade1", "And"}, "\u2820\u2801\u281d\u2819\n");
}

TEST_F(Brltranslate, SwitchesTheServiceToAProfileForAllThatFollows)
{
    expectOutput({"-p", "de", "auch"}, "\u280c\n");
    expectOutput({"auch"}, "\u280c\n");
}

TEST_F(Brltranslate, TranslatesBackFromPatternsAndBlanks)
{
    expectOutput({"--back", "\u282e\u2800\u2805"}, "the knowledge\n");
    expectOutput({"-b"}, "the knowledge\nand\n", "\u282e \u2805\n\u282f\n");
}

TEST_F(Brltranslate, TranslatesBackFromNumbersOfDots)
{
    expectOutput({"-b", "--dots", "2346-0-13"}, "the knowledge\n");
    expectOutput({"-b", "--dots", "2346 13"}, "the knowledge\n");
}

TEST_F(Brltranslate, PrintsNumbersOfDotsThatItReadsBack)
{
    expectOutput({"--cells", "the knowledge"}, "2346-0-13\n");
    expectOutput({"--cells"}, "\n", "\n");
    const Outcome dots = run({"--cells"}, "The knowledge of reading.\nAnd more.\n");
    expectOutput({"-b", "--dots"}, "The knowledge of reading.\nAnd more.\n", dots.output);
}

TEST_F(Brltranslate, ShowsTheCursorAsDots7And8)
{
    expectOutput({"--cursor", "4", "the knowledge"}, "\u282e\u2800\u28c5\n");
    expectOutput({"-c", "3", "--cells", "the knowledge"}, "2346-78-13\n");
}

TEST_F(Brltranslate, ShowsACursorBehindTheTextInACellOfItsOwn)
{
    expectOutput({"-c", "3", "and"}, "\u282f\u28c0\n");
    expectOutput({"-c", "0", ""}, "\u28c0\n");
}

TEST_F(Brltranslate, FoldsBrailleToTheWidthOfADisplayAtBlanks)
{
    expectOutput({"--width", "4", "the knowledge of reading"},
                 "0..14   \u282e\u2800\u2805\n"
                 "14..17  \u2837\n"
                 "17..24  \u2817\u2802\u2819\u282c\n");
    expectOutput({"--width", "40", "the knowledge"}, "0..13   \u282e\u2800\u2805\n");
    expectOutput({"--width", "40", ""}, "0..0\n");
}

TEST_F(Brltranslate, FoldsAWordThatIsTooLongBetweenContractions)
{
    // The last two cells, of "tion", stay together.
    expectOutput({"--width", "3", "--cells", "nation"}, "0..2  1345-1\n2..6  56-1345\n");
}

TEST_F(Brltranslate, CutsWhatIsWiderThanTheDisplayByItself)
{
    expectOutput({"--width", "1", "--cells", "The"}, "0..3  6\n0..3  2346\n");
}

TEST_F(Brltranslate, AlignsSourceAndBrailleInColumns)
{
    expectOutput({"--map", "The knowledge of reading"},
                 "The\u2502 \u2502knowledge\u2502 \u2502of\u2502 \u2502r\u2502ea\u2502d\u2502ing\n"
                 "\u2820\u282e \u2502\u2800\u2502\u2805        \u2502\u2800\u2502\u2837 "
                 "\u2502\u2800\u2502\u2817\u2502\u2802 \u2502\u2819\u2502\u282c\n");
}

TEST_F(Brltranslate, AlignsBrailleAndPrintOnTheWayBack)
{
    expectOutput({"-b", "-m", "\u282e\u2800\u2805"},
                 "\u282e  \u2502\u2800\u2502\u2805\nthe\u2502 \u2502knowledge\n");
}

TEST_F(Brltranslate, AlignsNumbersOfDots)
{
    expectOutput({"-m", "--cells", "the of"}, "the \u2502 \u2502of\n2346\u25020\u250212356\n");
}

TEST_F(Brltranslate, ContinuesALongMapInAnotherPairOfRows)
{
    const Outcome outcome = run({"-m", "-t", "en-ueb-g1.ctb", std::string(100, 'a')});
    const auto lines = linesOf(outcome.output);
    ASSERT_EQ(lines.size(), 6U) << outcome.output;
    EXPECT_EQ(lines[4] + '\n' + lines[5] + '\n',
              run({"-m", "-t", "en-ueb-g1.ctb", std::string(20, 'a')}).output);
}

TEST_F(Brltranslate, HasAnEmptyLineBetweenTheMapsOfTwoLines)
{
    expectOutput({"-m"}, "the\n\u282e\n\nof\n\u2837\n", "the\nof\n");
    const Outcome words = run({"--explain", "0"}, "the\nof\n");
    EXPECT_THAT(words.output, HasSubstr("after: nothing\n\ncharacter 0: o\n"));
}

TEST_F(Brltranslate, HasAPairOfRowsForEachLineOfTheDisplay)
{
    expectOutput({"-m", "--width", "3", "the knowledge"}, "0..13\n"
                                                          "the\u2502 \u2502knowledge\n"
                                                          "\u282e  \u2502\u2800\u2502\u2805\n");
    const Outcome narrow = run({"-m", "--width", "1", "the knowledge"});
    EXPECT_EQ(narrow.output, "0..4\nthe\u2502 \n\u282e  \u2502\u2800\n"
                             "4..13\nknowledge\n\u2805\n");
}

TEST_F(Brltranslate, AlignsWideCombiningAndControlCharacters)
{
    const std::string wide = run({"-m", "-t", "zh-tw.ctb", "\u4e2d\u6587"}).output;
    // Three cells under a character that takes two columns.
    EXPECT_THAT(wide, StartsWith("\u4e2d \u2502\u6587\n"));
    const std::string control = run({"-m", "-t", "en-ueb-g1.ctb", "a\tb"}).output;
    EXPECT_THAT(control, AllOf(HasSubstr("a\u2502\u2409\u2502b\n"), Not(HasSubstr("\t"))));
    // A combining character in a column of its own gets something to stand on.
    const std::string combining = run({"-m", "-t", "en-ueb-g1.ctb", "\u0301c"}).output;
    EXPECT_THAT(combining, StartsWith("\u25cc\u0301"));
    const std::string isolate = {'\xe2', '\x81', '\xa6'};
    const std::string isolates = run({"-m", "-t", "en-ueb-g1.ctb", isolate}).output;
    EXPECT_THAT(isolates, StartsWith("\ufffd\n"));
}

TEST_F(Brltranslate, KeepsColumnsOfRightToLeftTextInTheirPlaces)
{
    const std::string hebrew = "\u05d0\u05d1";
    const Outcome outcome = run({"-m", "-t", "he-IL.utb", hebrew});
    EXPECT_THAT(outcome.output, StartsWith("\u200e\u2068\u05d0\u2069\u2502\u2068\u05d1\u2069\n"));
}

TEST_F(Brltranslate, ExplainsAPositionInWords)
{
    expectOutput({"--explain", "5", "the knowledge of"}, "character 5: n\n"
                                                         "part of characters 4 to 12: knowledge\n"
                                                         "cell 2: \u2805 13\n"
                                                         "before: character 3: space, cell 1: "
                                                         "\u2800 0\n"
                                                         "after: character 13: space, cell 3: "
                                                         "\u2800 0\n");
    expectOutput({"--explain", "0", "The"}, "character 0: T\n"
                                            "part of characters 0 to 2: The\n"
                                            "cells 0 to 1: \u2820\u282e 6-2346\n"
                                            "before: nothing\n"
                                            "after: nothing\n");
}

TEST_F(Brltranslate, ExplainsACellOnTheWayBack)
{
    expectOutput({"-b", "--explain", "2", "\u282e\u2800\u2805"},
                 "cell 2: \u2805 13\n"
                 "characters 4 to 12: knowledge\n"
                 "before: cell 1: \u2800 0, character 3: space\n"
                 "after: nothing\n");
}

TEST_F(Brltranslate, NamesBlanksThatDoNotBreak)
{
    EXPECT_THAT(run({"--explain", "0", "\u00a0"}).output, StartsWith("character 0: U+00A0\n"));
}

TEST_F(Brltranslate, PrintsJsonObjects)
{
    expectOutput({"--json", "-t", "en-ueb-g2"},
                 "{\"direction\":\"forward\",\"translator\":\"en-ueb-g2.ctb\",\"source\":\"the\","
                 "\"translation\":\"\u282e\",\"map\":[0,0,0,1]}\n"
                 "{\"direction\":\"forward\",\"translator\":\"en-ueb-g2.ctb\","
                 "\"source\":\"\\\"\\\\\",\"translation\":\"\u2820\u2836\u2838\u2821\","
                 "\"map\":[0,2,4]}\n",
                 "the\n\"\\\n");
    expectOutput({"--json", "-b", "-t", "en-ueb-g2", "-c", "1", "\u282e\u2800"},
                 "{\"direction\":\"back\",\"translator\":\"en-ueb-g2.ctb\","
                 "\"source\":\"\u282e\u2800\",\"translation\":\"the \",\"map\":[0,3,4],"
                 "\"cursor\":{\"source\":1,\"translation\":3}}\n");
}

TEST_F(Brltranslate, PrintsTheLibrarysDump)
{
    expectOutput({"--dump", "the"}, "isForward: 1\n"
                                    " UntranslatedW: the\n"
                                    " TranslatedW: \u282e\n"
                                    " PosMap: posMap [0 0 0 1 ]\n"
                                    " PosMapComputed: PosMapComputed [1 1 1 1 ]\n");
}

TEST_F(Brltranslate, PrintsThePositionMap)
{
    expectOutput({"--positions", "the knowledge"}, "source   the knowledge\n"
                                                   "braille  \u282e\u2800\u2805\n"
                                                   "map      0 0 0 1 2 2 2 2 2 2 2 2 2 3\n");
    expectOutput({"--positions", "-b", "\u282e"}, "source   \u282e\nprint    the\nmap      0 3\n");
}

TEST_F(Brltranslate, PrintsHelpAndVersionWhenAsked)
{
    EXPECT_THAT(run({"--help"}).output, HasSubstr("--translator"));
    EXPECT_EQ(run({"--help"}).status, 0);
    EXPECT_EQ(run({"--version"}).output, "brltranslate " TEST_VERSION "\n");
}

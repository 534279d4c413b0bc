#include <service/Engine.h>

#include "MapAudit.h"
#include "support/Process.h"
#include "support/RandomText.h"
#include "support/Sanitizers.h"

#include <service/Catalogue.h>
#include <service/EngineLog.h>
#include <service/Tables.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* UEB_GRADE_1 = "en-ueb-g1.ctb";
constexpr const char* UEB_GRADE_2 = "en-ueb-g2.ctb";
constexpr const char* COMPUTER = "en-gb-comp8.ctb";

/** The path of an installed table. Only tables that the engine is known not to hang on. */
std::string tableOf(const std::string& id)
{
    static const Catalogue catalogue(describeTables(installedTables()));
    const Translator* translator = catalogue.find(id);
    if (translator == nullptr)
        throw std::runtime_error(id + " is not installed");
    return translator->table;
}

CodePoints codePoints(std::u32string_view text)
{
    return {text.begin(), text.end()};
}

EngineResult forward(const char* id, const CodePoints& text)
{
    return Engine().forward(tableOf(id), text);
}

EngineResult back(const char* id, const CodePoints& text)
{
    return Engine().back(tableOf(id), text);
}

std::string utf8Of(const CodePoints& cells)
{
    std::string text;
    for (const uint32_t cell : cells) {
        text += static_cast<char>(0xE0U | cell >> 12U);
        text += static_cast<char>(0x80U | (cell >> 6U & 0x3FU));
        text += static_cast<char>(0x80U | (cell & 0x3FU));
    }
    return text;
}

/** What a command writes, without the line's end; empty if it cannot be run. */
std::string outputOf(const std::string& command)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int byte = std::fgetc(pipe.get()); byte != EOF && byte != '\n';
         byte = std::fgetc(pipe.get()))
        output += static_cast<char>(byte);
    return output;
}

} // namespace

TEST(Engine, ContractsEnglishText)
{
    const CodePoints text = codePoints(U"The quick brown fox jumps over the lazy dog.");

    const EngineResult result = forward(UEB_GRADE_2, text);

    EXPECT_EQ(utf8Of(result.output), "⠠⠮⠀⠟⠅⠀⠃⠗⠪⠝⠀⠋⠕⠭⠀⠚⠥⠍⠏⠎⠀⠕⠧⠻⠀⠮⠀⠇⠁⠵⠽⠀⠙⠕⠛⠲");
    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.consumed, text.size());
    EXPECT_EQ(result.diagnostic, "");
}

TEST(Engine, WritesWhatTheEnginesOwnProgramWrites)
{
    if (outputOf("command -v lou_translate").empty())
        GTEST_SKIP() << "lou_translate is not installed";
    for (const std::string line :
         {"The quick brown fox jumps over the lazy dog.", "I cannot believe that you were there.",
          "Braille has been read with the fingers since 1824.", "Knowledge, she said, is power!",
          "NASA, e-mail: someone@example.org (50%)"}) {
        const EngineResult result = forward(UEB_GRADE_2, {line.begin(), line.end()});
        const std::string command =
            "echo '" + line + "' | lou_translate --forward unicode.dis,en-ueb-g2.ctb";
        EXPECT_EQ(utf8Of(result.output), outputOf(command)) << line;
    }
}

TEST(Engine, ReadsBraillePatternsBack)
{
    const EngineResult result = back(UEB_GRADE_2, codePoints(U"⠠⠮⠀⠟⠅⠀⠃⠗⠪⠝⠀⠋⠕⠭"));

    EXPECT_EQ(result.output, codePoints(U"The quick brown fox"));
    EXPECT_TRUE(result.complete);
}

TEST(Engine, ReadsBackWhatItHasWritten)
{
    for (const char* table : {UEB_GRADE_1, UEB_GRADE_2, COMPUTER}) {
        for (const std::u32string_view text :
             {U"a", U"The quick brown fox jumps over the lazy dog.", U"in 1824, and since",
              U"People like you, however small", U"two  spaces"}) {
            const EngineResult braille = forward(table, codePoints(text));
            EXPECT_EQ(back(table, braille.output).output, codePoints(text)) << table;
        }
    }
}

TEST(Engine, AnswersAnEmptyTextWithoutItsTable)
{
    const EngineResult written = Engine().forward("/nowhere", {});
    const EngineResult read = Engine().back("/nowhere", {});

    for (const EngineResult& result : {written, read}) {
        EXPECT_TRUE(result.complete);
        EXPECT_EQ(result.consumed, 0U);
        EXPECT_EQ(result.positions, std::vector<int32_t>{0});
        EXPECT_TRUE(result.output.empty());
        EXPECT_EQ(result.diagnostic, "");
    }
}

TEST(Engine, MapsTheLettersOfAContractionToItsCell)
{
    const EngineResult result = forward(UEB_GRADE_2, codePoints(U"over the dog"));

    EXPECT_EQ(result.output, codePoints(U"⠕⠧⠻⠀⠮⠀⠙⠕⠛"));
    EXPECT_EQ(result.positions, (std::vector<int32_t>{0, 1, 2, 2, 3, 4, 4, 4, 5, 6, 7, 8, 9}));
}

TEST(Engine, MapsTheCellsOfAWordToItsLetters)
{
    const EngineResult result = back(UEB_GRADE_2, codePoints(U"⠮⠀⠙"));

    EXPECT_EQ(result.output, codePoints(U"the do"));
    EXPECT_EQ(result.positions, (std::vector<int32_t>{0, 3, 4, 6}));
}

TEST(Engine, PutsTheEndOfTheMapAtTheNumberOfCells)
{
    const EngineResult result = forward(UEB_GRADE_2, codePoints(U"The quick brown fox"));

    EXPECT_EQ(result.positions.size(), 20U);
    EXPECT_EQ(static_cast<std::size_t>(result.positions.back()), result.output.size());
}

TEST(Engine, MapsACellThatLeavesNoTraceToTheStart)
{
    const EngineResult result = back(UEB_GRADE_2, codePoints(U"⠼"));

    EXPECT_TRUE(result.output.empty());
    EXPECT_EQ(result.positions, (std::vector<int32_t>{0, 0}));
}

TEST(Engine, NeverGoesBackInAMap)
{
    // The engine's own positions for this text are 1 1 2 3 2.
    const EngineResult result = back("el.ctb", codePoints(U"⠠⠡⠧⠾⠳"));

    EXPECT_EQ(result.positions, (std::vector<int32_t>{1, 1, 2, 3, 3, 4}));
}

TEST(Engine, MakesWellFormedMapsOfAnyText)
{
    std::mt19937 random(20240229);
    for (const char* table : {UEB_GRADE_1, UEB_GRADE_2, COMPUTER, "de-de-comp8.ctb"}) {
        for (int round = 0; round < 1000; ++round) {
            const CodePoints text = randomText(random);
            for (const EngineResult& result : {forward(table, text), back(table, text)}) {
                ASSERT_EQ(mapFaults(result.positions, text.size(), result.output.size()), "");
                ASSERT_EQ(result.complete, result.consumed == text.size());
            }
        }
    }
}

TEST(Engine, WritesOnlyBraillePatterns)
{
    std::mt19937 random(1829);
    for (int round = 0; round < 1000; ++round) {
        for (const uint32_t cell : forward(UEB_GRADE_2, randomText(random)).output)
            ASSERT_EQ(cell & ~0xFFU, 0x2800U);
    }
}

TEST(Engine, TakesWhatIsNoCharacterAsTheReplacementCharacter)
{
    for (const uint32_t value :
         {0x0U, 0xD800U, 0xDBFFU, 0xDC00U, 0xDFFFU, 0x110000U, 0x80000000U, 0xFFFFFFFFU}) {
        const CodePoints text{'a', value, 'b'};
        const CodePoints replaced{'a', 0xFFFD, 'b'};
        for (const auto direction : {forward, back}) {
            const EngineResult result = direction(UEB_GRADE_2, text);
            EXPECT_EQ(result.output, direction(UEB_GRADE_2, replaced).output) << value;
            EXPECT_EQ(result.consumed, 3U) << value;
            EXPECT_EQ(result.diagnostic, "values that are no characters, taken as U+FFFD: 1");
        }
    }
}

TEST(Engine, TakesTheValuesAroundThoseAsTheyAre)
{
    for (const uint32_t value :
         {0x1U, 0xD7FFU, 0xE000U, 0xFFFEU, 0xFFFFU, 0x10000U, 0x1F600U, 0x10FFFFU}) {
        const EngineResult result = forward(UEB_GRADE_2, {'a', value, 'b'});
        EXPECT_EQ(result.consumed, 3U) << value;
        EXPECT_NE(result.output, forward(UEB_GRADE_2, {'a', 0xFFFD, 'b'}).output) << value;
        EXPECT_EQ(result.diagnostic, "") << value;
    }
}

TEST(Engine, GivesBrailleTheRoomThatItTakes)
{
    constexpr std::size_t LENGTH = 2000;
    const CodePoints one = forward(COMPUTER, {0x10FFFF}).output;

    const EngineResult many = forward(COMPUTER, CodePoints(LENGTH, 0x10FFFF));

    ASSERT_GT(one.size(), 8U) << "the text is to be longer than its first room";
    EXPECT_EQ(many.output.size(), LENGTH * one.size());
    EXPECT_EQ(CodePoints(many.output.end() - static_cast<int>(one.size()), many.output.end()), one);
    EXPECT_EQ(mapFaults(many.positions, LENGTH, many.output.size()), "");
}

TEST(Engine, GivesPrintTheRoomThatItTakes)
{
    constexpr std::size_t LENGTH = 5000;
    const CodePoints one = back(UEB_GRADE_2, {0x28FF}).output;

    const EngineResult many = back(UEB_GRADE_2, CodePoints(LENGTH, 0x28FF));

    ASSERT_GT(one.size(), 8U) << "the text is to be longer than its first room";
    EXPECT_EQ(many.output.size(), LENGTH * one.size());
    EXPECT_EQ(mapFaults(many.positions, LENGTH, many.output.size()), "");
}

TEST(Engine, TranslatesTheLongestText)
{
    const EngineResult result = forward(COMPUTER, CodePoints(LONGEST_TEXT, 'a'));

    EXPECT_TRUE(result.complete);
    EXPECT_EQ(result.output, CodePoints(LONGEST_TEXT, 0x2801));
}

TEST(Engine, RefusesATranslationThatWouldNotFitIntoAReply)
{
    const CodePoints text(Engine::LONGEST_OUTPUT / 10, 0x10FFFF);

    EXPECT_THROW(forward(COMPUTER, text), Engine::TooLong);
    EXPECT_EQ(forward(COMPUTER, {'a'}).output, CodePoints{0x2801});
}

TEST(Engine, SaysWhichTableItCannotUseAndWhy)
{
    Engine engine;
    const std::vector<std::function<void()>> uses{
        [&engine] { engine.forward("/nowhere/at-all.ctb", {'a'}); },
        [&engine] { engine.back("/nowhere/at-all.ctb", {'a'}); },
        [&engine] { engine.load("/nowhere/at-all.ctb"); },
    };
    for (const auto& use : uses) {
        engine_log::takeErrors();
        try {
            use();
            ADD_FAILURE() << "there is no such table";
        } catch (const Engine::Failure& error) {
            const std::string text = error.what();
            EXPECT_THAT(
                text, testing::StartsWith("the engine cannot use the table /nowhere/at-all.ctb: "));
            EXPECT_THAT(engine_log::takeErrors(),
                        testing::Contains(text.substr(text.find(": ") + 2)));
        }
    }
    EXPECT_EQ(engine.forward(tableOf(COMPUTER), {'a'}).output, CodePoints{0x2801})
        << "it stays usable";
}

TEST(Engine, ReadsATableAhead)
{
    Engine engine;
    engine.load(tableOf(COMPUTER));
    EXPECT_EQ(engine.forward(tableOf(COMPUTER), {'a'}).output, CodePoints{0x2801});
}

TEST(Engine, TranslatesAfterItHasGivenItsMemoryBack)
{
    Engine engine;
    const CodePoints before = engine.forward(tableOf(UEB_GRADE_2), codePoints(U"knowledge")).output;
    engine.giveMemoryBack();
    EXPECT_EQ(engine.forward(tableOf(UEB_GRADE_2), codePoints(U"knowledge")).output, before);
}

TEST(Engine, GivesBackWhatALongTextHasTaken)
{
    Engine engine;
    engine.forward(tableOf(COMPUTER), {'a'});
    const std::size_t before = residentKilobytesOf(getpid());
    engine.forward(tableOf(COMPUTER), CodePoints(LONGEST_TEXT, 'a'));
    engine.giveMemoryBack();
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(residentKilobytesOf(getpid()), before + 8192);
    }
}

TEST(Engine, WritesItsOwnMessagesToTheLogOnly)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();

    EXPECT_THROW(Engine().back("/nowhere/at-all.ctb", {'a'}), Engine::Failure);

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_THAT(engine_log::takeErrors(),
                testing::Contains(testing::HasSubstr("/nowhere/at-all.ctb")));
    EXPECT_THAT(engine_log::takeErrors(), testing::IsEmpty()) << "they are taken once";
}

/** Many texts with all tables, through library, bus, service and engine. */
#include "service/MapAudit.h"
#include "support/BusMonitor.h"
#include "support/Figures.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/RandomText.h"
#include "support/Sanitizers.h"
#include "support/ServiceProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <service/Catalogue.h>
#include <service/Worker.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <liblouis.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using testing::IsEmpty;

namespace {

constexpr const char* ENGINE = TEST_BUILD_FOLDER "/service/brailletranslate-engine";

const Catalogue& catalogue()
{
    static const Catalogue installed(
        askEngine(ENGINE, {EngineRequest::Kind::DESCRIBE_TABLES, {}, {}}, 20s).answer.translators);
    return installed;
}

std::wstring wide(const std::vector<uint32_t>& codePoints)
{
    return {codePoints.begin(), codePoints.end()};
}

std::string faultsOf(const BrlTranslationResult& result)
{
    return mapFaults(result.getPosMap(), result.getUntranslatedW().size(),
                     result.getTranslatedW().size());
}

std::shared_ptr<BrlTranslationResult> translate(TranslatorProxy& translator, bool isForward,
                                                const std::wstring& text, int cursor)
{
    return isForward ? translator.forwardW(text, cursor) : translator.backW(text, cursor);
}

/** What liblouis 3.24 never finishes. */
struct HungBefore
{
    const char* what;
    const char* table;
    std::wstring text;
};

const std::vector<HungBefore> HUNG_BEFORE{
    {"an at sign behind a hyphen", "de-g2.ctb", L"E-Mail: -@home"},
    {"an at sign behind a question mark", "de-g2.ctb", L"Wirklich ?@anna"},
    {"colons behind an escape character", "en-us-g2.ctb", L"a\u001b:::"},
};

/** Where the known translations come from; with other versions, tables may say something else. */
constexpr const char* VERSION_OF_KNOWN_CASES = "3.24.0";

/** One line of a file of known translations. */
struct BrailleCase
{
    bool isForward = false;
    std::string table;
    int cursor = 0;
    std::wstring input;
    std::wstring expected;
    std::string origin;
};

std::wstring readCodePoints(const std::string& field)
{
    std::wstring text;
    std::istringstream numbers(field);
    for (unsigned long number = 0; numbers >> number;)
        text += static_cast<wchar_t>(number);
    return text;
}

std::vector<BrailleCase> readCases(const std::string& file)
{
    std::vector<BrailleCase> cases;
    std::ifstream lines(file);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#')
            continue;
        std::istringstream fields(line);
        std::string direction;
        std::string cursor;
        std::string input;
        std::string expected;
        BrailleCase next;
        std::getline(fields, direction, '\t');
        std::getline(fields, next.table, '\t');
        std::getline(fields, cursor, '\t');
        std::getline(fields, input, '\t');
        std::getline(fields, expected, '\t');
        std::getline(fields, next.origin, '\t');
        next.isForward = direction == "forward";
        next.cursor = std::stoi(cursor);
        next.input = readCodePoints(input);
        next.expected = readCodePoints(expected);
        cases.push_back(next);
    }
    return cases;
}

/** Which position of the text each cell comes from, as the engine itself says it. */
std::vector<int> enginesInputPositions(const std::string& table, const std::wstring& text)
{
    lou_registerLogCallback([](logLevels, const char*) {});
    std::vector<widechar> input(text.begin(), text.end());
    std::vector<widechar> output(8 * input.size() + 1024);
    std::vector<int> outputPositions(input.size());
    std::vector<int> inputPositions(output.size());
    int inputLength = static_cast<int>(input.size());
    int outputLength = static_cast<int>(output.size());
    lou_translate(table.c_str(), input.data(), &inputLength, output.data(), &outputLength, nullptr,
                  nullptr, outputPositions.data(), inputPositions.data(), nullptr, dotsIO | ucBrl);
    inputPositions.resize(static_cast<std::size_t>(outputLength));
    return inputPositions;
}

/** The position that each cell is routed to. */
std::vector<int> routedPositions(BrlTranslationResult& result)
{
    std::vector<int> positions;
    for (int cell = 0; cell < static_cast<int>(result.getTranslatedW().size()); ++cell)
        positions.push_back(result.getOriginalPositionW(cell));
    return positions;
}

std::string nameOf(const BrailleCase& braille)
{
    return braille.origin + (braille.isForward ? " forward" : " back");
}

/** Where we do not do what the known translations or the engine's own positions say. */
const std::map<std::string, const char*> EXCEPTIONS{
    {"zh-tw.yaml:24 back", "a blank cell stands for a tab, too; the table reads it as a space"},
    {"zh-tw.yaml:28 back", "and for a no-break space"},
    {"el-forward.yaml:260 forward", "the engine gives the first two cells to the second letter, "
                                    "and the first letter the same place; the leftmost wins"},
    {"el-forward.yaml:264 forward", "the same"},
    {"el-forward.yaml:268 forward", "the same"},
};

/** What is wrong with a translation by any table; empty if nothing is. */
std::string faultWithAnyTables(const BrailleCase& braille, const BrlTranslationResult& result)
{
    std::string fault = faultsOf(result);
    if (fault.empty() && result.getUntranslatedW() != braille.input)
        return "the text has changed on its way";
    return fault;
}

/** What is wrong with the translation of a known text; empty if nothing is. */
std::string faultOf(const BrailleCase& braille, BrlTranslationResult& result)
{
    std::string fault = faultWithAnyTables(braille, result);
    if (!fault.empty())
        return fault;
    if (result.getTranslatedW() != braille.expected)
        return "the translation is another";
    const std::string& table = catalogue().find(braille.table)->table;
    if (braille.isForward && routedPositions(result) != enginesInputPositions(table, braille.input))
        return "cells are routed elsewhere than the engine says";
    return {};
}

} // namespace

class TheServiceWithAllTables : public testing::Test
{
protected:
    explicit TheServiceWithAllTables(const std::string& engineLines = ServiceProcess::LONG_DEADLINE)
        : service({}, engineLines)
    {
    }

    TranslatorProxy translator(const std::string& id)
    {
        return {0, "", true, id, translation.getServiceProxy()};
    }

    std::shared_ptr<BrlTranslationResult> translated(const BrailleCase& braille)
    {
        TranslatorProxy handle = translator(braille.table);
        return translate(handle, braille.isForward, braille.input, braille.cursor);
    }

    void expectTheKnown(const std::vector<BrailleCase>& cases)
    {
        for (const BrailleCase& braille : cases) {
            const std::string fault = faultOf(braille, *translated(braille));
            const std::string name = nameOf(braille);
            if (EXCEPTIONS.count(name) == 0)
                EXPECT_EQ(fault, "") << name;
            else
                EXPECT_NE(fault, "") << name << " is no exception any more";
        }
    }

    /** With another version of liblouis, some tables are others, and some are not there. */
    void expectMostOfTheKnown(const std::vector<BrailleCase>& cases)
    {
        std::size_t count = 0;
        std::size_t equal = 0;
        for (const BrailleCase& braille : cases) {
            if (catalogue().find(braille.table) == nullptr)
                continue;
            const auto result = translated(braille);
            EXPECT_EQ(faultWithAnyTables(braille, *result), "") << nameOf(braille);
            equal += result->getTranslatedW() == braille.expected ? 1 : 0;
            ++count;
        }
        EXPECT_GT(count, cases.size() / 2);
        EXPECT_GT(equal, count * 9 / 10);
        report(std::string("translations with liblouis ") + lou_version() + " as with " +
                   VERSION_OF_KNOWN_CASES,
               std::to_string(equal) + " of " + std::to_string(count));
    }

    PrivateBus bus;
    LogCapture log;
    ServiceProcess service;
    Translation translation;
};

/** Short texts have half a second, so that those that never end do not take long. */
class ATextThatHasHungLiblouis : public TheServiceWithAllTables
{
protected:
    ATextThatHasHungLiblouis()
        : TheServiceWithAllTables("deadline-ms = 500\ndeadline-us-per-character = 10000")
    {
    }
};

TEST_F(TheServiceWithAllTables, TranslatesWhatIsKnownOfThem)
{
    const char* const file = std::getenv("BRAILLE_CASES");
    if (file == nullptr)
        GTEST_SKIP() << "BRAILLE_CASES names no file of known translations";
    const std::vector<BrailleCase> cases = readCases(file);
    ASSERT_GT(cases.size(), 1000U);
    if (lou_version() == std::string(VERSION_OF_KNOWN_CASES))
        expectTheKnown(cases);
    else
        expectMostOfTheKnown(cases);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ATextThatHasHungLiblouis, IsTranslatedOrGivenUpAndTheNextIsTranslated)
{
    constexpr int OFTEN = 500; // so that it has 20 s
    std::wstring next;
    std::wstring braille;
    for (int count = 0; count < OFTEN; ++count) {
        next += L"and ";
        braille += L"\u282f\u2800";
    }
    for (const auto& [what, table, text] : HUNG_BEFORE) {
        log.clear();
        const std::wstring given = translator(table).forwardW(text)->getTranslatedW();
        const bool isTranslated = log.records().empty();
        EXPECT_EQ(given.empty(), !isTranslated);
        if (!isTranslated) {
            ASSERT_THAT(log.records(), testing::SizeIs(1));
            EXPECT_THAT(log.records()[0].message, testing::HasSubstr("Error.Timeout]"));
        }
        EXPECT_EQ(translator("en-ueb-g2.ctb").forwardW(next)->getTranslatedW(), braille);
        report(std::string(what) + " with " + table + " of liblouis " + lou_version(),
               isTranslated ? "is translated" : "is given up");
    }
}

TEST_F(TheServiceWithAllTables, AnswersAnyTextWithAWellFormedReplyOrANamedError)
{
    std::mt19937 random(1824);
    int failures = 0;
    const auto& translators = catalogue().translators();
    for (std::size_t count = 0; count < 10000; ++count) {
        TranslatorProxy handle = translator(translators[count % translators.size()].id);
        const std::wstring text = wide(randomText(random));
        log.clear();
        const auto result = translate(handle, random() % 2 == 0, text, static_cast<int>(random()));
        if (log.records().empty()) {
            ASSERT_EQ(faultsOf(*result), "") << handle.getID();
            ASSERT_EQ(result->getUntranslatedW(), text);
            continue;
        }
        ++failures;
        const std::string& message = log.records()[0].message;
        ASSERT_THAT(message, testing::AnyOf(testing::HasSubstr("Error.Timeout]"),
                                            testing::HasSubstr("Error.EngineFailed]")));
    }
    EXPECT_LE(failures, 100) << "none was seen when this was written";
    log.clear();
    TranslatorProxy handle = translator("en-ueb-g2.ctb");
    EXPECT_EQ(handle.forwardW(L"and")->getTranslatedW(), L"\u282f") << "it is still there";
}

TEST_F(TheServiceWithAllTables, GivesBackWhatLongTextsHaveTaken)
{
    TranslatorProxy handle = translator("en-gb-comp8.ctb");
    for (int round = 0; round < 3; ++round)
        EXPECT_EQ(handle.forwardW(std::wstring(1000000, L'a'))->getTranslatedW().size(), 1000000U);
    handle.forwardW(L"a");
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(service.residentKilobytes(), 12000U);
    }
}

/** Two services: one with complete maps, one that leaves most of them to the library. */
class LazyMaps : public testing::Test
{
protected:
    PrivateBus completeBus;
    ServiceProcess completeService;
    Translation complete;
    PrivateBus lazyBus;
    ServiceProcess lazyService{{"--lazy-map"}};
    BusMonitor monitor{lazyBus.address()};
    Translation lazy;
    LogCapture log;

    /** Maps every position of the text, with one call for each that is unknown. */
    void expectTheSame(const std::string& id, bool isForward, const std::wstring& text, int cursor)
    {
        TranslatorProxy completeHandle(0, "", true, id, complete.getServiceProxy());
        TranslatorProxy lazyHandle(0, "", true, id, lazy.getServiceProxy());
        const auto whole = translate(completeHandle, isForward, text, cursor);
        const auto filled = translate(lazyHandle, isForward, text, cursor);
        const std::vector<bool> known = filled->getPosMapComputed();
        const auto unknown =
            static_cast<std::size_t>(std::count(known.begin(), known.end(), false));
        for (int position = 0; position <= static_cast<int>(text.size()); ++position)
            filled->getTranslatedPositionW(position);
        EXPECT_EQ(filled->getPosMap(), whole->getPosMap()) << id;
        EXPECT_EQ(filled->getPosMapComputed(), whole->getPosMapComputed()) << id;
        EXPECT_EQ(routedPositions(*filled), routedPositions(*whole)) << id;
        lazy.getComputerBrailleTranslator();
        EXPECT_EQ(
            monitor.countUntil(isForward ? "forwardW" : "backW", "getComputerBrailleTranslator"),
            1 + unknown)
            << id;
        EXPECT_GE(unknown + 3, known.size()) << "most is left to fill";
    }
};

TEST_F(LazyMaps, FillToWhatCompleteOnesAre)
{
    std::mt19937 random(1809);
    const std::vector<std::wstring> texts{L"", L"a", L"The knowledge of reading, 1824!",
                                          L"Caf\u00e9 \U0001f600 e\u0301 12 \u2820\u282e"};
    const auto cursorIn = [&random](const std::wstring& text) {
        return static_cast<int>(random() % (text.size() + 2)) - 1;
    };
    for (const Translator& translator : catalogue().translators()) {
        for (const std::wstring& text : texts)
            expectTheSame(translator.id, true, text, cursorIn(text));
        expectTheSame(translator.id, false, L"\u2820\u2813\u2811\u2807\u2807\u2815", 2);
        for (const bool isForward : {true, false}) {
            const std::wstring text = wide(randomText(random));
            expectTheSame(translator.id, isForward, text, cursorIn(text));
        }
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

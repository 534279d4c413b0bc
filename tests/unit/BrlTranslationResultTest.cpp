#include <libBrailleTranslate/BrlTranslationResult.h>

#include <boost/locale/encoding_utf.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

// On every processor, whether its wchar_t has a sign or not.
static_assert(sizeof(wchar_t) == sizeof(uint32_t), "a wide element holds any code point");

namespace {

constexpr auto FORWARD = BrlTranslationResult::FORWARD;
constexpr auto BACK = BrlTranslationResult::BACK;

/** Only ever compared, never looked into. */
TranslatorProxy* someTranslator()
{
    static int place = 0;
    return reinterpret_cast<TranslatorProxy*>(&place);
}

BrlTranslationResult narrow(const std::string& source, const std::string& translation)
{
    return {nullptr, FORWARD, source, translation};
}

BrlTranslationResult wide(const std::wstring& source, const std::wstring& translation)
{
    return {nullptr, FORWARD, source, translation};
}

void expectDefaultMap(const BrlTranslationResult& result, const std::vector<int>& map,
                      const std::vector<bool>& known)
{
    EXPECT_EQ(result.getPosMap(), map);
    EXPECT_EQ(result.getPosMapComputed(), known);
}

} // namespace

TEST(ABrlTranslationResult, IsForwardForTheForwardDirectionOnly)
{
    for (const int direction : {1, 2, -1, INT_MIN, INT_MAX}) {
        const auto other = static_cast<BrlTranslationResult::Direction>(direction);
        EXPECT_FALSE(BrlTranslationResult(nullptr, other, "a", "b").getIsForward()) << direction;
        EXPECT_FALSE(BrlTranslationResult(nullptr, other, L"a", L"b").getIsForward()) << direction;
    }
    EXPECT_TRUE(BrlTranslationResult(nullptr, FORWARD, "a", "b").getIsForward());
    EXPECT_TRUE(BrlTranslationResult(nullptr, FORWARD, L"a", L"b").getIsForward());
}

TEST(ABrlTranslationResult, KeepsDirectionTranslatorAndOffsetInEveryConstructor)
{
    TranslatorProxy* const maker = someTranslator();
    const std::vector<int> map{0, 1};
    const std::vector<BrlTranslationResult> results{
        {maker, BACK, "a", "b"},         {maker, BACK, "a", "b", map},
        {maker, BACK, "a", "b", 1, 2},   {maker, BACK, L"a", L"b"},
        {maker, BACK, L"a", L"b", map},  {maker, BACK, L"a", L"b", map, {true, true}},
        {maker, BACK, L"a", L"b", 1, 2},
    };
    for (const auto& result : results) {
        EXPECT_FALSE(result.getIsForward());
        EXPECT_EQ(result.getTranslator(), maker);
        EXPECT_EQ(result.getLeftOffset(), 0);
    }
}

TEST(ABrlTranslationResult, OfNarrowTextsHasNoWideTexts)
{
    const std::vector<BrlTranslationResult> results{{nullptr, FORWARD, "ab", "xyz"},
                                                    {nullptr, FORWARD, "ab", "xyz", {0, 1, 3}},
                                                    {nullptr, FORWARD, "ab", "xyz", 1, 2}};
    for (const auto& result : results) {
        EXPECT_EQ(result.getUntranslated(), "ab");
        EXPECT_EQ(result.getTranslated(), "xyz");
        EXPECT_EQ(result.getUntranslatedW(), L"");
        EXPECT_EQ(result.getTranslatedW(), L"");
    }
}

TEST(ABrlTranslationResult, OfWideTextsHasNoNarrowTexts)
{
    const std::vector<BrlTranslationResult> results{
        {nullptr, FORWARD, L"ab", L"xyz"},
        {nullptr, FORWARD, L"ab", L"xyz", {0, 1, 3}},
        {nullptr, FORWARD, L"ab", L"xyz", {0, 1, 3}, {true, true, true}},
        {nullptr, FORWARD, L"ab", L"xyz", 1, 2}};
    for (const auto& result : results) {
        EXPECT_EQ(result.getUntranslatedW(), L"ab");
        EXPECT_EQ(result.getTranslatedW(), L"xyz");
        EXPECT_EQ(result.getUntranslated(), "");
        EXPECT_EQ(result.getTranslated(), "");
    }
}

TEST(ABrlTranslationResult, KeepsTextsWithNulAndWithValuesThatAreNoCodePoints)
{
    const std::string bytes("a\0\xff", 3);
    EXPECT_EQ(narrow(bytes, bytes).getUntranslated(), bytes);
    const std::wstring values{L'a', L'\0', static_cast<wchar_t>(0xd800),
                              static_cast<wchar_t>(0x7fffffff)};
    EXPECT_EQ(wide(values, values).getTranslatedW(), values);
}

TEST(ABrlTranslationResult, KnowsTheFirstPositionAndTheEndByDefault)
{
    expectDefaultMap(narrow("ab", "xyz"), {0, 0, 3}, {true, false, true});
    expectDefaultMap(wide(L"ab", L"xyz"), {0, 0, 3}, {true, false, true});
    expectDefaultMap(wide(L"abcd", L"x"), {0, 0, 0, 0, 1}, {true, false, false, false, true});
    expectDefaultMap(wide(L"a", L""), {0, 0}, {true, true});
}

TEST(ABrlTranslationResult, LeavesTheFirstEntryOfAnEmptySourceTextUnmarked)
{
    expectDefaultMap(narrow("", "wxyz"), {0, 4}, {false, true});
    expectDefaultMap(wide(L"", L"wxyz"), {0, 4}, {false, true});
    expectDefaultMap(narrow("", ""), {0, 0}, {false, true});
    expectDefaultMap(wide(L"", L""), {0, 0}, {false, true});
}

TEST(ABrlTranslationResult, CountsCodePointsOfUtf8NotBytes)
{
    expectDefaultMap(narrow("\u00e9", "\u2811\U0001f600"), {0, 2}, {true, true});
    expectDefaultMap(narrow("a\u0301", ""), {0, 0, 0}, {true, false, true});
}

TEST(ABrlTranslationResult, SkipsMalformedUtf8WhenItCounts)
{
    expectDefaultMap(narrow("a\xff", "\xff\xff"), {0, 0}, {true, true});
    expectDefaultMap(narrow("\xff", "b"), {0, 1}, {false, true});
    expectDefaultMap(narrow("a\U0010ffff", "\U0010ffff"), {0, 0, 1}, {true, false, true});
    // The byte that breaks a sequence goes with it, a sequence cut off ends the text.
    expectDefaultMap(narrow("", "\xe2\x41\x42"), {0, 1}, {false, true});
    expectDefaultMap(narrow("", "ab\xe2\x82"), {0, 2}, {false, true});
    // An overlong form, a surrogate, a value beyond the last code point.
    expectDefaultMap(narrow("", "\xc0\x80"), {0, 0}, {false, true});
    expectDefaultMap(narrow("", "\xed\xa0\x80"), {0, 0}, {false, true});
    expectDefaultMap(narrow("", "\xf4\x90\x80\x80"), {0, 0}, {false, true});
}

TEST(ABrlTranslationResult, CountsWideElementsWhateverTheyHold)
{
    const std::wstring values{static_cast<wchar_t>(0xd800), static_cast<wchar_t>(0x110000)};
    expectDefaultMap(wide(values, values), {0, 0, 2}, {true, false, true});
}

TEST(ABrlTranslationResult, CountsRandomBytesAsBoostLocaleConvertsThem)
{
    std::mt19937 random(20261121);
    // Bytes that start, continue and break sequences are far more frequent than in random text.
    const std::string bytes = "aZ\x7f\x80\x8f\x90\x9f\xa0\xbf\xc0\xc1\xc2\xc3\xdf\xe0\xe2\xed\xef"
                              "\xf0\xf1\xf4\xf5\xff";
    std::uniform_int_distribution<std::size_t> pick(0, bytes.size() - 1);
    std::uniform_int_distribution<std::size_t> length(0, 24);
    for (int round = 0; round < 50000; ++round) {
        std::string text;
        for (std::size_t left = length(random); left > 0; --left)
            text += bytes[pick(random)];
        const auto converted =
            boost::locale::conv::utf_to_utf<wchar_t>(text, boost::locale::conv::skip);
        const BrlTranslationResult result = narrow(text, text);
        ASSERT_EQ(result.getPosMap().back(), static_cast<int>(converted.size()));
        ASSERT_EQ(result.getPosMap().size(), std::max<std::size_t>(converted.size(), 1) + 1);
    }
}

TEST(ABrlTranslationResult, TakesAGivenMapAsKnownThroughout)
{
    for (const auto& result : {BrlTranslationResult(nullptr, FORWARD, "ab", "vwxyz", {0, 2, 5}),
                               BrlTranslationResult(nullptr, FORWARD, L"ab", L"vwxyz", {0, 2, 5})})
        expectDefaultMap(result, {0, 2, 5}, {true, true, true});
}

TEST(ABrlTranslationResult, TakesAGivenMapOfAnyLengthAndValues)
{
    const std::vector<int> map{INT_MIN, -1, INT_MAX, 7};
    expectDefaultMap({nullptr, FORWARD, "a", "b", map}, map, {true, true, true, true});
    expectDefaultMap({nullptr, FORWARD, L"a", L"b", map}, map, {true, true, true, true});
}

TEST(ABrlTranslationResult, KeepsTheDefaultMapWhenTheGivenOneIsEmpty)
{
    const std::vector<int> none;
    expectDefaultMap({nullptr, FORWARD, "ab", "xyz", none}, {0, 0, 3}, {true, false, true});
    expectDefaultMap({nullptr, FORWARD, L"ab", L"xyz", none}, {0, 0, 3}, {true, false, true});
    expectDefaultMap({nullptr, FORWARD, L"ab", L"xyz", none, {false, true, false, true}}, {0, 0, 3},
                     {true, false, true});
}

TEST(ABrlTranslationResult, TakesGivenFlagsAsTheyStand)
{
    const std::vector<int> map{0, 2, 5};
    for (const std::vector<bool>& flags :
         {std::vector<bool>{}, {false, true}, {true, false, true}, {true, true, true, false}})
        expectDefaultMap({nullptr, FORWARD, L"ab", L"vwxyz", map, flags}, map, flags);
}

TEST(ABrlTranslationResult, PinsOneMorePosition)
{
    expectDefaultMap({nullptr, FORWARD, "abc", "wxyz", 1, 2}, {0, 2, 0, 4},
                     {true, true, false, true});
    expectDefaultMap({nullptr, FORWARD, L"abc", L"wxyz", 1, 2}, {0, 2, 0, 4},
                     {true, true, false, true});
    expectDefaultMap({nullptr, FORWARD, L"abc", L"wxyz", 2, 1}, {0, 0, 1, 4},
                     {true, false, true, true});
}

TEST(ABrlTranslationResult, PinsTheFirstPosition)
{
    expectDefaultMap({nullptr, FORWARD, "ab", "wxyz", 0, 2}, {2, 0, 4}, {true, false, true});
    expectDefaultMap({nullptr, FORWARD, L"ab", L"wxyz", 0, 2}, {2, 0, 4}, {true, false, true});
}

TEST(ABrlTranslationResult, PinsTheFirstPositionOfAnEmptyText)
{
    expectDefaultMap({nullptr, FORWARD, "", "wxyz", 0, 2}, {2, 4}, {true, true});
    expectDefaultMap({nullptr, FORWARD, L"", L"wxyz", 3, 2}, {2, 4}, {true, true});
}

TEST(ABrlTranslationResult, PinsTheEndForAPositionBeyondIt)
{
    for (const int beyond : {3, 10, INT_MAX}) {
        expectDefaultMap({nullptr, FORWARD, "abc", "x", beyond, 7}, {0, 0, 0, 7},
                         {true, false, false, true});
        expectDefaultMap({nullptr, FORWARD, L"abc", L"x", beyond, 7}, {0, 0, 0, 7},
                         {true, false, false, true});
    }
}

TEST(ABrlTranslationResult, PinsTheEndForANegativePositionOfANarrowText)
{
    for (const int negative : {-1, INT_MIN})
        expectDefaultMap({nullptr, FORWARD, "abc", "x", negative, 7}, {0, 0, 0, 7},
                         {true, false, false, true});
}

TEST(ABrlTranslationResult, PinsNothingForANegativePositionOfAWideText)
{
    for (const int negative : {-1, -2, INT_MIN})
        expectDefaultMap({nullptr, FORWARD, L"abc", L"x", negative, 7}, {0, 0, 0, 1},
                         {true, false, false, true});
}

TEST(ABrlTranslationResult, PinsNoTranslatedPositionBelowOne)
{
    for (const int translated : {0, -1, INT_MIN}) {
        expectDefaultMap({nullptr, FORWARD, "abc", "x", 1, translated}, {0, 0, 0, 1},
                         {true, false, false, true});
        expectDefaultMap({nullptr, FORWARD, L"abc", L"x", 1, translated}, {0, 0, 0, 1},
                         {true, false, false, true});
    }
}

TEST(ABrlTranslationResult, ClampsAPinnedPositionInCodePointsNotBytes)
{
    expectDefaultMap({nullptr, FORWARD, "\u00e9\u00e9", "x", 3, 7}, {0, 0, 7}, {true, false, true});
}

TEST(ABrlTranslationResult, PinsTheOnlyPositionOfAnEmptyTextWhateverIsKnown)
{
    for (const int position : {-1, 0, 1, 10}) {
        SCOPED_TRACE(position);
        expectDefaultMap({nullptr, FORWARD, "", "xyz", position, 7}, {7, 3}, {true, true});
        expectDefaultMap({nullptr, FORWARD, "\xff", "xyz", position, 7}, {7, 3}, {true, true});
    }
}

TEST(ABrlTranslationResult, ReplacesItsTranslatorAndNothingElse)
{
    BrlTranslationResult result(someTranslator(), BACK, L"ab", L"xyz");
    const std::string before = result.toString();
    result.setTranslator(nullptr);
    EXPECT_EQ(result.getTranslator(), nullptr);
    EXPECT_EQ(result.toString(), before);
    result.setTranslator(someTranslator());
    EXPECT_EQ(result.getTranslator(), someTranslator());
}

TEST(ABrlTranslationResult, LendsItsMapWithoutCopyingIt)
{
    const BrlTranslationResult result = wide(L"ab", L"xyz");
    EXPECT_EQ(&result.getPosMap(), &result.getPosMap());
    EXPECT_EQ(&result.getPosMapComputed(), &result.getPosMapComputed());
}

TEST(ABrlTranslationResult, IsACopyableValueThatSharesNothing)
{
    BrlTranslationResult original(someTranslator(), FORWARD, L"ab", L"xyz");
    const BrlTranslationResult copy = original;
    original.addLeftOffset();
    original.setTranslator(nullptr);
    EXPECT_EQ(copy.getLeftOffset(), 0);
    EXPECT_EQ(copy.getTranslator(), someTranslator());
    EXPECT_EQ(copy.getUntranslatedW(), L"ab");
    expectDefaultMap(copy, {0, 0, 3}, {true, false, true});
}

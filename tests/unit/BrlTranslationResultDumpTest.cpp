#include <libBrailleTranslate/BrlTranslationResult.h>

#include "ResultWithoutAMap.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

constexpr auto FORWARD = BrlTranslationResult::FORWARD;
constexpr auto BACK = BrlTranslationResult::BACK;

} // namespace

TEST(TheDump, OfANarrowResultHasFiveLines)
{
    BrlTranslationResult result(nullptr, FORWARD, "ab", "xyz");
    EXPECT_EQ(result.toString(), "isForward: 1\n"
                                 " Untranslated: ab\n"
                                 " Translated: xyz\n"
                                 " PosMap: posMap [0 0 3 ]\n"
                                 " PosMapComputed: PosMapComputed [1 0 1 ]");
}

TEST(TheDump, OfAWideResultNamesItsWideTexts)
{
    BrlTranslationResult result(nullptr, BACK, L"ab", L"xyz");
    EXPECT_EQ(result.toString(), "isForward: 0\n"
                                 " UntranslatedW: ab\n"
                                 " TranslatedW: xyz\n"
                                 " PosMap: posMap [0 0 3 ]\n"
                                 " PosMapComputed: PosMapComputed [1 0 1 ]");
}

TEST(TheDump, WritesEntriesInSignedDecimal)
{
    BrlTranslationResult result(nullptr, FORWARD, L"", L"", {-1, INT_MIN, INT_MAX, 10});
    EXPECT_EQ(result.toString(), "isForward: 1\n"
                                 " UntranslatedW: \n"
                                 " TranslatedW: \n"
                                 " PosMap: posMap [-1 -2147483648 2147483647 10 ]\n"
                                 " PosMapComputed: PosMapComputed [1 1 1 1 ]");
}

TEST(TheDump, WritesMapAndFlagsWithTheirOwnLengths)
{
    BrlTranslationResult fewer(nullptr, FORWARD, L"a", L"b", {0, 1, 2}, {true});
    EXPECT_EQ(fewer.toString(), "isForward: 1\n"
                                " UntranslatedW: a\n"
                                " TranslatedW: b\n"
                                " PosMap: posMap [0 1 2 ]\n"
                                " PosMapComputed: PosMapComputed [1 ]");
    BrlTranslationResult none(nullptr, FORWARD, L"a", L"b", std::vector<int>{0},
                              std::vector<bool>{});
    EXPECT_EQ(none.toString(), "isForward: 1\n"
                               " UntranslatedW: a\n"
                               " TranslatedW: b\n"
                               " PosMap: posMap [0 ]\n"
                               " PosMapComputed: PosMapComputed []");
}

TEST(TheDump, WritesAnEmptyMapWithoutABlank)
{
    EXPECT_EQ(resultWithoutAMap().toString(), "isForward: 1\n"
                                              " UntranslatedW: \n"
                                              " TranslatedW: \n"
                                              " PosMap: posMap []\n"
                                              " PosMapComputed: PosMapComputed []");
}

TEST(TheDump, WritesWideTextsInUtf8AndLeavesOutWhatIsNoCodePoint)
{
    const std::wstring source{L'\u00e9', static_cast<wchar_t>(0xd800), L'\u2811',
                              static_cast<wchar_t>(0x110000), L'\U0001f600'};
    BrlTranslationResult result(nullptr, FORWARD, source, L"x");
    EXPECT_NE(result.toString().find(" UntranslatedW: \u00e9\u2811\U0001f600\n"),
              std::string::npos);
}

TEST(TheDump, WritesNarrowTextsAsTheyAreStored)
{
    const std::string bytes("a\n\0\xff", 4);
    BrlTranslationResult result(nullptr, FORWARD, bytes, bytes);
    EXPECT_NE(result.toString().find(" Untranslated: " + bytes + "\n Translated: " + bytes + "\n"),
              std::string::npos);
}

TEST(TheDump, ChangesNothing)
{
    BrlTranslationResult result(nullptr, FORWARD, L"abc", L"xyz");
    result.toString();
    EXPECT_EQ(result.getUntranslatedW(), L"abc");
    EXPECT_EQ(result.getTranslatedW(), L"xyz");
    EXPECT_EQ(result.getPosMap(), (std::vector<int>{0, 0, 0, 3}));
    EXPECT_EQ(result.getPosMapComputed(), (std::vector<bool>{true, false, false, true}));
    EXPECT_EQ(result.getLeftOffset(), 0);
}

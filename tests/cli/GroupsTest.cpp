#include <cli/Groups.h>
#include <cli/ShownResult.h>
#include <libBrailleTranslate/BrlTranslationResult.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;

namespace {

using Result = BrlTranslationResult;

Result resultWith(const std::wstring& source, const std::wstring& translation,
                  const std::vector<int>& map, Result::Direction direction = Result::FORWARD)
{
    return {nullptr, direction, source, translation, map};
}

/** The parts of both texts: "the|cells". */
std::vector<std::wstring> groupsIn(Result result)
{
    std::vector<std::wstring> groups;
    for (const Group& group : groupsOf(result))
        groups.push_back(group.source.of(result.getUntranslatedW()) + L'|' +
                         group.translation.of(result.getTranslatedW()));
    return groups;
}

std::vector<std::wstring> linesOf(const Result& result, std::size_t width, int cursor)
{
    Result copy = result;
    const ShownResult shown(copy, cursor);
    std::vector<std::wstring> lines;
    for (const DisplayLine& line : shown.displayLines(width))
        lines.push_back(shown.translatedText(cellsOf(line)));
    return lines;
}

} // namespace

TEST(TheGroups, AreTheSmallestPartsThatBelongTogether)
{
    EXPECT_THAT(groupsIn(resultWith(L"The of", L",! (", {0, 0, 0, 2, 3, 3, 4})),
                ElementsAre(L"The|,!", L" | ", L"of|("));
}

TEST(TheGroups, HoldAllCellsBetweenTheirBeginnings)
{
    EXPECT_THAT(groupsIn(resultWith(L"ab", L"xyz", {0, 2, 3})), ElementsAre(L"a|xy", L"b|z"));
    EXPECT_THAT(groupsIn(resultWith(L"ab", L"xyz", {1, 2, 3})), ElementsAre(L"a|xy", L"b|z"));
}

TEST(TheGroups, HaveNoCellsWhereCharactersHaveNone)
{
    EXPECT_THAT(groupsIn(resultWith(L"ab", L"x", {0, 1, 1})), ElementsAre(L"a|x", L"b|"));
}

TEST(TheGroups, JoinWhatAMapPutsOutOfOrder)
{
    EXPECT_THAT(groupsIn(resultWith(L"abcd", L"wxyz", {0, 2, 1, 3, 4})),
                ElementsAre(L"a|w", L"bc|xy", L"d|z"));
    EXPECT_THAT(groupsIn(resultWith(L"abc", L"xyz", {-7, 99, 0, 3})), ElementsAre(L"abc|xyz"));
}

TEST(TheGroups, AreTheWholeWhereNothingIsKnown)
{
    EXPECT_THAT(groupsIn(resultWith(L"abc", L"xyz", {})), ElementsAre(L"abc|xyz"));
    EXPECT_THAT(groupsIn(resultWith(L"", L"xyz", {0, 3})), ElementsAre(L"|xyz"));
    EXPECT_THAT(groupsIn(resultWith(L"", L"", {})), ElementsAre());
}

TEST(TheGroups, AreFoundByAPositionOfTheSource)
{
    Result result = resultWith(L"The of", L",! (", {0, 0, 0, 2, 3, 3, 4});
    const auto groups = groupsOf(result);
    EXPECT_EQ(groupAt(groups, 0).source, (Range{0, 3}));
    EXPECT_EQ(groupAt(groups, 2).source, (Range{0, 3}));
    EXPECT_EQ(groupAt(groups, 3).source, (Range{3, 4}));
    EXPECT_EQ(groupAt(groups, 6).source, (Range{4, 6}));
}

TEST(AShownResult, HasTheCursorInTheCellThatShowsIt)
{
    const Result result = resultWith(L"ab", L"\u2801\u2803", {0, 1, 2});
    EXPECT_THAT(linesOf(result, 9, 0), ElementsAre(L"\u28c1\u2803"));
    EXPECT_THAT(linesOf(result, 9, 2), ElementsAre(L"\u2801\u2803\u28c0"));
}

TEST(AShownResult, KeepsTheCursorOnTheDisplay)
{
    // Of the blanks at the edge, the one with the cursor goes to the next line.
    const Result result = resultWith(L"ab c", L"\u2801\u2803\u2800\u2809", {0, 1, 2, 3, 4});
    EXPECT_THAT(linesOf(result, 2, 0), ElementsAre(L"\u28c1\u2803\u2800", L"\u2809"));
    EXPECT_THAT(linesOf(result, 2, 2), ElementsAre(L"\u2801\u2803", L"\u28c0\u2809"));
    EXPECT_THAT(linesOf(result, 4, 4), ElementsAre(L"\u2801\u2803\u2800", L"\u2809\u28c0"));
}

TEST(AShownResult, HasTheCursorOnTheBrailleThatIsTranslatedBack)
{
    Result result = resultWith(L"\u2801\u2803", L"ab", {0, 1, 2}, Result::BACK);
    EXPECT_EQ(ShownResult(result, 1).sourceText({0, 2}), L"\u2801\u28c3");
    EXPECT_EQ(ShownResult(result, 2).sourceText({0, 3}), L"\u2801\u2803\u28c0");
    EXPECT_EQ(ShownResult(result, 1).translatedText(), L"ab");
}

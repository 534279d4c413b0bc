#include "fault/Allocations.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Result = BrlTranslationResult;

/** How many allocations it takes to make a result of arguments that are handed over. */
template <typename... Arguments>
std::size_t allocationsOfAResultOf(Arguments... arguments)
{
    return allocations::countDuring(
        [&] { const Result result(nullptr, Result::FORWARD, std::move(arguments)...); });
}

const std::string NARROW = "Texts that do not fit into a string, \u00e9 and \u2801 among them.";
const std::wstring WIDE = L"Texts that do not fit into a string, \u00e9 and \u2801 among them.";
const std::vector<int> MAP(WIDE.size() + 1, 1);
const std::vector<bool> KNOWN(WIDE.size() + 1, true);
constexpr std::size_t MAP_AND_FLAGS = 2;
constexpr std::size_t FLAGS = 1;

} // namespace

TEST(AResult, AllocatesItsDefaultMapAndItsFlagsAndNothingToCountItsTexts)
{
    EXPECT_EQ(allocationsOfAResultOf(NARROW, NARROW), MAP_AND_FLAGS);
    EXPECT_EQ(allocationsOfAResultOf(NARROW, NARROW, 5, 5), MAP_AND_FLAGS);
    EXPECT_EQ(allocationsOfAResultOf(WIDE, WIDE), MAP_AND_FLAGS);
    EXPECT_EQ(allocationsOfAResultOf(WIDE, WIDE, 5, 5), MAP_AND_FLAGS);
}

TEST(AResult, MakesNoDefaultMapWhereItIsGivenOne)
{
    EXPECT_EQ(allocationsOfAResultOf(NARROW, NARROW, MAP), FLAGS);
    EXPECT_EQ(allocationsOfAResultOf(WIDE, WIDE, MAP), FLAGS);
    EXPECT_EQ(allocationsOfAResultOf(WIDE, WIDE, MAP, KNOWN), 0U);
}

TEST(AKnownPosition, IsFoundWithoutAnAllocation)
{
    Result result(nullptr, Result::FORWARD, WIDE, WIDE, MAP);
    EXPECT_EQ(allocations::countDuring([&] {
                  result.getTranslatedPositionW(3);
                  result.getOriginalPositionW(1);
                  result.getOriginalPositionW(7);
              }),
              0U);
}

TEST(AnEmptyConversion, AllocatesNothingToCountItsText)
{
    constexpr std::size_t RESERVED = 1;
    EXPECT_EQ(allocations::countDuring([] { Result::unUnicodeBraillify(NARROW); }), RESERVED);
    EXPECT_EQ(allocations::countDuring([] { Result::asciiBrailleToUnicodeBraille(NARROW); }), 0U);
    EXPECT_EQ(allocations::countDuring([] { Result::unicodeBrailleToAsciiBraille(NARROW); }), 0U);
}

#include "ResultWithoutAMap.h"
#include "StubTranslator.h"
#include "support/PrivateMember.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

REVEAL(offsetOf, BrlTranslationResult, leftOffset)

using testing::ElementsAre;

namespace {

constexpr auto FORWARD = BrlTranslationResult::FORWARD;
constexpr auto BACK = BrlTranslationResult::BACK;

/** Source text of two code points, translated text of five, all positions known. */
BrlTranslationResult knownResult()
{
    return {nullptr, FORWARD, L"ab", L"vwxyz", {0, 2, 5}};
}

} // namespace

TEST(GetTranslatedPositionW, LooksKnownPositionsUp)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getTranslatedPositionW(0), 0);
    EXPECT_EQ(result.getTranslatedPositionW(1), 2);
    EXPECT_EQ(result.getTranslatedPositionW(2), 5);
}

TEST(GetTranslatedPositionW, KeepsTheDistanceFromTheEndBeyondIt)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getTranslatedPositionW(3), 6);
    EXPECT_EQ(result.getTranslatedPositionW(100), 103);
    EXPECT_EQ(result.getTranslatedPositionW(INT_MAX), INT_MIN + 2);
}

TEST(GetTranslatedPositionW, ReturnsAPositionBeyondTheEndOfNarrowTextsUnchanged)
{
    BrlTranslationResult result(nullptr, FORWARD, "ab", "vwxyz", {0, 2, 5});
    EXPECT_EQ(result.getTranslatedPositionW(3), 3);
    EXPECT_EQ(result.getTranslatedPositionW(9), 9);
}

TEST(GetTranslatedPositionW, ReturnsNegativePositionsUnchanged)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getTranslatedPositionW(-4), -4);
    EXPECT_EQ(result.getTranslatedPositionW(INT_MIN), INT_MIN);
}

TEST(GetTranslatedPositionW, ShiftsWhatItMapsByTheLeftOffset)
{
    BrlTranslationResult result = knownResult();
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(-1), -1);
    EXPECT_EQ(result.getTranslatedPositionW(0), 0);
    EXPECT_EQ(result.getTranslatedPositionW(1), 1);
    EXPECT_EQ(result.getTranslatedPositionW(2), 3);
    // The last entry is not reached any more.
    EXPECT_EQ(result.getTranslatedPositionW(3), 6);
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(1), 1);
    EXPECT_EQ(result.getTranslatedPositionW(2), 2);
    EXPECT_EQ(result.getTranslatedPositionW(3), 6);
}

TEST(GetTranslatedPositionW, OfAnEmptyMapIsZero)
{
    BrlTranslationResult result = resultWithoutAMap();
    EXPECT_EQ(result.getTranslatedPositionW(0), 0);
    EXPECT_EQ(result.getTranslatedPositionW(7), 0);
    EXPECT_EQ(result.getTranslatedPositionW(-7), -7);
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(7), 0);
}

TEST(GetTranslatedPositionW, OfAnIndexThatANegativeOffsetMovesOutOfTheMapIsZero)
{
    BrlTranslationResult result = knownResult();
    result.*offsetOf() = -2;
    EXPECT_EQ(result.getTranslatedPositionW(0), 5 - 2);
    EXPECT_EQ(result.getTranslatedPositionW(1), 0);
    EXPECT_EQ(result.getTranslatedPositionW(2), 0);
}

TEST(GetTranslatedPositionW, WithoutATranslatorIsTheLeftOffsetAndStoresNothing)
{
    BrlTranslationResult result(nullptr, FORWARD, L"abc", L"xyz");
    EXPECT_EQ(result.getTranslatedPositionW(1), 0);
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(2), 1);
    EXPECT_THAT(result.getPosMap(), ElementsAre(0, 0, 0, 3));
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, false, false, true));
}

TEST(GetTranslatedPositionW, AsksForAnUnknownPositionOnceAndKeepsIt)
{
    StubTranslator stub;
    stub.answerWithMap({0, 4, 5, 6});
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"uvwxyz");
    EXPECT_EQ(result.getTranslatedPositionW(1), 4);
    ASSERT_EQ(stub.calls().size(), 1U);
    EXPECT_EQ(stub.calls()[0].translator, stub.get());
    EXPECT_TRUE(stub.calls()[0].isForward);
    EXPECT_EQ(stub.calls()[0].text, L"abc");
    EXPECT_EQ(stub.calls()[0].cursor, 1);
    EXPECT_EQ(result.getTranslatedPositionW(1), 4);
    EXPECT_EQ(stub.calls().size(), 1U);
    EXPECT_THAT(result.getPosMap(), ElementsAre(0, 4, 0, 6));
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, true, false, true));
}

TEST(GetTranslatedPositionW, AsksBackwardsForABackResult)
{
    StubTranslator stub;
    stub.answerWithMap({0, 4, 5, 6, 7});
    BrlTranslationResult result(stub.get(), BACK, L"abcd", L"uvwxyz");
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(3), 5 + 1);
    ASSERT_EQ(stub.calls().size(), 1U);
    EXPECT_FALSE(stub.calls()[0].isForward);
    EXPECT_EQ(stub.calls()[0].text, L"abcd");
    EXPECT_EQ(stub.calls()[0].cursor, 2);
}

TEST(GetTranslatedPositionW, AsksWithTheIndexAndShiftsTheAnswerByTheLeftOffset)
{
    StubTranslator stub;
    stub.answerWithMap({0, 4, 5, 6});
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"uvwxyz");
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(2), 4 + 1);
    ASSERT_EQ(stub.calls().size(), 1U);
    EXPECT_EQ(stub.calls()[0].cursor, 1);
    EXPECT_EQ(result.getPosMap()[1], 4);
}

TEST(GetTranslatedPositionW, SendsAnEmptyTextForANarrowResult)
{
    StubTranslator stub;
    stub.answerWithMap({0, 0});
    BrlTranslationResult result(stub.get(), FORWARD, "abc", "xyz");
    EXPECT_EQ(result.getTranslatedPositionW(1), 0);
    ASSERT_EQ(stub.calls().size(), 1U);
    EXPECT_EQ(stub.calls()[0].text, L"");
    EXPECT_TRUE(result.getPosMapComputed()[1]);
}

TEST(GetTranslatedPositionW, TakesTheLastEntryOfAShorterFreshMap)
{
    StubTranslator stub;
    stub.answerWithMap({0, 9});
    BrlTranslationResult result(stub.get(), FORWARD, L"abcd", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(3), 9);
    EXPECT_EQ(result.getTranslatedPositionW(2), 9);
    EXPECT_EQ(result.getTranslatedPositionW(1), 9);
}

TEST(GetTranslatedPositionW, StoresZeroWhenTheFreshMapHasNothingToSay)
{
    StubTranslator stub;
    stub.answerWithMap({7});
    BrlTranslationResult result(stub.get(), FORWARD, L"abcd", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(2), 0);
    EXPECT_TRUE(result.getPosMapComputed()[2]);
    EXPECT_EQ(result.getTranslatedPositionW(2), 0);
    EXPECT_EQ(stub.calls().size(), 1U);
}

TEST(GetTranslatedPositionW, StoresZeroWhenTheFreshMapIsEmpty)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) {
        return std::make_shared<BrlTranslationResult>(resultWithoutAMap());
    });
    BrlTranslationResult result(stub.get(), FORWARD, L"abcd", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(2), 0);
    EXPECT_TRUE(result.getPosMapComputed()[2]);
}

TEST(GetTranslatedPositionW, TakesTheFirstPositionAsZeroWhateverTheFreshMapSays)
{
    StubTranslator stub;
    stub.answerWithMap({8, 9});
    BrlTranslationResult result(stub.get(), FORWARD, L"a", L"z", {5, 6}, {false, true});
    EXPECT_EQ(result.getTranslatedPositionW(0), 0);
    EXPECT_THAT(result.getPosMap(), ElementsAre(0, 6));
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, true));
}

TEST(GetTranslatedPositionW, ReadsTheFreshMapWithoutItsFlagsAndOffset)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) {
        auto fresh = std::make_shared<BrlTranslationResult>(
            nullptr, FORWARD, L"abc", L"z", std::vector<int>{0, 3, 4, 5}, std::vector<bool>(4));
        fresh->addLeftOffset();
        return fresh;
    });
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(1), 3);
}

TEST(GetTranslatedPositionW, ReadsNoFurtherThanTheFreshMapReaches)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) {
        auto fresh = std::make_shared<BrlTranslationResult>(nullptr, FORWARD, L"", L"",
                                                            std::vector<int>{0, 9});
        // Its length claims more than its map holds.
        (*fresh).*offsetOf() = 100;
        return fresh;
    });
    BrlTranslationResult result(stub.get(), FORWARD, L"abcd", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(3), 9);
}

TEST(GetTranslatedPositionW, StoresZeroWhenTheFreshMapsLengthWrapsBelowZero)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) {
        auto fresh = std::make_shared<BrlTranslationResult>(nullptr, FORWARD, L"", L"",
                                                            std::vector<int>{0, 9});
        (*fresh).*offsetOf() = INT_MAX - 1;
        return fresh;
    });
    BrlTranslationResult result(stub.get(), FORWARD, L"abcd", L"z");
    EXPECT_EQ(result.getTranslatedPositionW(3), 0);
    EXPECT_TRUE(result.getPosMapComputed()[3]);
}

TEST(GetTranslatedPositionW, WithoutAFreshResultIsTheLeftOffsetAndAsksAgainNextTime)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) { return nullptr; });
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"xyz");
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(2), 1);
    EXPECT_FALSE(result.getPosMapComputed()[1]);
    stub.answerWithMap({0, 2, 2, 3});
    EXPECT_EQ(result.getTranslatedPositionW(2), 3);
    EXPECT_EQ(stub.calls().size(), 2U);
}

TEST(GetTranslatedPositionW, LetsExceptionsThroughAndLeavesTheEntryUnknown)
{
    StubTranslator stub;
    stub.answer([](const StubCall&) -> std::shared_ptr<BrlTranslationResult> {
        throw std::runtime_error("no translation");
    });
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"xyz");
    EXPECT_THROW(result.getTranslatedPositionW(1), std::runtime_error);
    EXPECT_THROW(result.getOriginalPositionW(1), std::runtime_error);
    EXPECT_THAT(result.getPosMap(), ElementsAre(0, 0, 0, 3));
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, false, false, true));
}

TEST(GetTranslatedPositionW, TakesAnEntryWithoutAFlagAsUnknownAndGivesItOne)
{
    StubTranslator stub;
    stub.answerWithMap({0, 5, 6, 7});
    BrlTranslationResult result(stub.get(), FORWARD, L"abc", L"z", {0, 1, 2, 3}, {true});
    EXPECT_EQ(result.getTranslatedPositionW(2), 6);
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, false, true));
    EXPECT_EQ(result.getTranslatedPositionW(2), 6);
    EXPECT_EQ(stub.calls().size(), 1U);
    EXPECT_EQ(result.getTranslatedPositionW(1), 5);
}

TEST(GetTranslatedPositionW, IgnoresFlagsBeyondTheMap)
{
    BrlTranslationResult result(nullptr, FORWARD, L"a", L"xyz", {0, 3}, {true, true, true, true});
    EXPECT_EQ(result.getTranslatedPositionW(2), 4);
}

TEST(GetTranslatedPositionW, WrapsExtremeEntriesAndOffsets)
{
    BrlTranslationResult result(nullptr, FORWARD, L"ab", L"x", {INT_MAX, INT_MIN, 0});
    result.addLeftOffset();
    EXPECT_EQ(result.getTranslatedPositionW(1), INT_MIN);
    EXPECT_EQ(result.getTranslatedPositionW(2), INT_MIN + 1);
    result.*offsetOf() = INT_MAX;
    result.addLeftOffset();
    EXPECT_EQ(result.getLeftOffset(), INT_MIN);
}

TEST(GetPosMapLength, IsTheOffsetAndTheNumberOfEntries)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getPosMapLength(), 3);
    result.addLeftOffset();
    EXPECT_EQ(result.getPosMapLength(), 4);
    EXPECT_EQ(result.getLeftOffset(), 1);
    EXPECT_THAT(result.getPosMap(), ElementsAre(0, 2, 5));
    EXPECT_THAT(result.getPosMapComputed(), ElementsAre(true, true, true));
}

TEST(GetPosMapLength, WrapsAnExtremeOffset)
{
    BrlTranslationResult result = knownResult();
    result.*offsetOf() = INT_MAX;
    EXPECT_EQ(result.getPosMapLength(), INT_MIN + 2);
}

TEST(GetPosMapLength, OfAnEmptyMapIsZeroWhateverTheOffset)
{
    BrlTranslationResult result = resultWithoutAMap();
    result.addLeftOffset();
    EXPECT_EQ(result.getPosMapLength(), 0);
}

TEST(GetOriginalPositionW, FindsThePositionThatMapsThere)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getOriginalPositionW(0), 0);
    EXPECT_EQ(result.getOriginalPositionW(2), 1);
    EXPECT_EQ(result.getOriginalPositionW(5), 2);
}

TEST(GetOriginalPositionW, FallsBackToTheNearestLowerTranslatedPosition)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getOriginalPositionW(1), 0);
    EXPECT_EQ(result.getOriginalPositionW(3), 1);
    EXPECT_EQ(result.getOriginalPositionW(4), 1);
    EXPECT_EQ(result.getOriginalPositionW(100), 2);
    EXPECT_EQ(result.getOriginalPositionW(INT_MAX), 2);
}

TEST(GetOriginalPositionW, IsMinusOneBelowEveryTranslatedPosition)
{
    BrlTranslationResult result = knownResult();
    EXPECT_EQ(result.getOriginalPositionW(-5), -1);
    EXPECT_EQ(result.getOriginalPositionW(INT_MIN), -1);
}

TEST(GetOriginalPositionW, IsMinusOneForAnEmptyMap)
{
    BrlTranslationResult result = resultWithoutAMap();
    EXPECT_EQ(result.getOriginalPositionW(0), -1);
}

TEST(GetOriginalPositionW, PrefersTheLeftmostOfEqualPositions)
{
    BrlTranslationResult result(nullptr, FORWARD, L"abcdefg", L"vwxyz", {0, 1, 1, 1, 1, 1, 4, 5});
    EXPECT_EQ(result.getOriginalPositionW(1), 1);
    EXPECT_EQ(result.getOriginalPositionW(3), 1);
}

TEST(GetOriginalPositionW, SearchesAsManyPositionsAsTheMapHasEntriesWithAnOffset)
{
    BrlTranslationResult result = knownResult();
    result.addLeftOffset();
    // Positions 0, 1 and 2 map to 0, 1 and 3; position 3 is not looked at.
    EXPECT_EQ(result.getOriginalPositionW(3), 2);
    EXPECT_EQ(result.getOriginalPositionW(6), 2);
    EXPECT_EQ(result.getOriginalPositionW(2), 1);
}

TEST(GetOriginalPositionW, TakesTheSmallestIntegerAsNoPositionFoundBelow)
{
    BrlTranslationResult result(nullptr, FORWARD, L"a", L"x", {INT_MIN, 5});
    EXPECT_EQ(result.getOriginalPositionW(0), -2);
    EXPECT_EQ(result.getOriginalPositionW(INT_MIN), 0);
    EXPECT_EQ(result.getOriginalPositionW(5), 1);
}

TEST(GetOriginalPositionW, AsksOnlyForTheEntriesThatItProbes)
{
    StubTranslator stub;
    const int length = 1000;
    std::vector<int> map(length + 1);
    for (int position = 0; position <= length; ++position)
        map[static_cast<std::size_t>(position)] = position;
    stub.answerWithMap(map);
    const std::wstring text(length, L'a');
    BrlTranslationResult result(stub.get(), FORWARD, text, text);
    EXPECT_EQ(result.getOriginalPositionW(617), 617);
    EXPECT_LE(stub.calls().size(), 10U);
    const std::size_t calls = stub.calls().size();
    EXPECT_EQ(result.getOriginalPositionW(617), 617);
    EXPECT_EQ(stub.calls().size(), calls);
}

// The same operations told once more, with 64-bit integers, without a cache in
// the record, and by a recursion instead of a loop, to hold the real ones against.

namespace {

struct PlainModel
{
    std::vector<int> map;
    std::vector<bool> flags;
    int offset = 0;
    int64_t sourceLength = 0;
    int64_t translatedLength = 0;
    bool isForward = true;
    std::optional<std::vector<int>> fresh; ///< the map of each new translation, if there is any
    std::vector<int64_t> cursors;          ///< that were asked for

    static int wrap(int64_t value) { return static_cast<int>(static_cast<uint32_t>(value)); }

    int64_t size() const { return static_cast<int64_t>(map.size()); }

    int64_t freshEntry(int64_t index) const
    {
        if (index == 0)
            return 0;
        const auto length = static_cast<int64_t>(fresh->size());
        if (index < length)
            return (*fresh)[static_cast<std::size_t>(index)];
        return length > 1 ? fresh->back() : 0;
    }

    int translated(int position)
    {
        if (position < offset)
            return position;
        if (position < 0 || position >= size())
            return wrap(position + translatedLength - sourceLength);
        const int64_t index = int64_t{position} - offset;
        if (index >= size())
            return 0;
        const auto at = static_cast<std::size_t>(index);
        if (at < flags.size() && flags[at])
            return wrap(int64_t{map[at]} + offset);
        if (!fresh)
            return offset;
        cursors.push_back(index);
        map[at] = wrap(freshEntry(index));
        if (at >= flags.size())
            flags.resize(at + 1, false);
        flags[at] = true;
        return wrap(int64_t{map[at]} + offset);
    }

    struct Pass
    {
        std::optional<int> found;
        std::optional<int> below;
        int low;
    };

    /** Searches the positions from low up to, not including, end. */
    Pass search(int target, int low, int end, Pass soFar)
    {
        soFar.low = low;
        if (low >= end)
            return soFar;
        const int middle = low + (end - 1 - low) / 2;
        const int mapped = translated(middle);
        if (mapped < target) {
            soFar.below = mapped;
            if (mapped == INT_MIN)
                soFar.below.reset();
            return search(target, middle + 1, end, soFar);
        }
        if (mapped == target)
            soFar.found = middle;
        return search(target, low, middle, soFar);
    }

    int original(int target)
    {
        const Pass pass = search(target, 0, static_cast<int>(size()), {});
        if (pass.found)
            return *pass.found;
        return pass.below ? original(*pass.below) : -(pass.low + 1);
    }

    /** What a map that never descends must give, by looking at each position. */
    int originalByScan(int target)
    {
        std::optional<int> best;
        for (int position = 0; position < size(); ++position) {
            const int mapped = translated(position);
            if (mapped <= target && (!best || mapped > translated(*best)))
                best = position;
        }
        return best.value_or(-1);
    }
};

class RandomMaps
{
public:
    explicit RandomMaps(unsigned seed) : random(seed) {}

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random); }

    int entry(int kind)
    {
        static const std::vector<int> extremes{INT_MIN, INT_MIN + 1, INT_MIN + 2, -1,
                                               0,       1,           INT_MAX - 1, INT_MAX};
        if (kind == 0)
            return below(12);
        if (kind == 1)
            return below(40) - 20;
        return extremes[static_cast<std::size_t>(below(static_cast<int>(extremes.size())))];
    }

    std::vector<int> map(int kind)
    {
        std::vector<int> entries;
        for (int left = 1 + below(20); left > 0; --left)
            entries.push_back(entry(kind));
        return entries;
    }

    PlainModel model()
    {
        const int kind = below(3);
        PlainModel model;
        model.map = map(kind);
        if (below(2) == 0)
            std::sort(model.map.begin(), model.map.end());
        const int known = below(3);
        for (auto left = model.map.size() + static_cast<std::size_t>(below(3)); left > 1; --left)
            model.flags.push_back(known == 0 || below(2) == 0);
        model.offset = below(4) == 0 ? entry(2) : below(4);
        model.isForward = below(2) == 0;
        model.sourceLength = below(25);
        model.translatedLength = below(25);
        if (below(2) == 0)
            model.fresh = map(kind);
        return model;
    }

private:
    std::mt19937 random;
};

BrlTranslationResult realResult(const PlainModel& model, StubTranslator& stub)
{
    const std::wstring source(static_cast<std::size_t>(model.sourceLength), L'a');
    const std::wstring translated(static_cast<std::size_t>(model.translatedLength), L'b');
    if (model.fresh)
        stub.answerWithMap(*model.fresh);
    BrlTranslationResult result(model.fresh ? stub.get() : nullptr,
                                model.isForward ? FORWARD : BACK, source, translated, model.map,
                                model.flags);
    result.*offsetOf() = model.offset;
    return result;
}

void expectSameCalls(const StubTranslator& stub, const PlainModel& model)
{
    std::vector<int64_t> cursors;
    for (const StubCall& call : stub.calls()) {
        EXPECT_EQ(call.isForward, model.isForward);
        cursors.push_back(call.cursor);
    }
    EXPECT_EQ(cursors, model.cursors);
}

} // namespace

TEST(PositionsOfRandomMaps, MapForwardAsThePlainModelDoes)
{
    RandomMaps maps(1);
    for (int round = 0; round < 20000; ++round) {
        PlainModel model = maps.model();
        StubTranslator stub;
        BrlTranslationResult result = realResult(model, stub);
        for (int step = 0; step < 30; ++step) {
            const int position = step < 5 ? maps.entry(2) : maps.below(30) - 5;
            ASSERT_EQ(result.getTranslatedPositionW(position), model.translated(position))
                << "round " << round << ", position " << position;
        }
        ASSERT_EQ(result.getPosMap(), model.map) << "round " << round;
        ASSERT_EQ(result.getPosMapComputed(), model.flags) << "round " << round;
        expectSameCalls(stub, model);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST(PositionsOfRandomMaps, MapBackAsThePlainModelDoes)
{
    RandomMaps maps(2);
    for (int round = 0; round < 20000; ++round) {
        PlainModel model = maps.model();
        StubTranslator stub;
        BrlTranslationResult result = realResult(model, stub);
        for (int step = 0; step < 30; ++step) {
            const int target = step < 5 ? maps.entry(2) : maps.below(40) - 15;
            ASSERT_EQ(result.getOriginalPositionW(target), model.original(target))
                << "round " << round << ", target " << target << "\n"
                << result.toString();
        }
        ASSERT_EQ(result.getPosMap(), model.map) << "round " << round;
        expectSameCalls(stub, model);
        ASSERT_FALSE(HasFailure()) << "round " << round;
    }
}

TEST(PositionsOfRandomMaps, MapBackToTheSmallestPositionOnMapsThatNeverDescend)
{
    RandomMaps maps(3);
    for (int round = 0; round < 20000; ++round) {
        PlainModel model;
        model.map = maps.map(maps.below(2));
        std::sort(model.map.begin(), model.map.end());
        model.flags.assign(model.map.size(), true);
        StubTranslator stub;
        BrlTranslationResult result = realResult(model, stub);
        for (int target = -25; target <= 25; ++target)
            ASSERT_EQ(result.getOriginalPositionW(target), model.originalByScan(target))
                << "target " << target << "\n"
                << result.toString();
    }
}

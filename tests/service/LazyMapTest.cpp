#include <service/LazyMap.h>

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace {

const std::vector<int32_t> MAP{0, 1, 1, 2, 4};

} // namespace

TEST(ALazyMap, IsKnownAtItsStartAtTheCursorAndAtItsEnd)
{
    std::vector<int32_t> positions = MAP;
    const std::vector<bool> known = hideMap(positions, 2);
    EXPECT_EQ(known, (std::vector<bool>{true, false, true, false, true}));
    EXPECT_EQ(positions[0], 0);
    EXPECT_EQ(positions[2], 1);
    EXPECT_EQ(positions[4], 4);
}

TEST(ALazyMap, HoldsNonsenseWhereItIsUnknown)
{
    std::vector<int32_t> positions = MAP;
    hideMap(positions, 2);
    EXPECT_LT(positions[1], 0);
    EXPECT_LT(positions[3], 0);
}

TEST(ALazyMap, AcceptsAnyCursor)
{
    for (const int32_t cursor : {INT_MIN, -1, 0, 4, 5, INT_MAX}) {
        std::vector<int32_t> positions = MAP;
        EXPECT_EQ(hideMap(positions, cursor), (std::vector<bool>{true, false, false, false, true}))
            << cursor;
    }
}

TEST(ALazyMap, OfAnEmptyTextIsKnown)
{
    std::vector<int32_t> positions{0};
    EXPECT_EQ(hideMap(positions, 7), std::vector<bool>{true});
    EXPECT_EQ(positions, std::vector<int32_t>{0});
}

#include <service/CloseNames.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<Named> tables()
{
    return {{"en-ueb-g1.ctb", {"English uncontracted"}},
            {"en-ueb-g2.ctb", {"English contracted"}},
            {"de-g2.ctb", {"German contracted"}},
            {"en-us-g2.ctb", {"American contracted"}},
            {"en-ueb-math.ctb", {"English mathematics"}}};
}

} // namespace

TEST(CloseNames, AreThreeAtMostTheClosestFirst)
{
    EXPECT_THAT(closeNames("en-ueb-g3.ctb", tables()),
                ElementsAre("en-ueb-g1.ctb", "en-ueb-g2.ctb", "en-us-g2.ctb"));
}

TEST(CloseNames, AreThoseThatBeginAsWhatWasAskedFor)
{
    EXPECT_THAT(closeNames("en-ueb", tables()),
                ElementsAre("en-ueb-g1.ctb", "en-ueb-g2.ctb", "en-ueb-math.ctb"));
    EXPECT_THAT(closeNames("de-g2.ctb.gz", tables()), ElementsAre("de-g2.ctb"));
}

TEST(CloseNames, AreThoseOfWhatIsCalledSoOtherwise)
{
    EXPECT_THAT(closeNames("german", tables()), ElementsAre("de-g2.ctb"));
    EXPECT_THAT(closeNames("American contrcated", tables()),
                ElementsAre("en-us-g2.ctb", "de-g2.ctb"));
}

TEST(CloseNames, DoNotMindCaseBlanksAndUnderscores)
{
    EXPECT_THAT(closeNames("DE_G2.CTB", tables()), ElementsAre("de-g2.ctb"));
}

TEST(CloseNames, AreNoneForWhatIsFarFromAll)
{
    EXPECT_THAT(closeNames("", tables()), IsEmpty());
    EXPECT_THAT(closeNames("nemeth", tables()), IsEmpty());
    EXPECT_THAT(closeNames(std::string(1000000, 'e'), tables()), IsEmpty());
}

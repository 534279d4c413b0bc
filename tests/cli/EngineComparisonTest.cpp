#include "Brltranslate.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

std::string engine(const char* direction, const std::string& table, const std::string& text)
{
    return Command{{"lou_translate", direction, "unicode.dis," + table}, text}.run().output;
}

/** Language profiles, each with the text that it is measured on. */
class TheProfilesText : public testing::TestWithParam<const char*>
{
protected:
    PrivateBus bus{PrivateBus::Services::REAL};
    std::string text =
        contentOf(TEST_SOURCE_FOLDER "/docs/profile-texts/" + std::string(GetParam()) + ".txt");
};

std::string nameOf(const testing::TestParamInfo<const char*>& profile)
{
    std::string name = profile.param;
    name.erase(std::remove(name.begin(), name.end(), '-'), name.end());
    return name;
}

} // namespace

// Not be and uk, whose tables have characters of their own for cells, which the engine's program
// prints instead of the patterns.
INSTANTIATE_TEST_SUITE_P(Of, TheProfilesText,
                         testing::Values("af", "ar", "ca", "cs", "da", "de", "el", "en-gb",
                                         "en-us-ebae", "es", "et", "fa", "fi", "fr", "ga", "he",
                                         "hi", "hr", "hu", "it", "ja", "ko", "nl", "pl", "pt", "ru",
                                         "sv", "zh-cn"),
                         nameOf);

TEST_P(TheProfilesText, IsTheSameBrailleAsFromTheEnginesOwnProgram)
{
    ASSERT_FALSE(text.empty());
    const auto roles = linesOf(run({"-p", GetParam(), "--roles"}).output);
    ASSERT_EQ(roles.size(), 4U);
    const std::string table = roles[0].substr(10, roles[0].find(',') - 10);
    const Outcome outcome = run({}, text);
    EXPECT_EQ(outcome.output, engine("--forward", table, text)) << table;
    EXPECT_EQ(outcome.errors, "");
}

TEST(TheLicence, IsTheSameBrailleAndComesBackAsFromTheEnginesOwnProgram)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    const std::string text = licence();
    ASSERT_GT(linesOf(text).size(), 600U);
    const Outcome braille = run({"-t", "en-ueb-g2.ctb"}, text);
    EXPECT_EQ(braille.output, engine("--forward", "en-ueb-g2.ctb", text));
    const Outcome print = run({"-b", "-t", "en-ueb-g2.ctb"}, braille.output);
    EXPECT_EQ(print.output, engine("--backward", "en-ueb-g2.ctb", braille.output));
}

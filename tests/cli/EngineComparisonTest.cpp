#include "Brltranslate.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace {

std::string engine(const char* direction, const std::string& table, const std::string& text)
{
    return Command{{"lou_translate", direction, "unicode.dis," + table}, text}.run().output;
}

std::vector<std::string> charactersOf(const std::string& utf8)
{
    std::vector<std::string> characters;
    for (const char byte : utf8) {
        const bool isContinued = (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
        if (!isContinued || characters.empty())
            characters.emplace_back();
        characters.back() += byte;
    }
    return characters;
}

bool isPatternOrLineEnd(const std::string& character)
{
    return character == "\n" || (character >= "\u2800" && character <= "\u28ff");
}

/**
 * What the engine's own program prints, with our patterns where it prints something else: some
 * tables have characters of their own for cells, which it prefers to those of unicode.dis.
 */
std::string inPatterns(const std::string& printed, const std::string& ours)
{
    const std::vector<std::string> patterns = charactersOf(ours);
    std::string text;
    std::size_t index = 0;
    for (const std::string& character : charactersOf(printed)) {
        const bool isTaken = index >= patterns.size() || isPatternOrLineEnd(character);
        text += isTaken ? character : patterns[index];
        ++index;
    }
    return text;
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

INSTANTIATE_TEST_SUITE_P(Of, TheProfilesText,
                         testing::Values("af", "ar", "be", "ca", "cs", "da", "de", "el", "en-gb",
                                         "en-us-ebae", "es", "et", "fa", "fi", "fr", "ga", "he",
                                         "hi", "hr", "hu", "it", "ja", "ko", "nl", "pl", "pt", "ru",
                                         "sv", "uk", "zh-cn"),
                         nameOf);

TEST_P(TheProfilesText, IsTheSameBrailleAsFromTheEnginesOwnProgram)
{
    ASSERT_FALSE(text.empty());
    const auto roles = linesOf(run({"-p", GetParam(), "--roles"}).output);
    ASSERT_EQ(roles.size(), 4U);
    const std::string table = roles[0].substr(10, roles[0].find(',') - 10);
    const Outcome outcome = run({}, text);
    const std::string printed = engine("--forward", table, text);
    EXPECT_EQ(outcome.output, inPatterns(printed, outcome.output)) << table;
    const auto characters = charactersOf(printed);
    const auto patterns = std::count_if(characters.begin(), characters.end(), isPatternOrLineEnd);
    EXPECT_GT(patterns, static_cast<long>(characters.size()) / 2) << "are compared";
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

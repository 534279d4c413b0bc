#include <libBrailleTranslate/BrlTranslationResult.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

using testing::IsEmpty;

namespace {

constexpr std::size_t LIMIT = std::size_t{1} << 30;

std::size_t availableMegabytes()
{
    std::ifstream memory("/proc/meminfo");
    for (std::string word; memory >> word;) {
        std::size_t kilobytes = 0;
        if (word == "MemAvailable:" && memory >> kilobytes)
            return kilobytes / 1024;
    }
    return 0;
}

#define SKIP_BELOW_MEGABYTES(needed)                                                               \
    if (availableMegabytes() < (needed))                                                           \
    GTEST_SKIP() << "not run: needs " << (needed) << " MB of memory, there are "                   \
                 << availableMegabytes()

template <typename Exception, typename Action>
void expectThrow(const char* message, Action action)
{
    try {
        action();
        FAIL() << "threw nothing";
    } catch (const Exception& error) {
        EXPECT_STREQ(error.what(), message);
    }
}

struct Conversion
{
    const char* name;
    std::string (*convert)(const std::string&);
};

std::ostream& operator<<(std::ostream& output, const Conversion& conversion)
{
    return output << conversion.name;
}

/** The two conversions that always return an empty text. */
class AnEmptyConversion : public testing::TestWithParam<Conversion>
{
};

const std::vector<std::string> SOME_TEXTS{"",
                                          "abc",
                                          "\u2801\u2815\u28ff",
                                          "\U0001f600",
                                          std::string("a\0b", 3),
                                          "\xff\xfe\xe2\x28",
                                          "\xed\xa0\x80"};

} // namespace

TEST(UnicodeBraillify, MakesOnePatternOfEachByte)
{
    EXPECT_EQ(BrlTranslationResult::unicodeBraillify({0x00, 0x01, 0xff}),
              "\xe2\xa0\x80\xe2\xa0\x81\xe2\xa3\xbf");
}

TEST(UnicodeBraillify, PutsEveryByteIntoTheBrailleBlock)
{
    for (unsigned value = 0; value < 256; ++value) {
        const std::string expected{'\xe2', static_cast<char>(0xa0 + value / 64),
                                   static_cast<char>(0x80 + value % 64)};
        EXPECT_EQ(BrlTranslationResult::unicodeBraillify({static_cast<unsigned char>(value)}),
                  expected);
    }
}

TEST(UnicodeBraillify, AddsNothingBehindTheLastCell)
{
    EXPECT_EQ(BrlTranslationResult::unicodeBraillify(std::vector<unsigned char>(1000)).size(),
              3000U);
}

TEST(UnicodeBraillify, RefusesNoCells)
{
    expectThrow<std::logic_error>("basic_string::_M_construct null not valid",
                                  [] { BrlTranslationResult::unicodeBraillify({}); });
}

TEST(UnicodeBraillify, RefusesTwoToTheThirtiethCells)
{
    SKIP_BELOW_MEGABYTES(3000U);
    const std::vector<unsigned char> cells(LIMIT);
    expectThrow<std::length_error>("vector::reserve",
                                   [&] { BrlTranslationResult::unicodeBraillify(cells); });
}

TEST(UnicodeBraillify, RefusesMoreCellsThanAWideTextHolds)
{
    SKIP_BELOW_MEGABYTES(3000U);
    // Where addresses have 32 bits that is below the limit.
    const std::vector<unsigned char> cells(std::min(std::wstring().max_size() + 1, LIMIT));
    EXPECT_THROW(BrlTranslationResult::unicodeBraillify(cells), std::length_error);
}

TEST(UnUnicodeBraillify, ReturnsNoCellsForAnyText)
{
    for (const std::string& text : SOME_TEXTS)
        EXPECT_THAT(BrlTranslationResult::unUnicodeBraillify(text), IsEmpty());
}

TEST(UnUnicodeBraillify, TakesTwoToTheThirtiethCodePoints)
{
    SKIP_BELOW_MEGABYTES(3000U);
    EXPECT_THAT(BrlTranslationResult::unUnicodeBraillify(std::string(LIMIT, 'a')), IsEmpty());
}

TEST_P(AnEmptyConversion, ReturnsNoTextForAnyText)
{
    for (const std::string& text : SOME_TEXTS)
        EXPECT_EQ(GetParam().convert(text), "");
}

TEST_P(AnEmptyConversion, RefusesTwoToTheThirtiethCodePoints)
{
    SKIP_BELOW_MEGABYTES(3000U);
    const std::string text(LIMIT, 'a');
    expectThrow<std::length_error>("vector::reserve", [&] { GetParam().convert(text); });
}

TEST_P(AnEmptyConversion, TakesTheLongestTextBelowTheLimit)
{
    SKIP_BELOW_MEGABYTES(3000U);
    std::string text(std::min(std::string().max_size(), LIMIT), 'a');
    // The limit is one of code points, and this byte is none.
    text.back() = '\xff';
    EXPECT_EQ(GetParam().convert(text), "");
}

INSTANTIATE_TEST_SUITE_P(
    Both, AnEmptyConversion,
    testing::Values(Conversion{"AsciiBrailleToUnicodeBraille",
                               &BrlTranslationResult::asciiBrailleToUnicodeBraille},
                    Conversion{"UnicodeBrailleToAsciiBraille",
                               &BrlTranslationResult::unicodeBrailleToAsciiBraille}),
    [](const auto& which) { return which.param.name; });

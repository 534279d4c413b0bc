#include <cli/Folding.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/** A text folded at its blanks, a piece for each character; digits are pieces that wide. */
std::vector<std::string> folded(const std::string& text, std::size_t width)
{
    std::vector<Piece> pieces;
    for (const char character : text) {
        const bool isBlank = character == ' ' || character == '_';
        const bool isDigit = character >= '0' && character <= '9';
        // A blank that has to be seen is written as _.
        pieces.push_back(
            {isDigit ? static_cast<std::size_t>(character - '0') : 1U, isBlank, character == ' '});
    }
    std::vector<std::string> lines;
    for (const Range& line : fold(pieces, width))
        lines.push_back(text.substr(line.begin, line.size()));
    return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(Folding, LeavesAloneWhatFits)
{
    EXPECT_EQ(folded("", 5), Lines());
    EXPECT_EQ(folded("ab cd", 5), Lines{"ab cd"});
}

TEST(Folding, BreaksBehindTheLastBlankThatFits)
{
    EXPECT_EQ(folded("ab cd ef", 5), (Lines{"ab cd ", "ef"}));
    EXPECT_EQ(folded("ab cd ef", 4), (Lines{"ab ", "cd ", "ef"}));
    EXPECT_EQ(folded("ab cd ef", 6), (Lines{"ab cd ", "ef"}));
}

TEST(Folding, LetsAllBlanksHangOverTheEdge)
{
    EXPECT_EQ(folded("abc    d", 3), (Lines{"abc    ", "d"}));
    EXPECT_EQ(folded("abc    ", 3), Lines{"abc    "});
}

TEST(Folding, TakesABlankThatMustBeSeenToTheNextLine)
{
    EXPECT_EQ(folded("ab cd_ef", 5), (Lines{"ab ", "cd_ef"}));
    EXPECT_EQ(folded("abc_d", 3), (Lines{"abc", "_d"}));
}

TEST(Folding, BreaksAnywhereWhereThereIsNoBlank)
{
    EXPECT_EQ(folded("abcdefg", 3), (Lines{"abc", "def", "g"}));
    EXPECT_EQ(folded("a bcdefg", 3), (Lines{"a ", "bcd", "efg"}));
}

TEST(Folding, NeverDividesAPiece)
{
    EXPECT_EQ(folded("a2a2", 4), (Lines{"a2a", "2"}));
    EXPECT_EQ(folded("ab3", 4), (Lines{"ab", "3"}));
}

TEST(Folding, GivesALineToAPieceThatIsTooWide)
{
    EXPECT_EQ(folded("a9b", 4), (Lines{"a", "9", "b"}));
}

TEST(Folding, KeepsWhatTakesNoRoomWithWhatIsBeforeIt)
{
    EXPECT_EQ(folded("abc0d", 3), (Lines{"abc0", "d"}));
}

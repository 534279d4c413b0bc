#include <cli/EditedText.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Lines = std::vector<std::wstring>;

EditedText textAt(const Lines& lines, std::size_t line, std::size_t position)
{
    EditedText text(lines);
    for (std::size_t number = 0; number < line; ++number)
        text.down();
    text.moveTo(position);
    return text;
}

void expectCursor(const EditedText& text, std::size_t line, std::size_t position)
{
    EXPECT_EQ(text.lineNumber(), line);
    EXPECT_EQ(text.position(), position);
}

} // namespace

TEST(AnEditedText, AlwaysHasALine)
{
    EXPECT_EQ(EditedText().lines(), Lines{L""});
    EditedText text;
    text.eraseBefore();
    text.eraseAt();
    text.left();
    text.right();
    text.up();
    text.down();
    EXPECT_EQ(text.lines(), Lines{L""});
    expectCursor(text, 0, 0);
}

TEST(AnEditedText, MovesFromLineToLineAtTheirEnds)
{
    EditedText text({L"ab", L"c"});
    text.end();
    text.right();
    expectCursor(text, 1, 0);
    text.left();
    expectCursor(text, 0, 2);
    text.home();
    text.left();
    expectCursor(text, 0, 0);
    text.down();
    text.end();
    text.right();
    expectCursor(text, 1, 1);
}

TEST(AnEditedText, StaysInItsColumnWhereTheOtherLineHasOne)
{
    EditedText text = textAt({L"abcd", L"ef", L"ghij"}, 0, 3);
    text.down();
    expectCursor(text, 1, 2);
    text.up();
    expectCursor(text, 0, 2);
    text.moveTo(99);
    expectCursor(text, 0, 4);
}

TEST(AnEditedText, InsertsAndErasesAtTheCursor)
{
    EditedText text = textAt({L"abc"}, 0, 1);
    text.insert(L'x');
    EXPECT_EQ(text.line(), L"axbc");
    expectCursor(text, 0, 2);
    text.eraseBefore();
    EXPECT_EQ(text.line(), L"abc");
    expectCursor(text, 0, 1);
    text.eraseAt();
    EXPECT_EQ(text.line(), L"ac");
    expectCursor(text, 0, 1);
}

TEST(AnEditedText, BreaksAndJoinsLines)
{
    EditedText text = textAt({L"abc", L"d"}, 0, 1);
    text.breakLine();
    EXPECT_EQ(text.lines(), (Lines{L"a", L"bc", L"d"}));
    expectCursor(text, 1, 0);
    text.eraseBefore();
    EXPECT_EQ(text.lines(), (Lines{L"abc", L"d"}));
    expectCursor(text, 0, 1);
    text.end();
    text.eraseAt();
    EXPECT_EQ(text.lines(), Lines{L"abcd"});
    expectCursor(text, 0, 3);
}

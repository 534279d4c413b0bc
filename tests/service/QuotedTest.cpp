#include <service/Quoted.h>

#include <gtest/gtest.h>

#include <string>

TEST(AQuotedString, StaysOnOneLine)
{
    EXPECT_EQ(quoted("a\nb\x7F\t"), "\"a b  \"");
}

TEST(AQuotedString, IsCutBetweenItsCharactersWhenItIsLong)
{
    const std::string seventyNine(79, 'x');

    EXPECT_EQ(quoted(seventyNine + "y"), '"' + seventyNine + "y\"");
    EXPECT_EQ(quoted(seventyNine + "\u00e9 and more"), '"' + seventyNine + "...\"");
}

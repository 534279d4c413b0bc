#include "support/Command.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string readme()
{
    std::ifstream file(TEST_SOURCE_FOLDER "/README.md");
    return {std::istreambuf_iterator<char>(file), {}};
}

/** A block of the README begins like this, and is this. */
std::string blockThatBegins(const std::string& start)
{
    const std::string text = readme();
    const std::size_t begin = text.find("```\n" + start);
    if (begin == std::string::npos)
        return "not in the README: " + start;
    const std::size_t content = begin + 4;
    return text.substr(content, text.find("```", content) - content);
}

} // namespace

TEST(TheReadme, ShowsWhatTheTranslateCommandPrints)
{
    const std::string text = "\"The quick brown fox jumps over the lazy dog.\"";
    const Command translate{{"sh", "-c", TEST_SOURCE_FOLDER "/scripts/translate " + text},
                            "",
                            {{"BUILD_DIR", TEST_BUILD_FOLDER}}};
    const std::string command = "$ scripts/translate " + text + "\n";
    EXPECT_EQ(command + translate.run().output, blockThatBegins(command));
}

TEST(TheReadme, ShowsTheNumberOfTests)
{
    if (std::string(TEST_BUILD_FOLDER) != TEST_SOURCE_FOLDER "/build/default")
        GTEST_SKIP() << "The number is that of the build that a newcomer makes.";
    const Command count{{"ctest", "--test-dir", TEST_BUILD_FOLDER, "--show-only"}};
    const std::string output = count.run().output;
    const std::string label = "Total Tests: ";
    const std::size_t begin = output.find(label);
    ASSERT_NE(begin, std::string::npos) << output;
    const std::string number =
        output.substr(begin + label.size(), output.find('\n', begin) - begin - label.size());
    EXPECT_EQ(blockThatBegins("$ scripts/test"),
              "$ scripts/test\n100% tests passed, 0 tests failed out of " + number + "\n");
}

TEST(TheReadme, ShowsAProgramThatPrintsWhatItSays)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    const Outcome outcome = Command{{TEST_BUILD_FOLDER "/tests/install/readme-example"}}.run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, blockThatBegins("Character 4"));
}

#include "support/Command.h"
#include "support/FileContent.h"
#include "support/PrivateBus.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

using testing::AllOf;
using testing::HasSubstr;

namespace {

std::string readme()
{
    return contentOf(TEST_SOURCE_FOLDER "/README.md");
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

TEST(TheReadme, ShowsHowTheTestCommandEnds)
{
    // Two tests of nothing, since this is one of those that the command runs.
    const TemporaryFolder folder;
    const std::filesystem::path build = folder.path();
    std::ofstream(build / "CTestTestfile.cmake") << "add_test(One true)\nadd_test(Other true)\n";
    const Outcome outcome =
        Command{{TEST_SOURCE_FOLDER "/scripts/test"}, "", {{"BUILD_DIR", build}}}.run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    // Each test has a line, also where the output is no terminal.
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("1/2 Test #"), HasSubstr("2/2 Test #")));
    const std::string shown = blockThatBegins("$ scripts/test");
    const std::string ending = "100% tests passed, 0 tests failed out of ";
    EXPECT_THAT(outcome.output, HasSubstr("\n" + ending + "2\n"));
    EXPECT_EQ(shown, "$ scripts/test\n...\n" + ending + "...\n");
}

TEST(TheReadme, ShowsAProgramThatPrintsWhatItSays)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    const Outcome outcome = Command{{TEST_BUILD_FOLDER "/tests/install/readme-example"}}.run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, blockThatBegins("Character 4"));
}

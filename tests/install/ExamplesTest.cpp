#include "support/Command.h"
#include "support/FileContent.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string document(const std::string& path)
{
    return contentOf(TEST_SOURCE_FOLDER "/docs/" + path);
}

class AnExampleOfTheReference : public testing::TestWithParam<std::string>
{
};

INSTANTIATE_TEST_SUITE_P(Each, AnExampleOfTheReference, testing::Values(EXAMPLES),
                         [](const auto& example) { return example.param; });

} // namespace

TEST_P(AnExampleOfTheReference, PrintsWhatTheReferenceSays)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    const Outcome outcome =
        Command{{TEST_BUILD_FOLDER "/tests/install/example-" + GetParam()}}.run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.output, document("examples/" + GetParam() + ".out"));
}

TEST_P(AnExampleOfTheReference, IsShownThereWithItsOutput)
{
    const std::string shown =
        "@include " + GetParam() + ".cpp\n@verbinclude " + GetParam() + ".out\n";
    EXPECT_NE(document("reference/examples.md").find(shown), std::string::npos) << shown;
}

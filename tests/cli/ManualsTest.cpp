#include "Brltranslate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;

namespace {

const std::string MANUALS = TEST_SOURCE_FOLDER "/docs/man/";

struct Manual
{
    const char* page;
    const char* program;
};

constexpr Manual ALL[] = {
    {"brltranslate.1", BRLTRANSLATE},
    {"brailletranslatord.8", TEST_BUILD_FOLDER "/service/brailletranslatord"}};

/** The long options at the beginnings of the lines of a program's help. */
std::set<std::string> optionsOf(const char* program)
{
    std::set<std::string> options;
    for (const std::string& line : linesOf(Command{{program, "--help"}}.run().output)) {
        const std::size_t begin = line.find("--");
        if (line.compare(0, 3, "  -") == 0)
            options.insert(line.substr(begin + 2, line.find_first_of(" ,", begin) - begin - 2));
    }
    return options;
}

/** The long options that have an item of their own in a manual. */
std::set<std::string> optionsIn(const std::string& manual)
{
    std::set<std::string> options;
    for (const std::string& line : linesOf(manual)) {
        const std::size_t begin = line.find("Fl -");
        if (line.compare(0, 4, ".It ") == 0 && begin != std::string::npos)
            options.insert(line.substr(begin + 4, line.find_first_of(" ,", begin + 3) - begin - 4));
    }
    return options;
}

/** What bash offers for the last of these words. */
std::vector<std::string> completionsOf(const std::string& words)
{
    const std::string program = "PATH=" TEST_BUILD_FOLDER "/service:$PATH\n"
                                "brailletranslatord() { command brailletranslatord --config "
                                "'" TEST_SOURCE_FOLDER
                                "/service/brailletranslatord.toml' \"$@\"; }\n"
                                "source '" TEST_SOURCE_FOLDER "/cli/brltranslate.bash'\n"
                                "COMP_WORDS=(" +
                                words +
                                ")\n"
                                "COMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                "_brltranslate\n"
                                "printf '%s\\n' \"${COMPREPLY[@]}\"\n";
    return linesOf(Command{{"bash", "-c", program}}.run().output);
}

} // namespace

TEST(AManual, IsWellFormed)
{
    for (const Manual& manual : ALL) {
        const Outcome man =
            Command{{"man", "-l", "--warnings", "-Tutf8", MANUALS + manual.page}}.run();
        EXPECT_EQ(man.status, 0);
        EXPECT_EQ(man.errors, "");
        EXPECT_THAT(man.output, HasSubstr("on the D-Bus system bus"));
        // Other manuals may not be on this machine.
        const Outcome lint = Command{{"sh", "-c",
                                      "mandoc -T lint -W style " + MANUALS + manual.page +
                                          " 2>/dev/null | grep -v 'referenced manual not found'"}}
                                 .run();
        EXPECT_EQ(lint.output, "");
    }
}

TEST(AManual, HasAllOptionsOfItsProgramAndNoOthers)
{
    for (const Manual& manual : ALL) {
        const auto options = optionsOf(manual.program);
        EXPECT_GT(options.size(), 5U);
        EXPECT_EQ(optionsIn(contentOf(MANUALS + manual.page)), options) << manual.page;
    }
}

TEST(TheCompletion, OffersAllOptions)
{
    std::set<std::string> offered;
    for (const std::string& option : completionsOf("brltranslate --"))
        offered.insert(option.substr(2));
    EXPECT_EQ(offered, optionsOf(BRLTRANSLATE));
    EXPECT_THAT(completionsOf("brltranslate --ro"), ElementsAre("--role", "--roles"));
}

TEST(TheCompletion, OffersRolesTranslatorsAndProfiles)
{
    EXPECT_THAT(completionsOf("brltranslate --role ''"),
                ElementsAre("display", "entry", "computer", "grade1"));
    EXPECT_THAT(completionsOf("brltranslate -t en-ueb-g"),
                ElementsAre("en-ueb-g1.ctb", "en-ueb-g2.ctb"));
    EXPECT_THAT(completionsOf("brltranslate --profile en-u"), ElementsAre("en-us", "en-us-ebae"));
}

TEST(TheCompletion, OffersFilesToExplore)
{
    EXPECT_THAT(completionsOf("brltranslate --explore " + MANUALS),
                IsSupersetOf({MANUALS + "brltranslate.1", MANUALS + "brailletranslatord.8"}));
    EXPECT_THAT(completionsOf("brltranslate " + MANUALS), ElementsAre(""));
}

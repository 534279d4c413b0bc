#include <service/Configuration.h>

#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const Catalogue CATALOGUE({
    {"a.ctb", "Contracted", 2, true, "/a.ctb", ""},
    {"b.utb", "Uncontracted", 1, true, "/b.utb", ""},
});

const std::string PROFILE = "language = \"English\"\n"
                            "display = \"a.ctb\"\n"
                            "entry = \"b.utb\"\n"
                            "computer = \"b\"\n"
                            "grade1 = \"Uncontracted\"\n";
const std::string SMALLEST = "default = \"en\"\n[profile.en]\n" + PROFILE;

class AConfiguration : public testing::Test
{
protected:
    Configuration read(const std::string& content) const
    {
        std::ofstream(file) << content;
        return readConfiguration(file, CATALOGUE);
    }

    PoolLimits limitsWith(const std::string& engineLines) const
    {
        return read(SMALLEST + "[engine]\n" + engineLines).limits;
    }

    /** What is wrong with that content, behind the file's name. */
    std::string faultOf(const std::string& content) const
    {
        try {
            read(content);
        } catch (const ConfigurationError& error) {
            const std::string text = error.what();
            EXPECT_EQ(text.rfind(file.string() + ":", 0), 0U) << text;
            EXPECT_EQ(text.find('\n'), std::string::npos) << text;
            return text.substr(file.string().size() + 1);
        }
        return "none";
    }

    TemporaryFolder temporary;
    std::filesystem::path folder = temporary.path();
    std::filesystem::path file = folder / "file.toml";
};

} // namespace

TEST_F(AConfiguration, HoldsTheProfilesOfItsFile)
{
    const Configuration configuration = read(SMALLEST + "[profile.fr]\n" + PROFILE);

    EXPECT_EQ(configuration.defaultProfile, "en");
    ASSERT_EQ(configuration.profiles.all().size(), 2U);
    const Profile& profile = configuration.profiles.named("fr");
    EXPECT_EQ(profile.name, "fr");
    EXPECT_EQ(profile.language, "English");
    EXPECT_EQ(profile.display, "a.ctb");
    EXPECT_EQ(profile.entry, "b.utb");
    EXPECT_EQ(profile.computer, "b");
    EXPECT_EQ(profile.grade1, "Uncontracted");
}

TEST_F(AConfiguration, HasLimitsOfItsOwnWithoutAny)
{
    const PoolLimits limits = read(SMALLEST).limits;

    EXPECT_GE(limits.workers, 2U);
    EXPECT_GE(limits.mostWorkers, limits.workers);
    EXPECT_EQ(limits.deadline, 2s);
}

TEST_F(AConfiguration, TakesLimitsFromItsFile)
{
    const PoolLimits limits = limitsWith("workers = 3\nmost-workers = 5\ndeadline-ms = 150\n"
                                         "deadline-us-per-character = 70\n");

    EXPECT_EQ(limits.workers, 3U);
    EXPECT_EQ(limits.mostWorkers, 5U);
    EXPECT_EQ(limits.deadline, 150ms);
    EXPECT_EQ(limits.deadlinePerCodePoint, 70us);
}

TEST_F(AConfiguration, HasAtLeastAsManyProcessesAtMostAsAlways)
{
    EXPECT_EQ(limitsWith("workers = 12\n").mostWorkers, 12U);
}

TEST_F(AConfiguration, GivesLongTextsMoreTimeButLessThanClientsWait)
{
    const PoolLimits limits = limitsWith("deadline-ms = 100\ndeadline-us-per-character = 50\n");

    EXPECT_EQ(limits.deadlineFor(0), 100ms);
    EXPECT_EQ(limits.deadlineFor(1000), 150ms);
    EXPECT_EQ(limits.deadlineFor(LONGEST_TEXT), 20s);
    EXPECT_LT(PoolLimits::LONGEST_DEADLINE, 25s);
}

TEST_F(AConfiguration, VouchesForWhatItHasForEntry)
{
    const Catalogue catalogue({{"entry.ctb", "E", 1, false, "/e", ""},
                               {"made.ctb", "M", 1, true, "/m", ""},
                               {"neither.ctb", "N", 1, false, "/n", ""},
                               {"alone.ctb", "A", 1, false, "/o", ""}});
    const Profiles profiles(
        {{"x", "X", "neither", "entry", "neither", "neither"},
         {"y", "Y", "neither", "alone", "", "neither", {{"computer", {}, ""}}}});

    EXPECT_TRUE(translatesBack(*catalogue.find("entry"), catalogue, profiles));
    EXPECT_TRUE(translatesBack(*catalogue.find("made"), catalogue, profiles));
    EXPECT_TRUE(translatesBack(*catalogue.find("alone"), catalogue, profiles))
        << "its profile is not offered for want of another translator";
    EXPECT_FALSE(translatesBack(*catalogue.find("neither"), catalogue, profiles));
}

TEST_F(AConfiguration, SaysWhereItsSyntaxIsWrong)
{
    EXPECT_EQ(faultOf("default = \"en\"\n\n[profile.en\n").rfind("3: ", 0), 0U)
        << faultOf("default = \"en\"\n\n[profile.en\n");
    EXPECT_EQ(faultOf("default = en\n").rfind("1: ", 0), 0U);
    EXPECT_EQ(faultOf(SMALLEST + "display = \"a.ctb\"\n").rfind("8: ", 0), 0U) << "a key twice";
}

TEST_F(AConfiguration, NamesAKeyThatItDoesNotKnow)
{
    EXPECT_EQ(faultOf("colour = 1\n" + SMALLEST),
              "1: unknown key \"colour\"; here there may be default, engine, profile");
    EXPECT_EQ(faultOf(SMALLEST + "role = \"a.ctb\"\n"),
              "8: unknown key \"role\"; here there may be "
              "language, display, entry, computer, grade1");
    EXPECT_EQ(faultOf(SMALLEST + "[engine]\nworker = 2\n"),
              "9: unknown key \"worker\"; here there may be "
              "workers, most-workers, deadline-ms, deadline-us-per-character");
}

TEST_F(AConfiguration, GivesARoleToTheFirstInstalledOfSeveral)
{
    const Configuration configuration =
        read("default = \"en\"\n[profile.en]\nlanguage = \"x\"\n"
             "display = [\"c.ctb\", \"Uncontracted\", \"a.ctb\"]\nentry = [\"a.ctb\", \"b.utb\"]\n"
             "computer = [\"b.utb\"]\ngrade1 = \"a\"\n");

    const Profile& profile = configuration.profiles.offered("en");
    EXPECT_EQ(profile.display, "Uncontracted");
    EXPECT_EQ(profile.entry, "a.ctb");
    EXPECT_EQ(profile.computer, "b.utb");
    EXPECT_EQ(profile.grade1, "a");
    EXPECT_THAT(warningsOf(configuration.profiles), IsEmpty());
}

TEST_F(AConfiguration, DoesNotOfferAProfileWithARoleThatNothingFills)
{
    const Configuration configuration =
        read(SMALLEST + "[profile.x]\nlanguage = \"X\"\ndisplay = \"a.ctb\"\n"
                        "entry = [\n  \"c.ctb\",\n  \"d\\u0007.ctb\",\n]\n"
                        "computer = \"b\"\ngrade1 = \"e.utb\"\n");

    EXPECT_TRUE(configuration.profiles.named("en").isOffered());
    const Profile& profile = configuration.profiles.named("x");
    EXPECT_FALSE(profile.isOffered());
    EXPECT_EQ(profile.display + profile.entry + profile.computer + profile.grade1, "a.ctbb");
    ASSERT_THAT(profile.unfilled, SizeIs(2));
    EXPECT_EQ(profile.unfilled[1].place, file.string() + ":16");
    EXPECT_THAT(warningsOf(configuration.profiles),
                ElementsAre(file.string() +
                            ":11: the language profile \"x\" is not offered: its entry translator "
                            "is not installed (\"c.ctb\" or \"d .ctb\"), its grade1 translator is "
                            "not installed (\"e.utb\"); install what is missing and restart the "
                            "service, or name another table in the file"));
}

TEST_F(AConfiguration, MayHaveADefaultThatIsNotOffered)
{
    const Configuration configuration =
        read("default = \"x\"\n[profile.x]\nlanguage = \"X\"\ndisplay = \"c\"\nentry = \"c\"\n"
             "computer = \"c\"\ngrade1 = \"c\"\n");

    EXPECT_EQ(configuration.defaultProfile, "x");
    EXPECT_THAT(configuration.profiles.named("x").unfilled, SizeIs(4));
}

TEST_F(AConfiguration, OffersAllItsProfilesToAnEmptyCatalogue)
{
    std::ofstream(file) << "default = \"x\"\n[profile.x]\nlanguage = \"X\"\n"
                           "display = [\"c\", \"d\"]\nentry = \"c\"\ncomputer = \"c\"\n"
                           "grade1 = \"c\"\n";
    EXPECT_EQ(readConfiguration(file, Catalogue({})).profiles.offered("x").display, "c");
}

TEST_F(AConfiguration, NamesARoleThatIsMissing)
{
    EXPECT_EQ(faultOf("default = \"en\"\n[profile.en]\nlanguage = \"x\"\ndisplay = \"a.ctb\"\n"),
              "2: the profile \"en\" has no \"entry\"; add one");
    EXPECT_EQ(faultOf("default = \"en\"\n[profile.en]\ndisplay = \"a.ctb\"\n"),
              "2: the profile \"en\" has no \"language\"; add one");
}

TEST_F(AConfiguration, NeedsADefaultThatIsOneOfItsProfiles)
{
    EXPECT_EQ(faultOf("[profile.en]\n" + PROFILE), "1: the file has no \"default\"; add one");
    EXPECT_EQ(faultOf(""), "1: the file has no \"default\"; add one");
    EXPECT_EQ(faultOf("default = \"en\"\n"),
              "1: the file has no profile; begin one as [profile.en]");
    EXPECT_EQ(faultOf("default = \"eo\"\n[profile.en]\n" + PROFILE),
              "1: no language profile is named \"eo\"; there are en");
}

TEST_F(AConfiguration, NamesAValueOfTheWrongKind)
{
    EXPECT_EQ(faultOf("default = 1\n"), "1: \"default\" is not a string; put it in quotes");
    EXPECT_EQ(faultOf("default = \"en\"\nprofile = 2\n"),
              "2: \"profile\" is not a table; write [profile...]");
    EXPECT_EQ(faultOf("default = \"en\"\n[profile]\nen = 2\n"),
              "3: \"en\" is not a table; begin a profile as [profile.NAME]");
    EXPECT_EQ(faultOf("default = \"en\"\n[profile]\n\"a\\nb\" = 2\n"),
              "3: \"a b\" is not a table; begin a profile as [profile.NAME]");
}

TEST_F(AConfiguration, NamesARoleThatIsNotMadeOfStrings)
{
    const std::string before = "default = \"en\"\n[profile.en]\nlanguage = \"x\"\ndisplay = ";
    for (const char* value : {"1", "[]", "{}", "true"})
        EXPECT_EQ(faultOf(before + value + "\n"),
                  "4: \"display\" is neither a string nor an array of strings; write "
                  "display = \"TABLE\" or [\"TABLE\", \"ANOTHER\"]")
            << value;
    for (const char* value : {"[\"a.ctb\",\n1]", "[\"a.ctb\",\n[\"b.ctb\"]]"})
        EXPECT_EQ(faultOf(before + value + "\n"),
                  "5: not all of \"display\" are strings; put each in quotes")
            << value;
}

TEST_F(AConfiguration, NamesALimitThatIsOutOfRange)
{
    for (const char* value : {"1", "65", "-1", "2.5", "\"2\""})
        EXPECT_EQ(faultOf(SMALLEST + "[engine]\nworkers = " + value + "\n"),
                  "9: \"workers\" is to be a whole number from 2 to 64")
            << value;
    EXPECT_EQ(faultOf(SMALLEST + "[engine]\nworkers = 10\nmost-workers = 9\n"),
              "10: \"most-workers\" is to be a whole number from 10 to 64");
    EXPECT_EQ(faultOf(SMALLEST + "[engine]\ndeadline-us-per-character = 100001\n"),
              "9: \"deadline-us-per-character\" is to be a whole number from 0 to 100000");
    EXPECT_EQ(faultOf(SMALLEST + "[engine]\ndeadline-ms = 20001\n"),
              "9: \"deadline-ms\" is to be a whole number from 10 to 20000");
}

TEST_F(AConfiguration, SaysThatItsFileCannotBeRead)
{
    std::filesystem::create_directory(file);
    for (const std::string& name : {std::string("/nowhere/file.toml"), file.string()}) {
        try {
            readConfiguration(name, CATALOGUE);
            ADD_FAILURE() << name << " cannot be read";
        } catch (const ConfigurationError& error) {
            const std::string text = error.what();
            EXPECT_EQ(text.rfind(name + ": cannot be read (", 0), 0U) << text;
        }
    }
}

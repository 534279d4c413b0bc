#include "support/Command.h"
#include "support/Ending.h"
#include "support/Environment.h"
#include "support/FileContent.h"
#include "support/Gdbus.h"
#include "support/PrivateBus.h"
#include "support/ServiceProcess.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

const std::string PROGRAM = TEST_BUILD_FOLDER "/service/brailletranslatord";
const std::string CONFIGURATION = TEST_SOURCE_FOLDER "/service/brailletranslatord.toml";

Outcome run(const std::vector<std::string>& options)
{
    std::vector<std::string> words{PROGRAM, "--config", CONFIGURATION};
    words.insert(words.end(), options.begin(), options.end());
    return Command{words}.run();
}

/** A program that fails says one line, and nothing on its output. */
testing::Matcher<Outcome> failsWith(int status, const std::string& text)
{
    return AllOf(testing::Field(&Outcome::status, status),
                 testing::Field(&Outcome::output, IsEmpty()),
                 testing::Field(&Outcome::errors,
                                AllOf(StartsWith("brailletranslatord: "), HasSubstr(text),
                                      testing::ResultOf(
                                          [](const std::string& errors) {
                                              return std::count(errors.begin(), errors.end(), '\n');
                                          },
                                          1),
                                      EndsWith("\n"))));
}

/** Six lines of a file; the fifth gives the computer role to that translator, or those. */
std::string profile(const std::string& name, const std::string& language,
                    const std::string& computer)
{
    return "[profile." + name + "]\nlanguage = \"" + language + "\"\ndisplay = \"good\"\n" +
           "entry = \"good\"\ncomputer = " + computer + "\ngrade1 = \"good\"\n";
}

/** Two tables instead of those that are installed, and a file. */
class TablesOfATest : public testing::Test
{
protected:
    TablesOfATest()
    {
        for (const char* table : {"good.utb", "other.utb"})
            std::ofstream(folder / table) << "#+type:computer\nspace \\s 0\nlowercase a 1\n";
        tables.emplace("LOUIS_TABLEPATH", folder.c_str());
    }

    /** The name of a file with these profiles, of which the one named x is the default. */
    std::string fileWith(const std::string& profiles) const
    {
        std::ofstream(folder / "file.toml") << "default = \"x\"\n" << profiles;
        return folder / "file.toml";
    }

    TemporaryFolder temporary;
    std::filesystem::path folder = temporary.path();
    std::optional<ScopedVariable> tables;
};

/** The service with a file whose profiles lack tables. */
class AServiceWithoutATable : public TablesOfATest
{
protected:
    void start(const std::string& profiles, std::vector<std::string> options = {})
    {
        options.insert(options.end(), {"--config", fileWith(profiles)});
        service.emplace(options);
    }

    /** What the service has logged until it was started. */
    std::string log() const { return service->startLog(); }

    void reloadWith(const std::string& profiles)
    {
        fileWith(profiles);
        kill(service->pid(), SIGHUP);
    }

    PrivateBus bus;
    std::optional<ServiceProcess> service;
};

/** Which translator has the computer braille role. */
std::string computerRole()
{
    return gdbusCall("getComputerBrailleTranslator").output;
}

/** The service with a file that the test may change, on a bus of their own. */
class TheRunningService : public testing::Test
{
protected:
    void configure(const std::string& content)
    {
        std::ofstream(service.configurationFile()) << content;
        kill(service.pid(), SIGHUP);
    }

    PrivateBus bus;
    ServiceProcess service;
};

} // namespace

TEST(TheServiceProgram, PrintsHelpAndVersionWhenAsked)
{
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"--config", "--profile", "--list", "--check", "--log", "--version"})
        EXPECT_THAT(help.output, HasSubstr(option));
    EXPECT_EQ(run({"--version"}).output, "brailletranslatord " TEST_VERSION "\n");
}

TEST(TheServiceProgram, HasNoOptionThatItsReferenceDoesNotName)
{
    const std::string help = run({"--help"}).output;
    const std::string reference = contentOf(TEST_SOURCE_FOLDER "/docs/service.md");
    std::istringstream words(help);
    std::size_t count = 0;
    for (std::string word; words >> word;) {
        const std::size_t start = word.find("--");
        if (start == std::string::npos)
            continue;
        EXPECT_THAT(reference, HasSubstr("`" + word.substr(start)));
        ++count;
    }
    EXPECT_GT(count, 8U);
}

TEST(TheServiceProgram, NamesWhatItDoesNotKnow)
{
    EXPECT_THAT(run({"--bogus"}), failsWith(2, "--bogus"));
    EXPECT_THAT(run({"--log", "paper"}), failsWith(2, "paper"));
    EXPECT_THAT(run({"--profile", "en"}), failsWith(2, "close to it: en-gb, en-us"));
    EXPECT_THAT(run({"--list", "--check"}), failsWith(2, "--list"));
}

TEST(TheServiceProgram, LeavesTheEngineToItsEngineProcesses)
{
    const std::string engine = TEST_BUILD_FOLDER "/service/brailletranslate-engine";
    const Command ofService{{"readelf", "--dynamic", PROGRAM}};
    const Command ofEngine{{"readelf", "--dynamic", engine}};
    EXPECT_THAT(ofService.run().output, AllOf(HasSubstr("(NEEDED)"), Not(HasSubstr("liblouis"))));
    EXPECT_THAT(ofEngine.run().output, HasSubstr("liblouis"));
}

TEST(TheServiceProgram, NamesTheLineOfItsConfigurationThatIsWrong)
{
    const std::filesystem::path file = testing::TempDir() + "wrong-" + std::to_string(getpid());
    std::ofstream(file) << "default = \"en\"\ncolour = 1\n";
    EXPECT_THAT(run({"--config", file}), failsWith(1, file.string() + ":2: unknown key"));
    std::filesystem::remove(file);
    EXPECT_THAT(run({"--config", file}), failsWith(1, file.string() + ": cannot be read"));
}

TEST(TheServiceProgram, SaysThatThereIsNoBus)
{
    const ScopedVariable noBus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    EXPECT_THAT(run({}), failsWith(1, "Failed to reach the system bus"));
}

TEST(TheServiceProgram, SaysThatThereAreNoTables)
{
    const ScopedVariable noTables("LOUIS_TABLEPATH", "/nonexistent");
    for (const char* option : {"--list", "--check"})
        EXPECT_THAT(run({option}), failsWith(1, "install the package liblouis-data"));
}

TEST(TheServiceProgram, ListsTranslatorsAndProfiles)
{
    const Outcome list = run({"--list", "--profile", "de"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.output, testing::ContainsRegex(
                                 "\nen-ueb-g2.ctb +2 +yes +Unified English contracted braille\n"));
    EXPECT_THAT(list.output, testing::ContainsRegex("\nde-g2.ctb +2 +no +"));
    EXPECT_THAT(list.output, testing::ContainsRegex("\ncs.tbl +1 +yes +"));
    EXPECT_THAT(list.output, testing::ContainsRegex("\nde +de-g2.ctb +[^ ]+ +de-de-comp8.ctb +"
                                                    "[^ ]+ +German \\(default\\)\n"));
    EXPECT_EQ(list.errors, "");
}

TEST(TheServiceProgram, FindsNothingBrokenInWhatIsInstalled)
{
    // However long a busy machine reads a table.
    const Outcome check = run({"--config", TEST_PATIENT_CONFIGURATION, "--check"});
    EXPECT_EQ(check.status, 0);
    EXPECT_THAT(check.output,
                testing::MatchesRegex("[0-9]+ translators and [0-9]+ profiles tried, "
                                      "0 translators broken, 0 profiles not offered\n"));
}

TEST_F(TablesOfATest, AreCheckedForFaultsAndForProfilesThatUseThem)
{
    std::ofstream(folder / "bad.utb") << "#+type:computer\nnonsense here\n";
    const Outcome check = run({"--config", fileWith(profile("x", "X", "\"bad\"")), "--check"});
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output,
                AllOf(StartsWith("bad.utb: the engine cannot use the table"),
                      HasSubstr("profile x: its computer translator bad.utb is broken\n"),
                      EndsWith("3 translators and 1 profiles tried, 1 translators broken, "
                               "0 profiles not offered\n")));
}

TEST_F(TablesOfATest, AreCheckedForThoseThatProfilesLack)
{
    const std::string file = fileWith(profile("x", "X", "[\"lost.ctb\", \"gone.utb\"]") +
                                      profile("y", "Y", "[\"lost.ctb\", \"other.utb\"]"));
    const Outcome check = run({"--config", file, "--check"});
    EXPECT_EQ(check.status, 1);
    EXPECT_EQ(check.output, file + ":6: profile x: its computer translator is not installed "
                                   "(\"lost.ctb\" or \"gone.utb\")\n"
                                   "2 translators and 2 profiles tried, 0 translators broken, "
                                   "1 profiles not offered\n");
}

TEST_F(TablesOfATest, AreListedWithTheProfilesThatAreOffered)
{
    const std::string file =
        fileWith(profile("x", "X", "\"lost\"") + profile("y", "Y", "\"other\""));
    const Outcome list = run({"--config", file, "--list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.output,
                testing::MatchesRegex("TRANSLATOR .*\ngood.utb .*\nother.utb .*\n\nPROFILE .*\n"
                                      "y +good.utb +good.utb +other.utb +good.utb +Y "
                                      "\\(default\\)\n"));
    EXPECT_THAT(list.errors,
                AllOf(StartsWith("brailletranslatord: " + file + ":6: the language profile \"x\" "),
                      HasSubstr("its computer translator is not installed (\"lost\")"),
                      Not(HasSubstr("\"y\""))));
}

TEST_F(TablesOfATest, AreListedWithoutProfilesWhenNoneIsOffered)
{
    const std::string file = fileWith(profile("x", "X", "\"lost\""));
    const Outcome list = run({"--config", file, "--list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.output, AllOf(HasSubstr("\ngood.utb "), Not(HasSubstr("PROFILE"))));
    EXPECT_THAT(list.errors, HasSubstr(file + ":6: "));
}

TEST_F(TablesOfATest, AreListedWhateverIsWrongWithTheFile)
{
    const std::string file = fileWith("colour = 1\n");
    const Outcome broken = run({"--config", file, "--list"});
    EXPECT_EQ(broken.status, 1);
    EXPECT_THAT(broken.output, AllOf(StartsWith("TRANSLATOR"), HasSubstr("\ngood.utb "),
                                     HasSubstr("\nother.utb "), Not(HasSubstr("PROFILE"))));
    EXPECT_THAT(broken.errors,
                StartsWith("brailletranslatord: " + file + ":2: unknown key \"colour\""));

    const Outcome missing = run({"--config", folder / "nothing", "--list"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.output, broken.output);
    EXPECT_THAT(missing.errors, HasSubstr("nothing: cannot be read"));
}

TEST_F(AServiceWithoutATable, StartsWithTheNextBestProfileAndSaysSo)
{
    start(profile("a", "A", "\"good\"") + profile("x", "X", "\"lost\"") +
          profile("x-y", "X (Y)", "\"other\""));
    EXPECT_THAT(log(), AllOf(HasSubstr("WARN: " + (folder / "file.toml").string() +
                                       ":12: the language profile \"x\" is not offered"),
                             HasSubstr("WARN: starts with the language profile \"x-y\", because "
                                       "\"x\" is not offered\n")));
    EXPECT_THAT(computerRole(), HasSubstr("other.utb"));
}

TEST_F(AServiceWithoutATable, ReplacesTheProfileOfItsOptionToo)
{
    start(profile("x", "X", "\"good\"") + profile("z", "Z", "\"lost\"") +
              profile("z-a", "Z", "\"other\""),
          {"--profile", "z"});
    EXPECT_THAT(log(), HasSubstr("starts with the language profile \"z-a\", because \"z\" is not"));
    EXPECT_THAT(computerRole(), HasSubstr("other.utb"));
}

TEST_F(AServiceWithoutATable, TellsWhoWantsAProfileWhichTableItLacks)
{
    start(profile("x", "X", "\"other\"") + profile("z", "Z", "[\"lost\", \"gone.utb\"]"));
    EXPECT_THAT(gdbusCall("changeLanguageProfile", {"z"}).errors,
                AllOf(HasSubstr("braille.translator.Error.NoSuchProfile"),
                      HasSubstr("its computer translator is not installed (\"lost\" or "
                                "\"gone.utb\")")));
    EXPECT_THAT(computerRole(), HasSubstr("other.utb")) << "the profile stays";
    EXPECT_THAT(log(), Not(HasSubstr("starts with the language profile")));
}

TEST_F(AServiceWithoutATable, AnswersRolesWithWhatToInstallWhenNoProfileIsOffered)
{
    start(profile("x", "X", "[\"lost\", \"gone.utb\"]"));
    EXPECT_THAT(log(), HasSubstr("WARN: offers no language profile"));
    for (const char* question :
         {"getPreferredBrailleTranslatorForDisplay", "getPreferredBrailleTranslatorForEntry",
          "getComputerBrailleTranslator", "getGrade1TranslatorForPreferredEntry"})
        EXPECT_THAT(
            gdbusCall(question).errors,
            AllOf(HasSubstr("braille.translator.Error.EngineFailed"),
                  HasSubstr("\"x\" is not offered: its computer translator is not "
                            "installed (\"lost\" or \"gone.utb\"); install what is missing")))
            << question;
    EXPECT_THAT(gdbusCall("getTranslatorByName", {"good"}).output, HasSubstr("'good.utb'"));
    EXPECT_THAT(gdbusCall("forwardW", {"good", "[97]", "0"}).output, HasSubstr("[uint32 10241]"));
}

TEST_F(AServiceWithoutATable, OffersWhatItsFileMendsWhenItReadsAgain)
{
    start(profile("a", "English", "\"good\"") + profile("x", "X", "\"lost\""));
    ASSERT_THAT(computerRole(), HasSubstr("good.utb"));
    reloadWith(profile("a", "English", "\"good\"") + profile("x", "X", "[\"lost\", \"other\"]"));
    service->logUntil("has read");
    EXPECT_THAT(computerRole(), HasSubstr("other.utb")) << "it is the profile that was wanted";
}

TEST_F(AServiceWithoutATable, ReplacesAProfileThatLosesATableWhenItReadsAgain)
{
    start(profile("x", "X", "\"good\"") + profile("y", "Y", "\"good\""));
    ASSERT_EQ(gdbusCall("changeLanguageProfile", {"y"}).status, 0);
    reloadWith(profile("x", "X", "\"good\"") + profile("y", "Y", "\"lost\"") +
               profile("y-z", "Y (Z)", "\"other\""));
    EXPECT_THAT(service->logUntil("has read"),
                AllOf(HasSubstr(":12: the language profile \"y\" is not offered"),
                      HasSubstr("starts with the language profile \"y-z\", because \"y\" is not")));
    EXPECT_THAT(computerRole(), HasSubstr("other.utb"));
    reloadWith(profile("x", "X", "\"lost\""));
    EXPECT_THAT(service->logUntil("has read"), HasSubstr("offers no language profile"));
    EXPECT_THAT(gdbusCall("getComputerBrailleTranslator").errors, HasSubstr("(\"lost\")"));
}

TEST_F(AServiceWithoutATable, StillEndsForAMistakeInItsFile)
{
    EXPECT_THAT(run({"--config", fileWith(profile("x", "X", "[\"good\", 1]"))}),
                failsWith(1, ":6: not all of \"computer\" are strings"));
    EXPECT_THAT(run({"--config", fileWith(profile("y", "Y", "\"good\""))}),
                failsWith(1, ":1: no language profile is named \"x\""));
}

TEST(TheServiceProgram, StartsWithTheProfileThatItIsTold)
{
    const PrivateBus bus;
    const ServiceProcess service({"--profile", "de"});
    EXPECT_THAT(computerRole(), HasSubstr("de-de-comp8.ctb"));
}

TEST(TheServiceProgram, CanLogToTheSystem)
{
    const PrivateBus bus(PrivateBus::Services::REAL);
    ASSERT_EQ(gdbusCall("getComputerBrailleTranslator").status, 0);
    const Outcome second = run({"--log", "syslog"});
    EXPECT_THAT(second, failsWith(1, "already taken")) << "why it ends goes to stderr anyway";
}

TEST(TheServiceProgram, TellsItsClientsThatThereAreNoTables)
{
    const PrivateBus bus;
    const ScopedVariable noTables("LOUIS_TABLEPATH", "/nonexistent");
    const ServiceProcess service;
    for (const Outcome& refused : {gdbusCall("getComputerBrailleTranslator"),
                                   gdbusCall("getTranslatorByName", {"en-ueb-g2"}),
                                   gdbusCall("forwardW", {"en-ueb-g2", "[97]", "0"})})
        EXPECT_THAT(refused.errors, AllOf(HasSubstr("braille.translator.Error.EngineFailed"),
                                          HasSubstr("install the package liblouis-data")));
    EXPECT_EQ(gdbusCall("changeLanguageProfile", {"de"}).status, 0) << "the profiles are there";
}

TEST_F(TheRunningService, LeavesItsNameToItself)
{
    EXPECT_THAT(run({}), failsWith(1, "already taken"));
    EXPECT_THAT(computerRole(), HasSubstr("en_US-comp8-ext.tbl"));
}

TEST_F(TheRunningService, TakesItsEnginesAlongWhenItIsKilled)
{
    std::list<Ending> endings;
    for (const pid_t engine : service.engines())
        endings.emplace_back(engine);
    ASSERT_THAT(endings, SizeIs(2));
    service.end(SIGKILL);
    for (const Ending& ending : endings)
        ending.await();
}

TEST_F(TheRunningService, EndsWhenItIsInterrupted)
{
    EXPECT_EQ(service.end(SIGINT), 0);
}

TEST_F(TheRunningService, EndsWhenItsBusGoes)
{
    bus.kill(SIGKILL);
    EXPECT_THAT(service.logUntil("the bus has gone"), HasSubstr("the bus has gone"));
    EXPECT_EQ(service.end(0), 0);
}

TEST_F(TheRunningService, ReadsItsProfilesAgain)
{
    ASSERT_THAT(computerRole(), HasSubstr("en_US-comp8-ext.tbl"));
    configure("default = \"en-us\"\n[profile.en-us]\nlanguage = \"English\"\n"
              "display = \"en-ueb-g1\"\nentry = \"en-ueb-g1\"\n"
              "computer = \"en-gb-comp8\"\ngrade1 = \"en-ueb-g1\"\n");
    service.logUntil("has read");
    EXPECT_THAT(computerRole(), HasSubstr("en-gb-comp8.ctb"));
    EXPECT_NE(gdbusCall("changeLanguageProfile", {"de"}).status, 0) << "it is no longer there";
    configure(ServiceProcess::configurationWith(""));
    service.logUntil("has read");
    EXPECT_EQ(gdbusCall("changeLanguageProfile", {"de"}).status, 0) << "and now it is, again";
}

TEST_F(TheRunningService, GoesToTheNewDefaultWhenItsProfileIsGone)
{
    configure("default = \"x\"\n[profile.x]\nlanguage = \"X\"\ndisplay = \"en-ueb-g1\"\n"
              "entry = \"en-ueb-g1\"\ncomputer = \"de-de-comp8\"\ngrade1 = \"en-ueb-g1\"\n");
    service.logUntil("has read");
    EXPECT_THAT(computerRole(), HasSubstr("de-de-comp8.ctb"));
}

TEST_F(TheRunningService, KeepsAProfileThatAClientHasChosenWhenItReadsAgain)
{
    ASSERT_EQ(gdbusCall("changeLanguageProfile", {"de"}).status, 0);
    configure(ServiceProcess::configurationWith("workers = 4"));
    service.logUntil("has read");
    EXPECT_THAT(computerRole(), HasSubstr("de-de-comp8.ctb"));
    EXPECT_THAT(service.engines(), SizeIs(4)) << "the limits are new, too";
}

TEST_F(TheRunningService, KeepsItsProfilesWhenTheNewOnesAreBroken)
{
    configure("default = \"en-us\"\n[profile.en-us]\nlanguage = \"English\"\n"
              "display = 4\n");
    EXPECT_THAT(service.logUntil("ERROR"),
                AllOf(HasSubstr(service.configurationFile() + ":4: \"display\" is neither"),
                      HasSubstr("stay as they were")));
    EXPECT_THAT(computerRole(), HasSubstr("en_US-comp8-ext.tbl"));
    EXPECT_EQ(gdbusCall("changeLanguageProfile", {"de"}).status, 0);
}

#include "support/Command.h"
#include "support/Gdbus.h"
#include "support/PrivateBus.h"
#include "support/ServiceProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
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
    ServiceProcess service{{}, "deadline-ms = 20000"};
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
    std::ifstream file(TEST_SOURCE_FOLDER "/docs/service.md");
    const std::string reference{std::istreambuf_iterator<char>(file), {}};
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
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_THAT(run({}), failsWith(1, "Failed to reach the system bus"));
}

TEST(TheServiceProgram, SaysThatThereAreNoTables)
{
    setenv("LOUIS_TABLEPATH", "/nonexistent", 1);
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
    const Outcome check = run({"--check"});
    EXPECT_EQ(check.status, 0);
    EXPECT_THAT(check.output, AllOf(HasSubstr(" 0 translators broken\n"), EndsWith("broken\n")));
}

TEST(TheServiceProgram, SaysWhichTablesAreBrokenAndWhichProfilesUseThem)
{
    const std::filesystem::path folder = testing::TempDir() + "tables-" + std::to_string(getpid());
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "good.utb") << "#+type:computer\nspace \\s 0\n";
    std::ofstream(folder / "bad.utb") << "#+type:computer\nnonsense here\n";
    const std::filesystem::path file = folder / "file.toml";
    std::ofstream(file) << "default = \"x\"\n[profile.x]\nlanguage = \"X\"\ndisplay = \"good\"\n"
                           "entry = \"bad\"\ncomputer = \"good\"\ngrade1 = \"good\"\n";
    setenv("LOUIS_TABLEPATH", folder.c_str(), 1);
    const Outcome check = run({"--config", file, "--check"});
    std::filesystem::remove_all(folder);
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output,
                AllOf(StartsWith("bad.utb: the engine cannot use the table"),
                      HasSubstr("profile x: its entry translator bad.utb is broken\n"),
                      EndsWith("2 translators and 1 profiles tried, 1 translators broken\n")));
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
    setenv("LOUIS_TABLEPATH", "/nonexistent", 1);
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

TEST_F(TheRunningService, EndsCleanlyWithinASecondWhateverItIsDoing)
{
    std::thread caller([] {
        gdbusCall(
            "forwardW",
            {"de-g2.ctb", "[69, 45, 77, 97, 105, 108, 58, 32, 45, 64, 104, 111, 109, 101]", "0"});
    });
    while (service.busyEngines().empty())
        std::this_thread::yield();
    const std::vector<pid_t> engines = service.engines();
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(service.end(SIGTERM), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    caller.join();
    for (const pid_t engine : engines)
        EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(engine)));
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
              "display = \"nonsense\"\n");
    EXPECT_THAT(service.logUntil("ERROR"),
                AllOf(HasSubstr(service.configurationFile() + ":4: no translator is named"),
                      HasSubstr("stay as they were")));
    EXPECT_THAT(computerRole(), HasSubstr("en_US-comp8-ext.tbl"));
    EXPECT_EQ(gdbusCall("changeLanguageProfile", {"de"}).status, 0);
}

/** What the scripts do where nothing is installed or built. Nothing is by these tests either. */
#include "Brltranslate.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Gt;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

namespace fs = std::filesystem;

/** Ends what scripts/setup would begin, which it prints. */
constexpr int SETUP_STATUS = 33;

/** A dpkg-query that knows every package. */
constexpr const char* INSTALLED = "for name; do echo \"installed $name\"; done";

/** A clone with the project's scripts and documents, and programs of the test's own before others.
 */
class ABareMachine : public testing::Test
{
protected:
    ABareMachine()
    {
        clone = fs::path(folder) / "clone";
        fs::create_directories(folder + "/clone/scripts");
        fs::create_directory(folder + "/programs");
        for (const char* name : {"docs", "README.md", "packaging", "CMakePresets.json"})
            fs::create_symlink(fs::path(TEST_SOURCE_FOLDER) / name, fs::path(clone) / name);
        for (const auto& script : fs::directory_iterator(TEST_SOURCE_FOLDER "/scripts"))
            fs::create_symlink(script.path(), clone / "scripts" / script.path().filename());
        fs::rename(clone / "scripts/setup", clone / "scripts/real-setup");
        write(clone / "scripts/setup", "echo setup \"$@\"; exit " + std::to_string(SETUP_STATUS));
    }

    static void write(const fs::path& path, const std::string& commands)
    {
        std::ofstream(path) << "#!/bin/sh\n" << commands << '\n';
        fs::permissions(path, fs::perms::owner_all);
    }

    /** A program that is found before those of the system. */
    void install(const std::string& name, const std::string& commands) const
    {
        write(folder + "/programs/" + name, commands);
    }

    Outcome run(Words words, const std::string& laterPath = "/usr/sbin:/usr/bin:/sbin:/bin") const
    {
        words.front().insert(0, clone.string() + "/scripts/");
        // The tests themselves may be run with a preset or a build folder of their own.
        return Command{
            std::move(words),
            "",
            {{"PATH", folder + "/programs:" + laterPath}, {"PRESET", ""}, {"BUILD_DIR", ""}}}
            .run();
    }

    /** It has said one line that begins so, and done nothing. */
    static void expectRefusal(const Outcome& outcome, int status, const std::string& beginning)
    {
        EXPECT_EQ(outcome.status, status) << outcome.errors;
        EXPECT_THAT(linesOf(outcome.errors), ElementsAre(StartsWith(beginning)));
        EXPECT_EQ(outcome.output, "");
    }

    /** What setup prints if all packages are installed and CMake fails like this. */
    std::vector<std::string> complaintsOfSetup(const std::string& commandsOfCmake) const
    {
        install("dpkg-query", INSTALLED);
        install("cmake", commandsOfCmake);
        const Outcome outcome = run({"real-setup", "default"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, "");
        return linesOf(outcome.errors);
    }

    TemporaryFolder temporary;
    std::string folder = temporary.path();
    fs::path clone;
};

/** One way to give an option, as "--cursor", "N". */
struct Usage
{
    std::string option;
    std::string value;
};

/** Whether a help text lists that option, and not only a longer one. */
bool hasOption(const std::string& help, const std::string& option)
{
    for (std::size_t at = help.find(option); at != std::string::npos;
         at = help.find(option, at + 1)) {
        const char before = at > 0 ? help[at - 1] : ' ';
        const char next = at + option.size() < help.size() ? help[at + option.size()] : '\n';
        if (std::strchr(" ,", before) != nullptr && std::strchr(" \n,[", next) != nullptr)
            return true;
    }
    return false;
}

/** What brltranslate itself says of its options. */
std::vector<Usage> usages()
{
    std::vector<Usage> found;
    for (const std::string& text : linesOf(run({"--help"}).output)) {
        if (text.rfind("  -", 0) != 0)
            continue;
        std::istringstream words(text);
        std::string names;
        std::string value;
        words >> names >> value;
        // Without a value, that is the first word of the description.
        if (!std::all_of(value.begin(), value.end(), [](char c) { return c >= 'A' && c <= 'Z'; }))
            value.clear();
        found.push_back({names.substr(names.find("--")), value});
        if (names.find(',') == 2)
            found.push_back({names.substr(0, 2), value});
    }
    return found;
}

/** The words of a list in scripts/lib/ctest-options.sh. */
std::vector<std::string> optionsOfCtest(const std::string& list)
{
    const std::string program = ". '" TEST_SOURCE_FOLDER "/scripts/lib/ctest-options.sh'\n"
                                "printf '%s\\n' \"${" +
                                list + "[@]}\"\n";
    return linesOf(Command{{"bash", "-c", program}}.run().output);
}

} // namespace

TEST_F(ABareMachine, GetsOnlyWhatTranslatesForATranslation)
{
    const Outcome outcome = run({"translate", "--role", "entry", "text"});
    EXPECT_EQ(outcome.status, SETUP_STATUS) << outcome.errors;
    EXPECT_EQ(outcome.output, "setup translate brltranslate brailletranslatord\n");
}

TEST_F(ABareMachine, KnowsEveryOptionOfTheProgramAndItsValue)
{
    EXPECT_THAT(usages(), SizeIs(Gt(20U)));
    for (const auto& [option, value] : usages()) {
        Words words = {"translate", option};
        if (!value.empty()) {
            expectRefusal(run(words), 2, "translate: " + option + " needs a value");
            words.push_back("1");
        }
        EXPECT_EQ(run(words).status, SETUP_STATUS) << option;
        if (value == "N") {
            words.back() = "x";
            expectRefusal(run(words), 2, "translate: " + option + " needs a whole number");
        }
    }
}

TEST_F(ABareMachine, KnowsLettersThatAreJoinedAndValuesBehindASign)
{
    for (const char* option : {"-bq", "-c4", "-qc4", "-qtname", "--cursor=4", "--translator=a=b"})
        EXPECT_EQ(run({"translate", option, "text"}).status, SETUP_STATUS) << option;
}

TEST_F(ABareMachine, TakesWhatFollowsTwoDashesForText)
{
    EXPECT_EQ(run({"translate", "--", "--dashed"}).status, SETUP_STATUS);
    EXPECT_EQ(run({"translate", "-q", "text", "--", "-z"}).status, SETUP_STATUS);
}

TEST_F(ABareMachine, StaysAsItIsIfAnOptionOfATranslationIsWrong)
{
    expectRefusal(run({"translate", "--no-such-option"}), 2,
                  "translate: there is no option --no-such-option; ");
    expectRefusal(run({"translate", "-qz", "text"}), 2, "translate: there is no option -z; ");
    expectRefusal(run({"translate", "text", "-c4x"}), 2, "translate: -c needs a whole number");
    expectRefusal(run({"translate", "--quiet=1"}), 2, "translate: --quiet takes no value; ");
    expectRefusal(run({"translate", "--nothing=1"}), 2,
                  "translate: there is no option --nothing; ");
}

TEST_F(ABareMachine, GetsEverythingForTheTests)
{
    const Outcome outcome = run({"test", "-R", "Name", "-j4", "--no-tests=ignore", "-VV"});
    EXPECT_EQ(outcome.status, SETUP_STATUS) << outcome.errors;
    EXPECT_EQ(outcome.output, "setup default\n");
}

TEST_F(ABareMachine, StaysAsItIsIfCtestWouldIgnoreAnArgument)
{
    for (const char* script : {"test", "test-armhf"}) {
        const std::string begin = std::string(script) + ": ";
        for (const char* argument : {"--misspelt", "Name", "-RName", "--tests-regex=Name"})
            expectRefusal(run({script, argument}), 2, begin + "there is no option " + argument);
        expectRefusal(run({script, "-N", "-R"}), 2, begin + "-R needs a value");
    }
}

TEST_F(ABareMachine, StaysAsItIsIfHelpIsAskedFor)
{
    for (const char* script : {"test", "test-armhf"}) {
        const Outcome outcome = run({script, "--help"});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_THAT(outcome.output, StartsWith("Usage: scripts/" + std::string(script) + " "));
        EXPECT_THAT(outcome.output, Not(HasSubstr("set -e")));
    }
}

TEST_F(ABareMachine, TellsAnOrdinaryUserWithoutSudoWhatToRunAsRoot)
{
    const fs::path system = folder + "/system";
    fs::create_directory(system);
    for (const char* tool :
         {"awk", "bash", "dirname", "env", "grep", "mkdir", "paste", "sed", "sort", "tail"})
        fs::create_symlink("/usr/bin/" + std::string(tool), system / tool);
    install("id", "echo 1000");
    install("dpkg-query", "exit 1");
    const Outcome outcome = run({"real-setup", "translate"}, system);
    expectRefusal(outcome, 1,
                  "setup: packages are missing, and there is no sudo; run as root: apt-get update "
                  "&& apt-get install --no-install-recommends cmake ");
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr(" g++ "), HasSubstr(" liblouis-dev ")));
    EXPECT_THAT(outcome.errors, Not(HasSubstr("libgtest-dev")));
    EXPECT_THAT(run({"real-setup"}, system).errors, HasSubstr(" libgtest-dev "));
}

TEST_F(ABareMachine, ConfiguresOneBuildWithTestsOnceTheyAreAskedFor)
{
    install("dpkg-query", INSTALLED);
    install("cmake", "echo \"$1 $2\" >>'" + folder +
                         "/calls'\n"
                         "[ \"$1\" = --preset ] || exit 0\n"
                         "tests=ON; [ \"$2\" = default ] || tests=OFF\n"
                         "echo BRAILLETRANSLATE_TESTS:BOOL=$tests >build/default/CMakeCache.txt\n"
                         "touch build/default/build.ninja");
    const std::string build = "--build " + clone.string() + "/build/default";
    for (const char* preset : {"translate", "translate", "default", "default", "translate"})
        EXPECT_EQ(run({"real-setup", preset}).status, 0);
    EXPECT_THAT(
        linesOf(contentOf(folder + "/calls")),
        ElementsAre("--preset translate", build, build, "--preset default", build, build, build));
}

TEST_F(ABareMachine, SaysInOneLineWhyCmakeRefusesIt)
{
    // pkg-config finds no package.
    const auto complaints =
        complaintsOfSetup("PKG_CONFIG_PATH= PKG_CONFIG_LIBDIR=/ exec /usr/bin/cmake -P "
                          "'" TEST_SOURCE_FOLDER "/cmake/Sdbus.cmake'");
    EXPECT_THAT(complaints,
                ElementsAre("setup: configuring build/default",
                            AllOf(StartsWith("setup: cannot configure: libBrailleTranslate works "
                                             "with sdbus-c++ 1.2 and later "),
                                  EndsWith("; pkg-config finds none: install libsdbus-c++-dev; " +
                                           clone.string() +
                                           "/build/default/configure.log has all of it"))));
    EXPECT_THAT(contentOf(clone / "build/default/configure.log"), HasSubstr("Call Stack"));
}

TEST_F(ABareMachine, ShowsAllThatCmakeSaidOtherwise)
{
    const std::string log = clone.string() + "/build/default/configure.log";
    for (const char* said : {"echo begin; echo end >&2; exit 1",
                             "echo begin; echo 'message(FATAL_ERROR \"a\\n\\nb\")' >x.cmake; "
                             "/usr/bin/cmake -P x.cmake; status=$?; echo end; exit $status"}) {
        const auto complaints = complaintsOfSetup(said);
        ASSERT_THAT(complaints, SizeIs(Gt(3U)));
        EXPECT_EQ(complaints[1], "begin");
        EXPECT_EQ(complaints[complaints.size() - 2], "end");
        EXPECT_EQ(complaints.back(),
                  "setup: cannot configure; what was said is above and in " + log);
    }
}

TEST_F(ABareMachine, StaysAsItIsIfThereIsNoSuchPreset)
{
    const Outcome outcome = run({"real-setup", "no-such-preset"});
    expectRefusal(outcome, 1, "setup: there is no preset no-such-preset; there are: ");
    EXPECT_THAT(outcome.errors, AllOf(HasSubstr(" default "), HasSubstr(" translate ")));
    EXPECT_THAT(outcome.errors, Not(HasSubstr(" base ")));
}

TEST_F(ABareMachine, IsAskedForTheMirrorOfItsOwnReleaseForAnUnknownSuite)
{
    install("apt-get", ". /etc/os-release\n"
                       "case $* in *\"Codename: $VERSION_CODENAME\") echo its-mirror ;; esac");
    EXPECT_EQ(run({"debian-mirror", "no-such-suite"}).output, "its-mirror\n");
    install("apt-get", "");
    expectRefusal(run({"debian-mirror", "no-such-suite"}), 1, "debian-mirror: apt knows no mirror");
}

/** A machine that could make Debian systems, with a mirror of its own. */
class AMakerOfSystems : public ABareMachine
{
protected:
    AMakerOfSystems()
    {
        write(clone / "scripts/setup", "exit 0");
        install("unshare", "exit 0");
        install("git", "exit 0");
        fs::remove(clone / "scripts/debian-mirror");
        write(clone / "scripts/debian-mirror", "echo 'file:" + folder + "/mirror'");
        fs::create_directories(folder + "/mirror/dists/suite");
        std::ofstream(folder + "/mirror/dists/suite/Release") << "Architectures: all other\n";
    }

    void expectUntouched() const { EXPECT_TRUE(fs::is_empty(clone / "build/test-on")); }
};

TEST_F(AMakerOfSystems, SaysHowItIsAsked)
{
    expectRefusal(run({"test-on"}), 2, "test-on: name a suite, such as trixie; usage: ");
    expectRefusal(run({"test-on", "suite", "--bogus"}), 2, "test-on: there is no option --bogus; ");
    expectRefusal(run({"test-on", "suite", "a", "b"}), 2, "test-on: b is one name too many; ");
    expectRefusal(run({"test-on", "suite", "a", "--packages"}), 2, "test-on: --packages is for ");
}

TEST_F(AMakerOfSystems, SaysWhatASuiteLacks)
{
    expectRefusal(run({"test-on", "no-such-suite"}), 1,
                  "test-on: file:" + folder + "/mirror has no suite no-such-suite; name one ");
    expectRefusal(run({"test-on", "suite", "mine"}), 1,
                  "test-on: suite has no architecture mine; there are: all other");
    expectRefusal(run({"test-on", "suite", "other"}), 1,
                  "test-on: this machine runs no programs for other; install ");
    expectUntouched();
}

TEST_F(AMakerOfSystems, SaysWhatThereIsNoCloneOf)
{
    install("git", "echo 'fatal: not a git repository' >&2; exit 128");
    expectRefusal(run({"test-on", "suite"}), 1,
                  "test-on: " + clone.string() + " is no git clone that ");
    EXPECT_FALSE(fs::exists(clone / "build/test-on"));
}

TEST_F(AMakerOfSystems, LeavesTheSystemOfAnotherRunAlone)
{
    install("dpkg", "echo all");
    const fs::path system = clone / "build/test-on/suite-all";
    fs::create_directories(system);
    const int lock =
        open((system.string() + ".lock").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    expectRefusal(run({"test-on", "suite"}), 1, "test-on: another run is at work in ");
    close(lock);
    EXPECT_TRUE(fs::exists(system));
}

TEST_F(AMakerOfSystems, SaysThatThereAreNoNamespaces)
{
    install("unshare", "echo 'unshare: Operation not permitted' >&2; exit 1");
    const Outcome outcome = run({"test-on", "suite"});
    expectRefusal(outcome, 1, "test-on: ");
    EXPECT_THAT(outcome.errors, HasSubstr("no namespaces here (unshare: Operation not permitted)"));
    expectUntouched();
}

TEST(TheOptionsOfCtest, AreKnownToIt)
{
    const std::string help = Command{{"ctest", "--help"}}.run().output;
    for (const char* list : {"ctest_options", "ctest_options_with_value"}) {
        const auto options = optionsOfCtest(list);
        EXPECT_THAT(options, SizeIs(Gt(10U)));
        for (const std::string& option : options)
            EXPECT_TRUE(hasOption(help, option)) << option;
    }
}

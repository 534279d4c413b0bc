#include "Brltranslate.h"
#include "support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string SCRIPTS = TEST_SOURCE_FOLDER "/scripts/";

Command script(std::vector<std::string> words, const std::string& input = "")
{
    words.front().insert(0, SCRIPTS);
    return {std::move(words), input, {{"BUILD_DIR", TEST_BUILD_FOLDER}}};
}

int openBus(const std::string& address)
{
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_address(bus, address.c_str());
    const int result = sd_bus_start(bus);
    sd_bus_unref(bus);
    return result;
}

} // namespace

TEST(WithPrivateBus, RunsACommandWithABusOfItsOwnThatEndsWithIt)
{
    const Outcome outcome =
        script({"with-private-bus", "printenv", "DBUS_SYSTEM_BUS_ADDRESS"}).run();
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    ASSERT_THAT(outcome.output, StartsWith("unix:"));
    EXPECT_LT(openBus(outcome.output.substr(0, outcome.output.size() - 1)), 0);
}

TEST(WithPrivateBus, HandsArgumentsInputOutputAndStatusThrough)
{
    const Outcome outcome =
        script({"with-private-bus", "sh", "-c", "cat; echo \"$1\" >&2; exit 7", "sh", "a  b"}, "in")
            .run();
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.output, "in");
    EXPECT_EQ(outcome.errors, "a  b\n");
}

TEST(WithPrivateBus, SaysHowItIsUsed)
{
    const Outcome outcome = script({"with-private-bus"}).run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, StartsWith("Usage: "));
}

TEST(WithPrivateBus, SaysThatNothingIsBuilt)
{
    Command elsewhere = script({"with-private-bus", "true"});
    elsewhere.environment = {{"BUILD_DIR", "/nonexistent"}};
    const Outcome outcome = elsewhere.run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("run scripts/setup first"));
}

TEST(Translate, ReadsStandardInput)
{
    const Outcome outcome = script({"translate"}, "and\n").run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "source   and\nbraille  \u282f\nmap      0 0 0 1\n");
}

TEST(Translate, PrintsTextBehindTwoDashesLikeAnyText)
{
    const Outcome outcome = script({"translate", "--", "--dashed"}).run();
    EXPECT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_EQ(outcome.output, "source   --dashed\n"
                              "braille  \u2824\u2824\u2819\u2801\u2829\u282b\n"
                              "map      0 1 2 3 4 4 5 5 6\n");
}

TEST(Translate, PrintsItsUsageOnATerminalWithoutText)
{
    Command onTerminal = script({"translate"});
    onTerminal.isOnTerminal = true;
    const Outcome outcome = onTerminal.run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(outcome.errors, StartsWith("Usage: scripts/translate"));
}

TEST(Translate, HandsTheProgramsStatusThrough)
{
    EXPECT_EQ(script({"translate", "--bogus"}).run().status, 2);
    EXPECT_EQ(script({"translate", "-t", "no-such-table", "x"}).run().status, 2);
    EXPECT_EQ(script({"translate"}, "\xff\n").run().status, 1);
}

TEST(MeasureProfiles, SaysHowItIsUsed)
{
    const Outcome outcome = script({"measure-profiles", "--bogus"}).run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("Usage: scripts/measure-profiles"));
}

/** The check with a program in place of the measuring one: it prints docs/profiles.md's, edited. */
class TheCheckOfProfiles : public testing::Test
{
protected:
    TheCheckOfProfiles() { std::filesystem::create_directory(build / "benchmarks"); }

    /** What it says of the figures of the first version there after an edit by sed. */
    Outcome of(const std::string& edit) const
    {
        const std::filesystem::path program = build / "benchmarks/profile-figures";
        std::ofstream(program) << "#!/bin/sh\nawk '/^<!-- .* end -->/ { exit } inside { print } "
                                  "/^<!-- .* begin -->/ { inside = 1 }' "
                                  "'" TEST_SOURCE_FOLDER "/docs/profiles.md' | sed '"
                               << edit << "'\n";
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        return Command{{SCRIPTS + "measure-profiles", "--check"}, "", {{"BUILD_DIR", build}}}.run();
    }

    TemporaryFolder temporary;
    std::filesystem::path build = temporary.path();
};

TEST_F(TheCheckOfProfiles, PassesWithTheFiguresOfTheDocument)
{
    const Outcome same = of("");
    EXPECT_EQ(same.status, 0) << same.errors;
    EXPECT_EQ(same.output + same.errors, "");
}

TEST_F(TheCheckOfProfiles, FailsWithOtherFiguresOfTheSameVersion)
{
    const Outcome changed = of("/^| en-us /s/100.0 %/99.9 %/");
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(changed.errors, HasSubstr("does not show the figures of liblouis"));
}

TEST_F(TheCheckOfProfiles, FailsWithOtherRowsOfAnotherVersionInTheDocument)
{
    const Outcome changed = of("1s/ [0-9.]*:/ 3.33.0:/");
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(changed.errors, HasSubstr("does not show the figures of liblouis 3.33.0"));
}

TEST_F(TheCheckOfProfiles, ComparesNoFiguresOfAVersionThatTheDocumentHasNot)
{
    const Outcome other = of("1s/ [0-9.]*:/ 99.0.0:/; s/100.0 %/99.9 %/; /^| vi /s/ vi-.*/ x |/");
    EXPECT_EQ(other.status, 0) << other.errors;
    EXPECT_THAT(other.output, HasSubstr("and none of 99.0.0, to compare with"));
}

TEST_F(TheCheckOfProfiles, HoldsEveryVersionToTheProfilesOfTheDocument)
{
    for (const char* edit : {"/^| vi /d", "s/Vietnamese/Viet/", "/^| vi /{p; s/vi/vo/}"}) {
        const Outcome other = of(std::string("1s/ [0-9.]*:/ 99.0.0:/; ") + edit);
        EXPECT_EQ(other.status, 1) << edit;
        EXPECT_THAT(other.errors, HasSubstr("shows other profiles"));
    }
}

TEST(Fuzz, SaysHowItIsUsed)
{
    const Outcome outcome = script({"fuzz", "fuzz-reply"}).run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("Usage: scripts/fuzz"));
}

TEST(Fuzz, NamesTheFuzzersThereAre)
{
    const Outcome outcome = script({"fuzz", "1", "no-such-fuzzer"}).run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.errors, "fuzz: no fuzzer no-such-fuzzer; there are: "
                              "fuzz-cells fuzz-reply fuzz-result\n");
}

/** What others write there, until none of them has it open any more; closes it. */
std::string restOf(int descriptor)
{
    fcntl(descriptor, F_SETFL, 0); // waits from now on
    std::string rest;
    for (char next = 0; read(descriptor, &next, 1) == 1;)
        rest += next;
    close(descriptor);
    return rest;
}

/** A script that runs steps as .ci/run does, and ends with the table of their times. */
class Steps : public testing::Test
{
protected:
    Outcome of(const std::string& commands) const
    {
        return Command{{"bash", "-c",
                        "set -euo pipefail; . '" + SCRIPTS + "lib/steps.sh'\n" + commands +
                            "\nprint_times\nall_passed"},
                       "",
                       {{"logs", logs}}}
            .run();
    }

    TemporaryFolder temporary;
    std::filesystem::path logs = temporary.path();
};

TEST_F(Steps, PrintOnlyTheirSummaryIfTheyPass)
{
    const Outcome outcome = of("noisy() { echo '3 tests passed'; echo noise; echo noise >&2; }\n"
                               "step 'It passes' noisy");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(linesOf(outcome.output),
                ElementsAre(MatchesRegex("== It passes \\([0-9]+ s\\)"), "3 tests passed",
                            MatchesRegex(" +[0-9]+ s  It passes")));
}

TEST_F(Steps, ShowWhatTheyPrintedIfTheyFail)
{
    const Outcome outcome = of("noisy() { echo noise; echo complaint >&2; return 7; }\n"
                               "step 'It fails' noisy");
    EXPECT_THAT(linesOf(outcome.output),
                ElementsAre(MatchesRegex("== It fails \\([0-9]+ s\\)"), "noise", "complaint",
                            "== failed with status 7: It fails",
                            MatchesRegex(" +[0-9]+ s  FAILED: It fails")));
}

TEST_F(Steps, FailTheWholeIfOneFails)
{
    const Outcome outcome = of("step 'It fails' false\nstep 'It passes' true");
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr(" s  FAILED: It fails\n"));
    EXPECT_THAT(outcome.output, HasSubstr(" s  It passes\n"));
}

TEST_F(Steps, EndAtTheirFirstCommandThatFails)
{
    const Outcome outcome = of("several() { false; echo went on; }\nstep 'It fails' several");
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.output, Not(HasSubstr("went on")));
}

TEST_F(Steps, RunSideBySideAndAreAllCounted)
{
    const Outcome outcome =
        of("a() { step 'a fails' false; }\nb() { step 'b fails' false; }\nside_by_side a b");
    EXPECT_NE(outcome.status, 0);
    for (const char* name : {"a", "b"})
        EXPECT_THAT(outcome.output, HasSubstr(std::string("FAILED: ") + name + " fails\n"));
}

TEST_F(Steps, ThatAreNotReachedFailTheWhole)
{
    const Outcome outcome =
        of("a() { step 'It passes' true; }\n"
           "b() { step 'It passes' true; kill -KILL $BASHPID; step 'Not reached' true; }\n"
           "side_by_side a b");
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.output, HasSubstr("FAILED: All steps of b run\n"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("steps of a")));
}

TEST_F(Steps, ThatLeaveNoTraceFailTheWhole)
{
    EXPECT_NE(of(": >\"$logs/times\"").status, 0);
}

TEST_F(Steps, EndWithTheScriptThatASignalEnds)
{
    const std::string silence = logs / "silence";
    const std::string voice = logs / "voice";
    ASSERT_EQ(mkfifo(silence.c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(voice.c_str(), 0600), 0);
    for (const auto& [signal, status] : {std::pair("INT", 130), {"TERM", 143}, {"HUP", 143}}) {
        // What reads this waits until it is closed here.
        const int writer = open(silence.c_str(), O_RDWR | O_CLOEXEC);
        const int reader = open(voice.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        const Outcome outcome =
            of("main=$BASHPID\nlasting() { exec 4>\"$logs/voice\" 5<\"$logs/silence\"; kill -" +
               std::string(signal) +
               " $main; cat <&5; echo outlived >&4; }\n"
               "lane() { step 'It lasts' lasting; }\nside_by_side lane");
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.output, "");
        close(writer);
        EXPECT_EQ(restOf(reader), "");
    }
}

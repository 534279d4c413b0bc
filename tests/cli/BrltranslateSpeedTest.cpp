#include "Brltranslate.h"
#include "support/Figures.h"
#include "support/PrivateBus.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char* TABLE = "en-ueb-g2.ctb";

/** On a bus with the real service, which has started and read the table. */
class BrltranslatesTime : public testing::Test
{
protected:
    BrltranslatesTime() { run({"-t", TABLE, "x"}); }

    /** Both in turns, so that what else the machine does slows both down. */
    static void expectAtMost(double times, const Command& other, const Command& ours,
                             const std::string& text, int rounds)
    {
        Durations others(other.words.front() + " takes for " + text);
        Durations brltranslates("brltranslate takes for " + text);
        for (int round = 0; round < rounds; ++round) {
            others.measure([&] { expectSuccess(other); });
            brltranslates.measure([&] { expectSuccess(ours); });
        }
        expectWithin(times * others.median(), brltranslates.median());
    }

private:
    static void expectSuccess(const Command& command)
    {
        const Outcome outcome = command.run();
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_NE(outcome.output, "");
    }

    PrivateBus bus{PrivateBus::Services::REAL};
};

} // namespace

TEST_F(BrltranslatesTime, ForALicenceIsAtMostFourTimesThatOfTheEnginesOwnProgram)
{
    const Command engine{{"lou_translate", "unicode.dis,en-ueb-g2.ctb"}, licence()};
    const Command ours{{BRLTRANSLATE, "-t", TABLE}, licence()};
    expectAtMost(4, engine, ours, "the licence", 5);
}

TEST_F(BrltranslatesTime, ForAWordIsAtMostTwiceThatOfABareCall)
{
    const Command bareCall{{"busctl", "--system", "call", TEST_BUS_NAME, "/translator",
                            "braille.translator", "forwardW", "saui", TABLE, "3", "97", "110",
                            "100", "0"}};
    const Command ours{{BRLTRANSLATE, "-t", TABLE, "and"}};
    expectAtMost(2, bareCall, ours, "a word", 31);
}

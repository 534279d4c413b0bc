#include "Brltranslate.h"
#include "support/Figures.h"
#include "support/PrivateBus.h"
#include "support/Sanitizers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr const char* TABLE = "en-ueb-g2.ctb";

/** On a bus with the real service, which has started and read the table. */
class BrltranslatesTime : public testing::Test
{
protected:
    BrltranslatesTime() { run({"-t", TABLE, "x"}); }

    static void expectSuccess(const Command& command)
    {
        const Outcome outcome = command.run();
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        EXPECT_NE(outcome.output, "");
    }

private:
    PrivateBus bus{PrivateBus::Services::REAL};
};

} // namespace

TEST_F(BrltranslatesTime, ForALicenceIsAtMostFourTimesThatOfTheEnginesOwnProgram)
{
    const std::string licence = "/usr/share/common-licenses/GPL-3";
    const Command engine{{"sh", "-c", "lou_translate unicode.dis,en-ueb-g2.ctb <" + licence}};
    const Command ours{{"sh", "-c", BRLTRANSLATE + std::string(" -t en-ueb-g2.ctb <") + licence}};
    Durations engines("lou_translate takes for the licence");
    Durations brltranslates("brltranslate takes for the licence");
    for (int round = 0; round < 5; ++round) {
        engines.measure([&] { expectSuccess(engine); });
        brltranslates.measure([&] { expectSuccess(ours); });
    }
    if (TIMES_ARE_COMPARABLE) {
        EXPECT_LE(brltranslates.median(), 4 * patiently(engines.median()));
    }
}

TEST_F(BrltranslatesTime, ForAWordIsAtMostTwiceThatOfABareCall)
{
    const Command bareCall{{"busctl", "--system", "call", TEST_BUS_NAME, "/translator",
                            "braille.translator", "forwardW", "saui", TABLE, "3", "97", "110",
                            "100", "0"}};
    const Command ours{{BRLTRANSLATE, "-t", TABLE, "and"}};
    Durations bareCalls("busctl takes for a word");
    Durations brltranslates("brltranslate takes for a word");
    for (int round = 0; round < 31; ++round) {
        bareCalls.measure([&] { expectSuccess(bareCall); });
        brltranslates.measure([&] { expectSuccess(ours); });
    }
    if (TIMES_ARE_COMPARABLE) {
        EXPECT_LE(brltranslates.median(), 2 * patiently(bareCalls.median()));
    }
}

#include "support/BusTest.h"
#include "support/Figures.h"
#include "support/HostProcess.h"
#include "support/Memory.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <memory>
#include <random>
#include <string>

using testing::IsEmpty;

namespace {

/** A service that maps only the position that it is asked for. */
void translateLazily(sd_bus_message* call, const Call& what)
{
    TranslationFields fields;
    fields.untranslated = what.codePoints;
    fields.translated.assign(what.codePoints.size(), 0x2801);
    fields.posMap.assign(what.codePoints.size() + 1, 0);
    fields.known.assign(what.codePoints.size() + 1, false);
    if (what.cursor >= 0 && what.cursor < static_cast<int>(fields.posMap.size())) {
        fields.posMap[static_cast<std::size_t>(what.cursor)] = what.cursor;
        fields.known[static_cast<std::size_t>(what.cursor)] = true;
    }
    answer::translation(std::move(fields))(call);
}

class ALongLife : public BusTest
{
protected:
    ALongLife()
    {
        const Responder translate = [this](sd_bus_message* call) {
            const Call what = service.calls().back();
            service.clearCalls();
            translateLazily(call, what);
        };
        service.on("forwardW", translate);
        service.on("backW", translate);
        service.on("getComputerBrailleTranslator", [this](sd_bus_message* call) {
            // Now the one and now another, so that handles come and go.
            answer::translator(0, "x", true, random() % 8 == 0 ? "one.utb" : "two.utb")(call);
        });
    }

    /** One of the things that an application does; how many calls it takes is known. */
    int doSomething(Translation& translation)
    {
        TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
        if (handle == nullptr)
            return 1;
        std::wstring text(hostsRandom() % 200, L'a');
        if (!text.empty())
            text[hostsRandom() % text.size()] = L'\x1F600';
        const auto result =
            hostsRandom() % 2 == 0 ? handle->forwardW(text, 0) : handle->backW(text, 0);
        EXPECT_EQ(result->getUntranslatedW(), text);
        if (text.size() < 2)
            return 2;
        const auto position = static_cast<int>(1 + hostsRandom() % (text.size() - 1));
        EXPECT_EQ(result->getTranslatedPositionW(position), position);
        return 3;
    }

    std::mt19937 random;      // of the service's thread
    std::mt19937 hostsRandom; // of ours
};

} // namespace

TEST_F(ALongLife, KeepsMemoryThreadsAndDescriptorsAsTheyAre)
{
    Translation translation;
    const int all = rounds(100000);
    const HostProcess before;
    int calls = 0;
    const auto callUntil = [&](int count) {
        while (calls < count && !HasFailure())
            calls += doSomething(translation);
    };
    callUntil(all / 10);
    const std::size_t atATenth = memoryInKilobytes();
    callUntil(all);
    report("calls", calls);
    expectGrowthBelow(256, growthInKilobytes(atATenth));
    EXPECT_EQ(HostProcess(), before);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ALongLife, OfMakingAndDestroyingTranslationsLeavesNothingBehind)
{
    const auto liveOnce = [this] {
        Translation translation;
        doSomething(translation);
    };
    // The heap takes its time to find its size.
    for (int round = 0; round < 1000; ++round)
        liveOnce();
    const HostProcess before;
    const std::size_t memory = memoryInKilobytes();
    const int lives = rounds(5000);
    for (int round = 0; round < lives && !HasFailure(); ++round)
        liveOnce();
    report("lives", lives);
    expectGrowthBelow(256, growthInKilobytes(memory));
    EXPECT_EQ(HostProcess(), before);
    EXPECT_THAT(log.records(), IsEmpty());
}

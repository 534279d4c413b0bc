#include "support/BusTest.h"
#include "support/FakeServiceProcess.h"
#include "support/Figures.h"
#include "support/HostProcess.h"
#include "support/Shared.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>

using testing::SizeIs;
using testing::StartsWith;

namespace {

using std::chrono::steady_clock;
using namespace std::chrono_literals;

/** A service that dies, by a signal or by leaving, when it is asked for that text. */
std::unique_ptr<FakeServiceProcess> mortalService(const PrivateBus& bus,
                                                  steady_clock::time_point& death, bool bySignal)
{
    return std::make_unique<FakeServiceProcess>(
        bus.address(), [&death, bySignal](FakeService& service) {
            service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
            service.on("forwardW", answer::echo);
            service.on("backW", [&death, bySignal](sd_bus_message*) {
                death = steady_clock::now();
                if (bySignal)
                    static_cast<void>(raise(SIGKILL));
                _exit(0);
            });
        });
}

} // namespace

TEST(AServiceThatDies, GivesTheCallItsDefaultAtOnceAndServesTheSameTranslationOnceItIsBack)
{
    const PrivateBus bus;
    LogCapture log;
    const Shared<steady_clock::time_point> death;
    Translation translation;
    auto service = mortalService(bus, *death, true);
    TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
    ASSERT_NE(handle, nullptr);
    const HostProcess before;
    Durations ending("a call returns after the death of the service in");
    const auto expectFailure = [&](const char* start, const auto& translate) {
        log.clear();
        EXPECT_EQ(translate()->getTranslatedW(), L"");
        ASSERT_THAT(log.records(), SizeIs(1));
        EXPECT_THAT(log.records()[0].message, StartsWith(start));
    };
    for (int round = 0; round < rounds(200); ++round) {
        expectFailure("backW_proxy : ", [&] {
            auto result = handle->backW(L"die");
            ending.add(steady_clock::now() - *death);
            return result;
        });
        service->waitForEnd();
        expectFailure("forwardW_proxy : ", [&] { return handle->forwardW(L"nobody there"); });
        service = mortalService(bus, *death, round % 2 == 0);
        const std::wstring text = L"after round " + std::to_wstring(round);
        ASSERT_EQ(handle->forwardW(text)->getUntranslatedW(), text);
        ASSERT_EQ(translation.getComputerBrailleTranslator(), handle);
    }
    expectWithin(10ms, ending.longestOfNearlyAll());
    EXPECT_EQ(HostProcess(), before);
}

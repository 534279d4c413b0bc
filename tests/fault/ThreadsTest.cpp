#include "support/BusTest.h"
#include "support/Figures.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <string>
#include <thread>
#include <vector>

using testing::Each;
using testing::IsEmpty;

namespace {

constexpr std::size_t THREADS = 8;

class Threads : public BusTest
{
protected:
    Threads()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", [this](sd_bus_message* call) {
            service.clearCalls();
            answer::echo(call);
        });
    }

    /** The life of one thread with its own Translation; returns how many calls were right. */
    static int translateOften(int thread, int calls)
    {
        Translation translation;
        TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
        if (handle == nullptr)
            return 0;
        int right = 0;
        for (int call = 0; call < calls; ++call) {
            const std::wstring text = std::to_wstring(thread) + L" says " + std::to_wstring(call);
            const auto result = handle->forwardW(text);
            right += result->getUntranslatedW() == text && result->getTranslatedPositionW(2) == 2;
        }
        return right;
    }
};

} // namespace

TEST_F(Threads, WithATranslationEachDoNotDisturbEachOther)
{
    const int calls = rounds(5000);
    std::vector<int> right(THREADS);
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([&right, thread, calls] {
            right[thread] = translateOften(static_cast<int>(thread), calls);
        });
    for (std::thread& thread : threads)
        thread.join();
    report("right calls of each of " + std::to_string(THREADS) + " threads", calls);
    EXPECT_THAT(right, Each(calls));
    EXPECT_THAT(log.records(), IsEmpty());
}

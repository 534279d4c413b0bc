#include "support/BusTest.h"
#include "support/FakeServiceProcess.h"
#include "support/Figures.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <sdbus-c++/IConnection.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

using testing::Each;
using testing::HasSubstr;
using testing::SizeIs;

namespace {

using namespace std::chrono_literals;

constexpr std::size_t HOSTS = 10;
constexpr int ROUNDS = 5;

/** A host of several Translations, all of which wait for the same peer at the same time. */
class AStoppedPeer : public testing::Test
{
protected:
    AStoppedPeer()
    {
        for (Translation& translation : translations)
            handles.push_back(translation.getComputerBrailleTranslator());
    }

    /** From now on, of each host's calls. */
    void setTimeOuts(uint64_t microseconds)
    {
        for (Translation& translation : translations)
            connectionOf(translation).setMethodCallTimeout(microseconds);
    }

    static sdbus::IConnection& connectionOf(Translation& translation)
    {
        return translation.getServiceProxy()->sdbusProxy.getConnection();
    }

    /** All translate a text that is marked with the number of the host; returns what came back. */
    std::vector<std::wstring> translateEach(const std::wstring& text)
    {
        std::vector<std::wstring> results(HOSTS);
        std::vector<Milliseconds> durations(HOSTS);
        std::vector<std::thread> threads;
        for (std::size_t host = 0; host < HOSTS; ++host)
            threads.emplace_back([&, host] {
                durations[host] = timeOf([&] {
                    results[host] = handles[host]->forwardW(marked(text, host))->getUntranslatedW();
                });
            });
        for (std::size_t host = 0; host < HOSTS; ++host) {
            threads[host].join();
            lastDurations.push_back(durations[host]);
        }
        return results;
    }

    static std::wstring marked(const std::wstring& text, std::size_t host)
    {
        return text + L" of " + std::to_wstring(host);
    }

    template <typename Peer>
    void expectTimeOutsAndNothingMixedUp(Peer& peer)
    {
        constexpr std::chrono::microseconds SHORT = 1s;
        const uint64_t wide = connectionOf(translations[0]).getMethodCallTimeout();
        Durations waiting("a call to a stopped peer returns in");
        for (int round = 0; round < rounds(ROUNDS); ++round) {
            const std::wstring late = L"late in round " + std::to_wstring(round);
            const std::wstring next = L"next in round " + std::to_wstring(round);
            log.clear();
            lastDurations.clear();
            peer.stop();
            setTimeOuts(SHORT.count());
            EXPECT_THAT(translateEach(late), Each(L""));
            setTimeOuts(wide);
            for (const Milliseconds duration : lastDurations)
                waiting.add(duration);
            EXPECT_THAT(log.records(), SizeIs(HOSTS));
            peer.resume();
            log.clear();
            const std::vector<std::wstring> results = translateEach(next);
            for (std::size_t host = 0; host < HOSTS; ++host)
                EXPECT_EQ(results[host], marked(next, host));
            EXPECT_THAT(log.records(), SizeIs(0));
        }
        EXPECT_GE(waiting.shortest(), 900ms);
        expectWithin(1100ms, waiting.longest());
    }

    PrivateBus bus;
    FakeServiceProcess service{bus.address(), [](FakeService& fake) {
                                   fake.on("getComputerBrailleTranslator",
                                           answer::translator(0, "x", true, "one.utb"));
                                   fake.on("forwardW", answer::echo);
                               }};
    LogCapture log;
    std::vector<Translation> translations{HOSTS};
    std::vector<TranslatorProxy*> handles;
    std::vector<Milliseconds> lastDurations;
};

/** How many entries a search asks for when every answer is that the position is 0. */
std::size_t entriesAskedFor(int target, int entries, int end)
{
    std::set<int> asked;
    const auto mapped = [&](int position) {
        if (position == entries - 1)
            return end;
        if (position > 0)
            asked.insert(position);
        return 0;
    };
    for (;;) {
        int low = 0;
        int high = entries - 1;
        bool isFound = false;
        while (low <= high) {
            const int middle = (low + high) / 2;
            isFound = isFound || mapped(middle) == target;
            if (mapped(middle) < target)
                low = middle + 1;
            else
                high = middle - 1;
        }
        if (isFound)
            return asked.size();
        target = 0;
    }
}

class AHungService : public BusTest
{
};

} // namespace

TEST_F(AStoppedPeer, ThatIsTheServiceCostsOneTimeOutAndItsLateRepliesReachNobody)
{
    expectTimeOutsAndNothingMixedUp(service);
}

TEST_F(AStoppedPeer, ThatIsTheBusCostsOneTimeOutAndItsLateRepliesReachNobody)
{
    expectTimeOutsAndNothingMixedUp(bus);
}

TEST(ABusWithTooManyPendingReplies, RefusesCallsUntilTheServiceHasAnswered)
{
    constexpr int PENDING_AT_MOST = 128;
    const PrivateBus bus;
    LogCapture log;
    FakeServiceProcess service(bus.address(),
                               [](FakeService& fake) { fake.on("forwardW", answer::echo); });
    Translation translation;
    TranslatorProxy handle(2, "x", true, "x", translation.getServiceProxy());
    sdbus::IConnection& connection = translation.getServiceProxy()->sdbusProxy.getConnection();
    const uint64_t timeOut = connection.getMethodCallTimeout();
    connection.setMethodCallTimeout(10ms);
    service.stop();
    for (int call = 0; call < PENDING_AT_MOST; ++call)
        handle.forwardW(L"late");
    EXPECT_THAT(log.records(), SizeIs(PENDING_AT_MOST));
    log.clear();
    connection.setMethodCallTimeout(timeOut);
    handle.forwardW(L"one too many");
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("LimitsExceeded"));
    service.resume();
    // The service answers in order: once another host's call is answered, so are ours.
    Translation another;
    TranslatorProxy anothersHandle(2, "x", true, "x", another.getServiceProxy());
    anothersHandle.forwardW(L"after them");
    EXPECT_EQ(handle.forwardW(L"next")->getUntranslatedW(), L"next");
    EXPECT_THAT(log.records(), SizeIs(1));
}

TEST_F(AHungService, CostsOneTimeOutForEachEntryThatASearchNeeds)
{
    constexpr int UNKNOWN = 40;
    constexpr int CELLS = 30;
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    proxy.sdbusProxy.getConnection().setMethodCallTimeout(1s);
    TranslatorProxy handle(2, "Some table", true, "some.ctb", &proxy);
    service.on("forwardW", answer::silence());
    BrlTranslationResult result(&handle, BrlTranslationResult::FORWARD,
                                std::wstring(UNKNOWN + 1, L'a'), std::wstring(CELLS, L'b'));
    const std::size_t expected = entriesAskedFor(CELLS / 2, UNKNOWN + 2, CELLS);
    const Milliseconds duration = timeOf([&] { result.getOriginalPositionW(CELLS / 2); });
    report("calls", expected);
    report("time", duration.count(), "ms");
    EXPECT_THAT(service.calls(), SizeIs(expected));
    EXPECT_THAT(log.records(), SizeIs(expected));
    expectWithin(1100ms * expected, duration);
}

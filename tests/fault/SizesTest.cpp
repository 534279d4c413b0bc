#include "support/BusTest.h"
#include "support/Figures.h"

#include <libBrailleTranslate/DBusTranslatorProxy.h>

#include <cstddef>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** Texts that no two positions of have in common with their neighbours. */
uint32_t codePointAt(std::size_t position)
{
    return static_cast<uint32_t>(position * 2654435761U >> 8U) % 0x10ffffU;
}

std::wstring textOf(std::size_t length)
{
    std::wstring text(length, L'\0');
    for (std::size_t position = 0; position < length; ++position)
        text[position] = static_cast<wchar_t>(codePointAt(position));
    return text;
}

/** What shows that all of a text has arrived, where it stands. */
uint32_t digestOf(const std::vector<uint32_t>& codePoints)
{
    return std::accumulate(codePoints.begin(), codePoints.end(), 17U,
                           [](uint32_t sum, uint32_t next) { return sum * 31U + next; });
}

class ATextOfAnySize : public BusTest
{
protected:
    ATextOfAnySize()
    {
        service.on("forwardW", [this](sd_bus_message* call) {
            arrived = service.calls().back().codePoints;
            answer::translation({true, 0, {}, {}, {digestOf(arrived)}, {}, ""})(call);
        });
    }

    /** Sends a text of that length; tells whether it came through, and that nothing broke. */
    bool comesThrough(std::size_t length)
    {
        auto proxy = std::make_unique<DBusTranslatorProxy>("/translator", FakeService::busName());
        const std::wstring text = textOf(length);
        log.clear();
        service.clearCalls();
        arrived.clear();
        const TranslationReply reply = proxy->forwardW_proxy(id, text, 0);
        const bool isExact = log.records().empty();
        if (isExact) {
            EXPECT_EQ(reply.get<4>(), std::vector<uint32_t>{digestOf(codePointsOf(text))});
            EXPECT_EQ(arrived.size(), length);
        } else {
            EXPECT_EQ(reply, TranslationReply());
            EXPECT_THAT(log.records(), SizeIs(1));
            EXPECT_THAT(arrived, IsEmpty());
        }
        // Whether it works or fails, the object answers, and can be destroyed.
        log.clear();
        const bool isUsable = proxy->forwardW_proxy(id, L"a", 0) != TranslationReply();
        EXPECT_EQ(isUsable, log.records().empty());
        EXPECT_TRUE(isUsable || !isExact);
        report("a text of " + std::to_string(length),
               std::string(isExact ? "exact" : "one record and the default") +
                   (isUsable ? "" : ", connection lost"));
        return isExact;
    }

    std::string id = "some.ctb";
    std::vector<uint32_t> arrived;
};

} // namespace

TEST_F(ATextOfAnySize, UpToTheBussLimitArrivesExactly)
{
    for (const std::size_t length : {0U, 1U, 1000U, 65536U, 1000000U, 4194305U})
        EXPECT_TRUE(comesThrough(length));
}

TEST_F(ATextOfAnySize, IsExactOnOneSideOfTheBussLimitAndTheDefaultOnTheOther)
{
    std::size_t exact = 8380000;
    std::size_t tooLong = 8388608;
    ASSERT_TRUE(comesThrough(exact));
    ASSERT_FALSE(comesThrough(tooLong));
    while (tooLong - exact > 1) {
        const std::size_t middle = (exact + tooLong) / 2;
        (comesThrough(middle) ? exact : tooLong) = middle;
    }
    report("the longest text that the bus takes", exact);
    EXPECT_FALSE(comesThrough(9000000));
}

TEST_F(ATextOfAnySize, BeyondWhatAMessageHoldsIsOneRecordAndTheDefault)
{
    for (const std::size_t length : {16777215U, 16777216U, 16777217U})
        EXPECT_FALSE(comesThrough(length));
}

TEST_F(ATextOfAnySize, ComesBackExactly)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    service.on("backW", [this](sd_bus_message* call) {
        const auto length = static_cast<std::size_t>(service.calls().back().cursor);
        answer::translation({true, 0, {}, {}, codePointsOf(textOf(length)), {}, ""})(call);
    });
    for (const int length : {0, 1, 1000, 65536, 1000000, 8380000}) {
        const TranslationReply reply = proxy.backW_proxy(id, L"", length);
        EXPECT_EQ(reply.get<4>(), codePointsOf(textOf(static_cast<std::size_t>(length))));
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ATextOfAnySize, ThatIsTooLongToComeBackCostsTheServiceItsBusAndTheHostNothing)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    service.on("backW", [](sd_bus_message* call) {
        answer::translation({true, 0, {}, {}, std::vector<uint32_t>(8388608), {}, ""})(call);
    });
    EXPECT_EQ(proxy.backW_proxy(id, L"", 0), TranslationReply());
    EXPECT_THAT(log.records(), SizeIs(1));
    const FakeService another(bus.address());
    EXPECT_EQ(proxy.backW_proxy(id, L"", 0), TranslationReply());
    EXPECT_THAT(log.records(), SizeIs(2));
    EXPECT_THAT(another.calls(), SizeIs(1)) << "the connection is the same and works";
}

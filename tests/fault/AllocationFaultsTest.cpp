#include "Allocations.h"

#include "support/BusTest.h"
#include "support/Figures.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using testing::SizeIs;

namespace {

/** What an operation has done. */
enum class Effect
{
    RIGHT,
    NEUTRAL
};

struct Operation
{
    const char* name;
    bool catchesAll; ///< even the lack of memory, as long as there is some for the record
    std::function<Effect()> run;
};

/** Right, or else neutral: nothing between the two. */
Effect rightOrElse(bool isRight, bool isNeutral)
{
    EXPECT_TRUE(isRight || isNeutral);
    return isRight ? Effect::RIGHT : Effect::NEUTRAL;
}

class AnAllocationThatFails : public BusTest
{
protected:
    AnAllocationThatFails()
    {
        service.on("getTranslatorByName", answer::translator(2, "x", true, LONG_ID));
        service.on("changeLanguageProfile", answer::nothing());
        service.on("forwardW", answer::echo);
        service.on("backW", answer::echo);
        service.on("getComputerBrailleTranslator", [this](sd_bus_message* call) {
            // Another one each time, so that each call makes a handle.
            answer::translator(0, "x", true, LONG_ID + std::to_string(++handles))(call);
        });
    }

    Effect effectOf(const std::shared_ptr<BrlTranslationResult>& result)
    {
        const auto texts = std::pair(result->getUntranslatedW(), result->getTranslatedW());
        return rightOrElse(texts.first == text && texts.second.size() == text.size(),
                           texts == std::pair(std::wstring(), std::wstring()) &&
                               result->getPosMap() == std::vector<int>{0, 0});
    }

    Effect changeProfile()
    {
        const std::size_t before = log.records().size();
        translation.changeLanguageProfile(profile);
        return rightOrElse(log.records().size() == before, true);
    }

    Effect findByName()
    {
        const TranslatorProxy byName(profile, translation.getServiceProxy());
        return rightOrElse(byName.getID() == LONG_ID, false);
    }

    Effect findPosition()
    {
        BrlTranslationResult result(&handle, BrlTranslationResult::FORWARD, text, text);
        const int position = result.getTranslatedPositionW(3);
        return rightOrElse(position == 3, position == 0);
    }

    Effect dump()
    {
        BrlTranslationResult result(nullptr, BrlTranslationResult::FORWARD, text, text);
        return rightOrElse(result.toString().size() > text.size(), false);
    }

    std::vector<Operation> operations()
    {
        return {
            {"forwardW", false, [this] { return effectOf(handle.forwardW(text)); }},
            {"backW", false, [this] { return effectOf(handle.backW(text)); }},
            {"a role", true,
             [this] {
                 const bool isRight = translation.getComputerBrailleTranslator() != nullptr;
                 return rightOrElse(isRight, true);
             }},
            {"a profile", true, [this] { return changeProfile(); }},
            {"by name", false, [this] { return findByName(); }},
            {"a position", false, [this] { return findPosition(); }},
            {"a dump", false, [this] { return dump(); }},
        };
    }

    /** Whatever fails, the operation throws or says that it has failed, and works afterwards. */
    void expectOrderlyFailure(const Operation& operation, void (*fail)(std::size_t),
                              std::size_t number)
    {
        log.clear();
        bool hasThrown = false;
        Effect effect = Effect::NEUTRAL;
        fail(number);
        try {
            effect = operation.run();
        } catch (const std::exception&) {
            hasThrown = true;
        }
        allocations::failNone();
        // A reply that comes in other pieces than the one before takes other allocations.
        if (!allocations::hasMetFailedNumber()) {
            ASSERT_EQ(effect, Effect::RIGHT);
            return;
        }
        if (operation.catchesAll && fail == allocations::failNumber) {
            EXPECT_FALSE(hasThrown);
        }
        ++(hasThrown ? thrown : effect == Effect::RIGHT ? unharmed : neutral);
        const bool isNeutral = !hasThrown && effect == Effect::NEUTRAL;
        EXPECT_THAT(log.records(), SizeIs(isNeutral ? 1 : 0));
        log.clear();
        ASSERT_EQ(operation.run(), Effect::RIGHT) << "afterwards";
        ASSERT_THAT(log.records(), SizeIs(0)) << "afterwards";
    }

    void expectOrderlyFailures(void (*fail)(std::size_t))
    {
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(operation.name);
            for (int warmUp = 0; warmUp < 2; ++warmUp)
                ASSERT_EQ(operation.run(), Effect::RIGHT);
            const std::size_t count = allocations::countDuring([&] { operation.run(); });
            ASSERT_GT(count, 0U);
            thrown = neutral = unharmed = 0;
            for (std::size_t number = 0; number < count && !HasFatalFailure(); ++number) {
                SCOPED_TRACE(number);
                expectOrderlyFailure(operation, fail, number);
            }
            EXPECT_GT(thrown + neutral + unharmed, static_cast<int>(count) / 2);
            report(operation.name, std::to_string(count) + " allocations, of which " +
                                       std::to_string(thrown) + " end in an exception, " +
                                       std::to_string(neutral) + " in the neutral value, " +
                                       std::to_string(unharmed) + " in the right one");
        }
    }

    // Longer than a string keeps without an allocation.
    const std::string LONG_ID = "a-translator-with-a-long-identifier.ctb";
    const std::wstring text = L"a text that needs memory of its own";
    std::string profile = "a profile with a name that is long, too";
    std::atomic<int> handles = 0;
    Translation translation;
    TranslatorProxy handle{2, "Some table", true, LONG_ID, translation.getServiceProxy()};
    int thrown = 0;
    int neutral = 0;
    int unharmed = 0;
};

} // namespace

TEST_F(AnAllocationThatFails, EndsTheOperationInAnExceptionOrTheNeutralValue)
{
    expectOrderlyFailures(allocations::failNumber);
}

TEST_F(AnAllocationThatFails, TogetherWithAllAfterItDoesThatToo)
{
    expectOrderlyFailures(allocations::failFromNumber);
}

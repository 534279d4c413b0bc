#include "support/BusTest.h"
#include "support/ChildProcess.h"
#include "support/Figures.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <functional>
#include <memory>

using testing::IsEmpty;

namespace {

class AFork : public BusTest
{
protected:
    AFork()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
        handle = translation->getComputerBrailleTranslator();
    }

    /** What a child does with what it has from its parent: each says whether all was well. */
    bool callInChild(Translation& inherited)
    {
        log.clear();
        TranslatorProxy byHand(2, "x", true, "x", inherited.getServiceProxy());
        return inherited.getComputerBrailleTranslator() == nullptr &&
               byHand.forwardW(L"a")->getTranslatedW().empty() && log.records().size() == 2;
    }

    bool destroyInChild()
    {
        translation.reset();
        return log.records().empty();
    }

    /** An application that forks to work on. */
    bool makeAnotherInChild()
    {
        Translation another;
        TranslatorProxy* const itsHandle = another.getComputerBrailleTranslator();
        return itsHandle != nullptr && itsHandle->getID() == "one.utb";
    }

    /** Forks while the parent does nothing with the library. */
    void expectBothAreWell(const std::function<bool()>& child)
    {
        for (int round = 0; round < rounds(100); ++round) {
            ASSERT_TRUE(inChild(child));
            expectThatTheParentIsWell();
        }
        report("children, and right calls of their parent", rounds(100));
    }

    /** Forks on another thread, while the parent's call waits for its reply. */
    void expectBothAreWellDuringACall(const std::function<bool()>& child)
    {
        bool isChildWell = false;
        service.on("forwardW", [&](sd_bus_message* call) {
            isChildWell = inChild(child);
            answer::echo(call);
        });
        for (int round = 0; round < rounds(100); ++round) {
            isChildWell = false;
            expectThatTheParentIsWell();
            ASSERT_TRUE(isChildWell);
        }
        report("children during a call, and right calls of their parent", rounds(100));
    }

    void expectThatTheParentIsWell()
    {
        EXPECT_EQ(handle->forwardW(L"after the fork")->getUntranslatedW(), L"after the fork");
        EXPECT_EQ(translation->getComputerBrailleTranslator(), handle);
        EXPECT_THAT(log.records(), IsEmpty());
    }

    std::unique_ptr<Translation> translation = std::make_unique<Translation>();
    TranslatorProxy* handle = nullptr;
};

} // namespace

TEST_F(AFork, MakesTheChildsCallsFailAsOthersDo)
{
    expectBothAreWell([this] { return callInChild(*translation); });
}

TEST_F(AFork, LetsTheChildDestroyItsCopy)
{
    expectBothAreWell([this] { return destroyInChild(); });
}

TEST_F(AFork, LetsTheChildMakeATranslationOfItsOwn)
{
    expectBothAreWell([this] { return makeAnotherInChild(); });
}

TEST_F(AFork, LetsTheChildExit)
{
    expectBothAreWell([] { return true; });
}

TEST_F(AFork, DuringAnotherThreadsCallMakesTheChildsCallsFailAsOthersDo)
{
    Translation ofTheForkingThread;
    expectBothAreWellDuringACall([&] { return callInChild(ofTheForkingThread); });
}

TEST_F(AFork, DuringAnotherThreadsCallLetsTheChildDestroyItsCopy)
{
    expectBothAreWellDuringACall([this] { return destroyInChild(); });
}

TEST_F(AFork, DuringAnotherThreadsCallLetsTheChildExit)
{
    expectBothAreWellDuringACall([] { return true; });
}

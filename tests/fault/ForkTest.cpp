#include "support/BusTest.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <functional>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using testing::IsEmpty;

namespace {

/** Runs something in a forked child, and tells whether it said yes. */
bool inChild(const std::function<bool()>& action)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(action() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class AFork : public BusTest
{
protected:
    AFork()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
        handle = translation->getComputerBrailleTranslator();
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
    EXPECT_TRUE(inChild([this] {
        return translation->getComputerBrailleTranslator() == nullptr &&
               handle->forwardW(L"a")->getTranslatedW().empty() && log.records().size() == 2;
    }));
    expectThatTheParentIsWell();
}

TEST_F(AFork, LetsTheChildDestroyItsCopy)
{
    EXPECT_TRUE(inChild([this] {
        translation.reset();
        return true;
    }));
    expectThatTheParentIsWell();
}

TEST_F(AFork, LetsTheChildExit)
{
    EXPECT_TRUE(inChild([] { return true; }));
    expectThatTheParentIsWell();
}

#include "support/BusTest.h"
#include "support/HostProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <csignal>
#include <memory>
#include <string>

using testing::SizeIs;
using testing::StartsWith;

namespace {

/** A host that had a handle when its bus went away. */
class AHostWithoutItsBus : public BusTest, public testing::WithParamInterface<int>
{
protected:
    AHostWithoutItsBus()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
        service.on("forwardW", answer::echo);
        handle = translation->getComputerBrailleTranslator();
    }

    /** Runs an operation that must log exactly one record, and no less. */
    template <typename Operation>
    void expectOneRecord(const char* name, Operation operation)
    {
        log.clear();
        operation();
        ASSERT_THAT(log.records(), SizeIs(1)) << name;
        EXPECT_THAT(log.records()[0].message, StartsWith(std::string(name) + " : "));
    }

    const HostProcess before;
    std::unique_ptr<Translation> translation = std::make_unique<Translation>();
    TranslatorProxy* handle = nullptr;
};

INSTANTIATE_TEST_SUITE_P(After, AHostWithoutItsBus, testing::Values(SIGKILL, SIGTERM),
                         [](const auto& signal) {
                             return signal.param == SIGKILL ? "SIGKILL" : "SIGTERM";
                         });

} // namespace

TEST_P(AHostWithoutItsBus, LivesOnAndGetsNeutralValuesWithOneRecordEach)
{
    bus.kill(GetParam());
    std::string text = "x";
    for (int round = 0; round < 3; ++round) {
        expectOneRecord("getPreferredBrailleTranslatorForDisplay", [&] {
            EXPECT_EQ(translation->getPreferredBrailleTranslatorForDisplay(), nullptr);
        });
        expectOneRecord("getPreferredBrailleTranslatorForEntry", [&] {
            EXPECT_EQ(translation->getPreferredBrailleTranslatorForEntry(), nullptr);
        });
        expectOneRecord("getComputerBrailleTranslator",
                        [&] { EXPECT_EQ(translation->getComputerBrailleTranslator(), nullptr); });
        expectOneRecord("getGrade1TranslatorForPreferredEntry", [&] {
            EXPECT_EQ(translation->getGrade1TranslatorForPreferredEntry(), nullptr);
        });
        expectOneRecord("changeLanguageProfile_proxy",
                        [&] { translation->changeLanguageProfile(text); });
        expectOneRecord("forwardW_proxy",
                        [&] { EXPECT_EQ(handle->forwardW(L"a")->getTranslatedW(), L""); });
        expectOneRecord("backW_proxy",
                        [&] { EXPECT_EQ(handle->backW(L"a")->getTranslatedW(), L""); });
    }
    log.clear();
    EXPECT_THROW(TranslatorProxy("x", translation->getServiceProxy()), std::exception);
    EXPECT_EQ(handle->getID(), "one.utb");
    translation.reset();
    EXPECT_THAT(log.records(), SizeIs(0));
}

TEST_P(AHostWithoutItsBus, GivesItsConnectionBack)
{
    bus.kill(GetParam());
    handle->forwardW(L"a");
    translation.reset();
    // The fake service has lost its connection, too.
    EXPECT_LE(HostProcess().descriptors, before.descriptors);
    EXPECT_EQ(HostProcess().threads, before.threads);
}

#include "service/MapAudit.h"
#include "support/Command.h"
#include "support/Contract.h"
#include "support/Gdbus.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sdbus-c++/Error.h>

#include <climits>
#include <memory>
#include <string>
#include <vector>

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

const std::wstring FOX = L"The quick brown fox jumps over the lazy dog.";

/** The service of this build, started by its bus, and the library as its client. */
class TheTranslatorService : public testing::Test
{
protected:
    PrivateBus bus{PrivateBus::Services::REAL};
    LogCapture log;
    Translation translation;

    /** The name of the D-Bus error that looking a translator up by name ends in. */
    std::string errorForName(const std::string& name)
    {
        try {
            const TranslatorProxy handle(name, translation.getServiceProxy());
            return "no error";
        } catch (const sdbus::Error& error) {
            return error.getName();
        }
    }
};

} // namespace

TEST_F(TheTranslatorService, NamesTheTranslatorsOfTheFirstProfile)
{
    EXPECT_EQ(translation.getPreferredBrailleTranslatorForDisplay()->getID(), "en-ueb-g2.ctb");
    EXPECT_EQ(translation.getPreferredBrailleTranslatorForDisplay()->getGrade(), 2);
    EXPECT_EQ(translation.getPreferredBrailleTranslatorForEntry()->getID(), "en-ueb-g2.ctb");
    EXPECT_EQ(translation.getComputerBrailleTranslator()->getID(), "en_US-comp8-ext.tbl");
    EXPECT_EQ(translation.getComputerBrailleTranslator()->getGrade(), 0);
    EXPECT_EQ(translation.getGrade1TranslatorForPreferredEntry()->getID(), "en-ueb-g1.ctb");
    EXPECT_EQ(translation.getGrade1TranslatorForPreferredEntry()->getGrade(), 1);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(TheTranslatorService, ChangesTheProfileForAllClientsAtOnce)
{
    Translation another;
    TranslatorProxy* const before = another.getComputerBrailleTranslator();
    ASSERT_NE(before, nullptr);
    std::string profile = "en-gb";
    translation.changeLanguageProfile(profile);
    EXPECT_EQ(another.getComputerBrailleTranslator()->getID(), "en-gb-comp8.ctb");
    EXPECT_EQ(translation.getComputerBrailleTranslator()->getID(), "en-gb-comp8.ctb");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(TheTranslatorService, RefusesAnUnknownProfileAndSaysWhichAreClose)
{
    std::string profile = "en";
    translation.changeLanguageProfile(profile);
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message,
                testing::AllOf(HasSubstr("braille.translator.Error.NoSuchProfile"),
                               HasSubstr("\"en\""), HasSubstr("close to it: en-gb, en-us")));
    EXPECT_EQ(translation.getComputerBrailleTranslator()->getID(), "en_US-comp8-ext.tbl");
}

TEST_F(TheTranslatorService, TranslatesForwardAndBack)
{
    TranslatorProxy* const handle = translation.getPreferredBrailleTranslatorForDisplay();
    ASSERT_NE(handle, nullptr);
    const auto forward = handle->forwardW(FOX);
    EXPECT_EQ(forward->getUntranslatedW(), FOX);
    EXPECT_EQ(forward->getTranslatedW().size(), 36U);
    EXPECT_EQ(forward->getTranslatedW().substr(0, 5), L"\u2820\u282e\u2800\u281f\u2805");
    const auto back = handle->backW(forward->getTranslatedW());
    EXPECT_EQ(back->getTranslatedW(), FOX);
    EXPECT_EQ(back->getUntranslatedW(), forward->getTranslatedW());
}

TEST_F(TheTranslatorService, SendsMapsThatAreKnownThroughoutAndWellFormed)
{
    const std::vector<std::wstring> texts{L"",
                                          L"a",
                                          FOX,
                                          L"Caf\u00e9 \U0001f600 e\u0301",
                                          {L'a', L'\0', static_cast<wchar_t>(0xd800), L'b'},
                                          std::wstring(1, static_cast<wchar_t>(0xffffffff)),
                                          std::wstring(5000, L'x')};
    for (const char* name : {"en-ueb-g2", "en-ueb-g1", "en-us-comp8-ext", "en-gb-comp8"}) {
        TranslatorProxy handle(name, translation.getServiceProxy());
        for (const std::wstring& text : texts) {
            const auto forward = handle.forwardW(text);
            const auto back = handle.backW(forward->getTranslatedW());
            EXPECT_EQ(forward->getUntranslatedW(), text);
            for (const auto& result : {forward, back}) {
                EXPECT_EQ(mapFaults(result->getPosMap(), result->getUntranslatedW().size(),
                                    result->getTranslatedW().size()),
                          "");
                EXPECT_THAT(result->getPosMapComputed(),
                            testing::AllOf(SizeIs(result->getPosMap().size()), Each(true)));
            }
        }
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(TheTranslatorService, MovesACursorToItsCellAndBack)
{
    TranslatorProxy* const handle = translation.getPreferredBrailleTranslatorForDisplay();
    ASSERT_NE(handle, nullptr);
    const auto result = handle->forwardW(L"the knowledge of reading");
    EXPECT_EQ(result->getTranslatedPositionW(4), 2) << "knowledge is one cell";
    EXPECT_EQ(result->getTranslatedPositionW(12), 2);
    EXPECT_EQ(result->getOriginalPositionW(2), 4);
    EXPECT_EQ(result->getOriginalPositionW(0), 0);
}

TEST_F(TheTranslatorService, AcceptsAnyCursor)
{
    TranslatorProxy* const handle = translation.getPreferredBrailleTranslatorForDisplay();
    ASSERT_NE(handle, nullptr);
    const std::string expected = handle->forwardW(FOX, 0)->toString();
    for (const int cursor : {INT_MIN, -1, 10, 44, 45, INT_MAX})
        EXPECT_EQ(handle->forwardW(FOX, cursor)->toString(), expected) << cursor;
}

TEST_F(TheTranslatorService, FindsTranslatorsByNameIdentifierAndIdentifierWithoutSuffix)
{
    for (const char* name : {"en-ueb-g1.ctb", "en-ueb-g1", "Unified English uncontracted braille"})
        EXPECT_EQ(TranslatorProxy(name, translation.getServiceProxy()).getID(), "en-ueb-g1.ctb");
}

TEST_F(TheTranslatorService, RefusesEveryOtherName)
{
    const std::vector<std::string> names{"",
                                         "EN-UEB-G1",
                                         "en-ueb-g1.ctb ",
                                         "/usr/share/liblouis/tables/en-ueb-g1.ctb",
                                         "../tables/en-ueb-g1.ctb",
                                         "en-ueb-g1.ctb,en-ueb-g2.ctb",
                                         "/dev/zero",
                                         std::string(1U << 20U, 'x')};
    for (const std::string& name : names) {
        EXPECT_EQ(errorForName(name), "braille.translator.Error.NoSuchTranslator");
        TranslatorProxy handle(0, "", false, name, translation.getServiceProxy());
        log.clear();
        EXPECT_EQ(handle.forwardW(L"a")->getTranslatedW(), L"");
        ASSERT_THAT(log.records(), SizeIs(1));
        EXPECT_THAT(log.records()[0].message,
                    HasSubstr("[braille.translator.Error.NoSuchTranslator]"));
    }
}

TEST_F(TheTranslatorService, RefusesATextAboveAMillionCodePoints)
{
    TranslatorProxy handle("en-gb-comp8", translation.getServiceProxy());
    EXPECT_EQ(handle.forwardW(std::wstring(1000001, L' '))->getTranslatedW(), L"");
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, HasSubstr("[braille.translator.Error.TooLong]"));
    const auto longest = handle.forwardW(std::wstring(1000000, L' '));
    EXPECT_EQ(longest->getTranslatedW(), std::wstring(1000000, L'\u2800'));
    EXPECT_THAT(log.records(), SizeIs(1)) << "the longest is not too long";
    EXPECT_EQ(handle.forwardW(L"and")->getTranslatedW(), L"\u2801\u281d\u2819");
}

TEST_F(TheTranslatorService, SaysWhatAPersonShouldKnowOfATranslation)
{
    EXPECT_THAT(
        gdbusCall("forwardW", {"en-ueb-g2", "[97, 0, 55296]", "0"}).output,
        testing::AllOf(HasSubstr("((true, 3, "), HasSubstr("[uint32 97, 0, 55296], "
                                                           "'values that are no characters, "
                                                           "taken as U+FFFD: 2'),)")));
}

TEST_F(TheTranslatorService, AnswersClientsThatShareNoCodeWithIt)
{
    EXPECT_EQ(gdbusCall("getGrade1TranslatorForPreferredEntry").output,
              "((1, 'Unified English uncontracted braille', true, 'en-ueb-g1.ctb'),)\n");
    EXPECT_THAT(gdbusCall("getTranslatorByName", {"de-g2"}).output,
                HasSubstr("false, 'de-g2.ctb'"));
    EXPECT_THAT(gdbusCall("getTranslatorByName", {"cs"}).output, HasSubstr("true, 'cs.tbl'"));
    EXPECT_EQ(gdbusCall("forwardW", {"en-ueb-g2.ctb", "[97, 110, 100]", "1"}).output,
              "((true, 3, [0, 0, 0, 1], [true, true, true, true], [uint32 10287], "
              "[uint32 97, 110, 100], ''),)\n");
    EXPECT_EQ(gdbusCall("backW", {"en-ueb-g2.ctb", "[10287]", "0"}).output,
              "((true, 1, [0, 3], [true, true], [uint32 97, 110, 100], [uint32 10287], ''),)\n");
    EXPECT_EQ(gdbusCall("changeLanguageProfile", {"en-gb"}).output, "()\n");
    const Outcome refused = gdbusCall("getTranslatorByName", {"nonsense"});
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(refused.errors,
                testing::AllOf(HasSubstr("braille.translator.Error.NoSuchTranslator"),
                               HasSubstr("no translator is named \"nonsense\"")));
}

TEST_F(TheTranslatorService, IntrospectsAsTheContractSays)
{
    const Command introspect{{"gdbus", "introspect", "--system", "--dest", TEST_BUS_NAME,
                              "--object-path", "/translator", "--xml"}};
    EXPECT_EQ(methodsOf(introspect.run().output), contract());
}

#include <libBrailleTranslate/TranslatorProxy.h>

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <sdbus-c++/IConnection.h>

#include "support/BusTest.h"
#include "support/Contract.h"
#include "support/PrivateMember.h"

#include <sdbus-c++/Error.h>

#include <chrono>
#include <climits>
#include <string>
#include <type_traits>
#include <vector>

REVEAL(reservedOf, TranslatorProxy, reserved)
REVEAL(nameOf, TranslatorProxy, name)
REVEAL(flagOf, TranslatorProxy, flag)
REVEAL(dbusProxyOf, TranslatorProxy, dbusProxy)

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

class AHandle : public BusTest
{
protected:
    DBusTranslatorProxy proxy{"/translator", FakeService::busName()};
    TranslatorProxy handle{2, "Some table", true, "some.ctb", &proxy};
};

/** One of the two directions, which differ in nothing but this. */
struct DirectionCase
{
    std::shared_ptr<BrlTranslationResult> (TranslatorProxy::*atCursor)(const std::wstring&, int);
    std::shared_ptr<BrlTranslationResult> (TranslatorProxy::*atMiddle)(const std::wstring&);
    const char* method;
    bool isForward;
};

const DirectionCase DIRECTIONS[] = {
    {&TranslatorProxy::forwardW, &TranslatorProxy::forwardW, "forwardW", true},
    {&TranslatorProxy::backW, &TranslatorProxy::backW, "backW", false},
};

std::ostream& operator<<(std::ostream& output, const DirectionCase& direction)
{
    return output << direction.method;
}

class ATranslationByHandle : public AHandle, public testing::WithParamInterface<DirectionCase>
{
protected:
    std::shared_ptr<BrlTranslationResult> translate(const std::wstring& text, int cursor)
    {
        return (handle.*GetParam().atCursor)(text, cursor);
    }

    std::shared_ptr<BrlTranslationResult> translate(const std::wstring& text)
    {
        return (handle.*GetParam().atMiddle)(text);
    }
};

INSTANTIATE_TEST_SUITE_P(Both, ATranslationByHandle, testing::ValuesIn(DIRECTIONS),
                         [](const auto& which) { return which.param.method; });

} // namespace

TEST_F(AHandle, KeepsItsDescription)
{
    EXPECT_EQ(handle.getID(), "some.ctb");
    EXPECT_EQ(handle.getGrade(), 2);
    EXPECT_EQ(handle.*nameOf(), "Some table");
    EXPECT_TRUE(handle.*flagOf());
    EXPECT_EQ(handle.*reservedOf(), "");
    EXPECT_EQ(handle.*dbusProxyOf(), &proxy);
}

TEST_F(AHandle, MadeOfADescriptionCallsNothing)
{
    service.on("forwardW", answer::echo);
    handle.forwardW(L"a");
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(AHandle, GivesItsIdentifierAsACopy)
{
    EXPECT_TRUE((std::is_same_v<decltype(handle.getID()), std::string>));
    EXPECT_EQ(handle.getID(), "some.ctb");
}

TEST_F(AHandle, ByNameAsksTheServiceInOneCall)
{
    service.on("getTranslatorByName", answer::translator(1, "Some table", false, "some.ctb"));
    const TranslatorProxy byName("SOME \u00e9 TABLE", &proxy);
    const std::vector<Call> calls = service.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].path, "/translator");
    EXPECT_EQ(calls[0].interface, "braille.translator");
    EXPECT_EQ(calls[0].member, "getTranslatorByName");
    EXPECT_EQ(calls[0].signature, contract().at("getTranslatorByName").in);
    EXPECT_EQ(calls[0].text, "SOME \u00e9 TABLE");
    EXPECT_TRUE(calls[0].expectsReply);
}

TEST_F(AHandle, ByNameTakesTheDescriptionThatTheServiceReturns)
{
    service.on("getTranslatorByName", answer::translator(1, "Some table", true, "some.ctb"));
    const TranslatorProxy byName("asked for", &proxy);
    EXPECT_EQ(byName.getGrade(), 1);
    EXPECT_EQ(byName.getID(), "some.ctb");
    EXPECT_EQ(byName.*nameOf(), "Some table");
    EXPECT_TRUE(byName.*flagOf());
    EXPECT_EQ(byName.*reservedOf(), "");
    EXPECT_EQ(byName.*dbusProxyOf(), &proxy);
}

TEST_F(AHandle, ByNameFromAReplyWithoutABodyIsUsable)
{
    service.on("getTranslatorByName", answer::nothing());
    service.on("forwardW", answer::echo);
    TranslatorProxy byName("anything", &proxy);
    EXPECT_EQ(byName.getGrade(), 0);
    EXPECT_EQ(byName.getID(), "");
    EXPECT_EQ(byName.*nameOf(), "");
    EXPECT_FALSE(byName.*flagOf());
    EXPECT_EQ(byName.forwardW(L"a")->getUntranslatedW(), L"a");
    EXPECT_EQ(service.calls().back().text, "");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHandle, ByNameLetsErrorsThroughAndLogsNothing)
{
    service.on("getTranslatorByName", answer::error("some.Error", "no such table"));
    try {
        const TranslatorProxy byName("anything", &proxy);
        FAIL() << "threw nothing";
    } catch (const sdbus::Error& error) {
        EXPECT_EQ(error.getName(), "some.Error");
        EXPECT_EQ(error.getMessage(), "no such table");
    }
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHandle, ByNameThrowsForAReplyOfAnotherShapeAndAMissingService)
{
    service.on("getTranslatorByName", answer::body([](sd_bus_message* reply) {
                   sd_bus_message_append(reply, "isbs", 1, "n", 1, "id");
               }));
    EXPECT_THROW(TranslatorProxy("anything", &proxy), sdbus::Error);
    service.releaseName();
    EXPECT_THROW(TranslatorProxy("anything", &proxy), sdbus::Error);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHandle, ByNameThrowsWhenTheServiceDoesNotAnswerInTime)
{
    DBusTranslatorProxy impatient("/translator", FakeService::busName());
    impatient.sdbusProxy.getConnection().setMethodCallTimeout(std::chrono::milliseconds(10));
    service.on("getTranslatorByName", answer::silence());
    EXPECT_THROW(TranslatorProxy("anything", &impatient), sdbus::Error);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(AHandle, OutlivesItsServiceProxyAsLongAsItIsOnlyDestroyed)
{
    auto shortLived = std::make_unique<DBusTranslatorProxy>("/translator", FakeService::busName());
    const auto borrower =
        std::make_unique<TranslatorProxy>(2, "Some table", true, "some.ctb", shortLived.get());
    shortLived.reset();
    EXPECT_EQ(borrower->getID(), "some.ctb");
}

TEST_P(ATranslationByHandle, SendsItsIdentifierTextAndCursor)
{
    service.on(GetParam().method, answer::echo);
    for (const int cursor : {1, 0, -1, 4, INT_MIN, INT_MAX}) {
        translate(L"abc", cursor);
        const Call call = service.calls().back();
        EXPECT_EQ(call.member, GetParam().method);
        EXPECT_EQ(call.text, "some.ctb");
        EXPECT_THAT(call.codePoints, ElementsAre('a', 'b', 'c'));
        EXPECT_EQ(call.cursor, cursor);
    }
    EXPECT_THAT(service.calls(), SizeIs(6)) << "one call a translation";
}

TEST_P(ATranslationByHandle, PutsTheCursorInTheMiddleUnlessToldOtherwise)
{
    service.on(GetParam().method, answer::echo);
    for (const auto& [length, middle] :
         {std::pair{0U, 0}, {1U, 0}, {5U, 2}, {6U, 3}, {1001U, 500}}) {
        translate(std::wstring(length, L'a'));
        EXPECT_EQ(service.calls().back().member, GetParam().method);
        EXPECT_EQ(service.calls().back().cursor, middle);
        EXPECT_THAT(service.calls().back().codePoints, SizeIs(length));
    }
}

TEST_P(ATranslationByHandle, MakesAResultOfTheReply)
{
    service.on(
        GetParam().method,
        answer::translation({true, 1, {0, 2, 5}, {true, false, true}, {'v', 'w'}, {'b'}, ""}));
    const auto result = translate(L"what was sent", 1);
    EXPECT_EQ(result->getIsForward(), GetParam().isForward);
    EXPECT_EQ(result->getTranslator(), &handle);
    EXPECT_EQ(result->getTranslatedW(), L"vw");
    EXPECT_EQ(result->getUntranslatedW(), L"b") << "as the service returns it, not as it was sent";
    EXPECT_THAT(result->getPosMap(), ElementsAre(0, 2, 5));
    EXPECT_THAT(result->getPosMapComputed(), ElementsAre(true, false, true));
    EXPECT_EQ(result->getTranslated(), "");
    EXPECT_EQ(result->getLeftOffset(), 0);
    EXPECT_EQ(result.use_count(), 1);
}

TEST_P(ATranslationByHandle, IgnoresTheReplysFlagValueAndText)
{
    TranslationFields fields{true, 0, {3, 5}, {false, true, true}, {'x'}, {'a'}, ""};
    service.on(GetParam().method, answer::translation(fields));
    const std::string plain = translate(L"a", 0)->toString();
    fields.flag = false;
    fields.value = -7;
    fields.text = "it all went wrong";
    service.on(GetParam().method, answer::translation(fields));
    EXPECT_EQ(translate(L"a", 0)->toString(), plain);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationByHandle, TakesElementsBeyondUnicodeAsTheyAre)
{
    service.on(GetParam().method,
               answer::translation({true, 0, {0}, {true}, {0x110000, 0xd800}, {0xffffffff}, ""}));
    const auto result = translate(L"a", 0);
    EXPECT_THAT(codePointsOf(result->getTranslatedW()), ElementsAre(0x110000U, 0xd800U));
    EXPECT_THAT(codePointsOf(result->getUntranslatedW()), ElementsAre(0xffffffffU));
}

TEST_P(ATranslationByHandle, ComparesNoLengths)
{
    service.on(GetParam().method,
               answer::translation({true, 0, {0, 1, 2, 3}, {true}, {'x'}, {'a'}, ""}));
    const auto result = translate(L"a", 0);
    EXPECT_THAT(result->getPosMap(), ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(result->getPosMapComputed(), ElementsAre(true));
}

TEST_P(ATranslationByHandle, KeepsTheDefaultMapWhenTheReplyHasNone)
{
    service.on(GetParam().method,
               answer::translation({true, 0, {}, {true, true}, {'x', 'y'}, {'a', 'b'}, ""}));
    const auto result = translate(L"ab", 0);
    EXPECT_THAT(result->getPosMap(), ElementsAre(0, 0, 2));
    EXPECT_THAT(result->getPosMapComputed(), ElementsAre(true, false, true));
}

TEST_P(ATranslationByHandle, YieldsAnEmptyResultWithoutAService)
{
    service.releaseName();
    const auto result = translate(L"abc", 1);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->getUntranslatedW(), L"");
    EXPECT_EQ(result->getTranslatedW(), L"");
    EXPECT_THAT(result->getPosMap(), ElementsAre(0, 0));
    EXPECT_THAT(result->getPosMapComputed(), ElementsAre(false, true));
    EXPECT_EQ(result->getIsForward(), GetParam().isForward);
    EXPECT_EQ(result->getTranslator(), &handle);
    ASSERT_THAT(log.records(), SizeIs(1)) << "the service proxy's record, and no other";
    EXPECT_THAT(log.records()[0].message, HasSubstr("_proxy : "));
}

TEST_P(ATranslationByHandle, MapsUnknownPositionsByAskingWithThemAsCursor)
{
    service.on(GetParam().method, answer::translation({true,
                                                       0,
                                                       {0, 9, 9, 6},
                                                       {true, false, false, true},
                                                       {1, 2, 3, 4, 5, 6},
                                                       {'a', 'b', 'c'},
                                                       ""}));
    const auto result = translate(L"abc", 1);
    service.clearCalls();
    service.on(GetParam().method, answer::translation({true, 0, {0, 2, 4, 6}, {}, {}, {}, ""}));
    EXPECT_EQ(result->getTranslatedPositionW(2), 4);
    EXPECT_EQ(result->getTranslatedPositionW(2), 4);
    const std::vector<Call> calls = service.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].member, GetParam().method);
    EXPECT_EQ(calls[0].text, "some.ctb");
    EXPECT_THAT(calls[0].codePoints, ElementsAre('a', 'b', 'c'));
    EXPECT_EQ(calls[0].cursor, 2);
    EXPECT_EQ(result->getOriginalPositionW(3), 1);
    EXPECT_THAT(service.calls(), SizeIs(2));
}

TEST_P(ATranslationByHandle, StoresWhatAFailedTranslationYields)
{
    service.on(GetParam().method,
               answer::translation({true, 0, {0, 9, 6}, {true, false, true}, {}, {'a', 'b'}, ""}));
    const auto result = translate(L"ab", 1);
    service.releaseName();
    EXPECT_EQ(result->getTranslatedPositionW(1), 0);
    EXPECT_THAT(result->getPosMapComputed(), ElementsAre(true, true, true));
    EXPECT_THAT(log.records(), SizeIs(1));
    EXPECT_EQ(result->getTranslatedPositionW(1), 0);
    EXPECT_THAT(log.records(), SizeIs(1)) << "the value is kept";
}

#include <libBrailleTranslate/Translation.h>

#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <sdbus-c++/IConnection.h>

#include "support/BusTest.h"
#include "support/Contract.h"
#include "support/Environment.h"
#include "support/PrivateMember.h"

#include <chrono>
#include <string>
#include <vector>

REVEAL(nameOfHandle, TranslatorProxy, name)
REVEAL(flagOfHandle, TranslatorProxy, flag)
REVEAL(displayOf, Translation, preferredDisplayTranslator)
REVEAL(entryOf, Translation, preferredEntryTranslator)
REVEAL(computerOf, Translation, computerBrailleTranslator)
REVEAL(grade1Of, Translation, grade1EntryTranslator)

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* FILE_NAME = "libBrailleTranslate/Translation.cpp";

class ATranslation : public BusTest
{
protected:
    Translation translation;
};

/** One of the four roles. The service's method has the name of the getter. */
struct Role
{
    TranslatorProxy* (Translation::*getter)();
    const char* method;
    const char* function;
};

const Role ROLES[] = {
    {&Translation::getPreferredBrailleTranslatorForDisplay,
     "getPreferredBrailleTranslatorForDisplay",
     "TranslatorProxy* Translation::getPreferredBrailleTranslatorForDisplay()"},
    {&Translation::getPreferredBrailleTranslatorForEntry, "getPreferredBrailleTranslatorForEntry",
     "TranslatorProxy* Translation::getPreferredBrailleTranslatorForEntry()"},
    {&Translation::getComputerBrailleTranslator, "getComputerBrailleTranslator",
     "TranslatorProxy* Translation::getComputerBrailleTranslator()"},
    {&Translation::getGrade1TranslatorForPreferredEntry, "getGrade1TranslatorForPreferredEntry",
     "TranslatorProxy* Translation::getGrade1TranslatorForPreferredEntry()"},
};

std::ostream& operator<<(std::ostream& output, const Role& role)
{
    return output << role.method;
}

class ARole : public ATranslation, public testing::WithParamInterface<Role>
{
protected:
    TranslatorProxy* get() { return (translation.*GetParam().getter)(); }

    void name(int grade, const char* displayName, bool flag, const char* id)
    {
        service.on(GetParam().method, answer::translator(grade, displayName, flag, id));
    }

    testing::Matcher<LogRecord> failure() const
    {
        return IsFailure(GetParam().method, FILE_NAME, GetParam().function);
    }
};

INSTANTIATE_TEST_SUITE_P(Each, ARole, testing::ValuesIn(ROLES),
                         [](const auto& which) { return which.param.method; });

} // namespace

TEST_F(ATranslation, HasNoHandlesAtFirst)
{
    EXPECT_EQ(translation.*displayOf(), nullptr);
    EXPECT_EQ(translation.*entryOf(), nullptr);
    EXPECT_EQ(translation.*computerOf(), nullptr);
    EXPECT_EQ(translation.*grade1Of(), nullptr);
}

TEST_F(ATranslation, CallsNothingUntilItIsAsked)
{
    service.on("changeLanguageProfile", answer::nothing());
    std::string profile = "en-gb";
    translation.changeLanguageProfile(profile);
    ASSERT_THAT(service.calls(), SizeIs(1));
    EXPECT_EQ(service.calls()[0].member, "changeLanguageProfile");
}

TEST_F(ATranslation, LendsItsLinkToTheService)
{
    ASSERT_NE(translation.getServiceProxy(), nullptr);
    EXPECT_EQ(translation.getServiceProxy(), translation.getServiceProxy());
}

TEST_F(ATranslation, LendsALinkThatHandlesCanBeBuiltByNameWith)
{
    service.on("getTranslatorByName", answer::translator(2, "Some table", true, "some.ctb"));
    const TranslatorProxy handle("Some table", translation.getServiceProxy());
    EXPECT_EQ(handle.getID(), "some.ctb");
}

TEST(ATranslationWithoutABus, LetsTheErrorThroughAndLogsNothing)
{
    const ScopedVariable address("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    const LogCapture log;
    EXPECT_THROW(Translation(), std::exception);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ARole, IsAskedOfTheServiceInOneCall)
{
    name(2, "Some table", true, "some.ctb");
    get();
    const std::vector<Call> calls = service.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].destination, FakeService::busName());
    EXPECT_THAT(calls[0].destination, testing::EndsWith(".service.brailletranslator"));
    EXPECT_EQ(calls[0].path, "/translator");
    EXPECT_EQ(calls[0].interface, "braille.translator");
    EXPECT_EQ(calls[0].member, GetParam().method);
    EXPECT_EQ(calls[0].signature, "");
    EXPECT_EQ(calls[0].signature, contract().at(GetParam().method).in);
    EXPECT_TRUE(calls[0].expectsReply);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ARole, GivesAHandleOnTheTranslatorThatTheServiceNames)
{
    name(2, "Some table", true, "some.ctb");
    service.on("forwardW", answer::echo);
    TranslatorProxy* const handle = get();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->getID(), "some.ctb");
    EXPECT_EQ(handle->getGrade(), 2);
    EXPECT_EQ(handle->*nameOfHandle(), "Some table");
    EXPECT_TRUE(handle->*flagOfHandle());
    handle->forwardW(L"a");
    EXPECT_EQ(service.calls().back().text, "some.ctb");
    EXPECT_EQ(service.calls().back().sender, service.calls().front().sender);
}

TEST_P(ARole, TakesWhateverGradeTheServiceNames)
{
    for (const int grade : {-1, 0, 1, 3}) {
        name(grade, "Some table", true, std::to_string(grade).c_str());
        ASSERT_NE(get(), nullptr);
        EXPECT_EQ(get()->getGrade(), grade);
    }
}

TEST_P(ARole, GivesTheSameHandleWhileTheServiceNamesTheSameTranslator)
{
    name(2, "Some table", true, "some.ctb");
    TranslatorProxy* const handle = get();
    EXPECT_EQ(get(), handle);
    EXPECT_EQ(get(), handle);
    EXPECT_THAT(service.calls(), SizeIs(3)) << "each question is asked afresh";
}

TEST_P(ARole, GivesTheSameHandleThoughEverythingButTheIdentifierChanges)
{
    name(2, "Some table", true, "some.ctb");
    TranslatorProxy* const handle = get();
    name(1, "Another name", false, "some.ctb");
    EXPECT_EQ(get(), handle);
    EXPECT_EQ(handle->getGrade(), 2);
}

TEST_P(ARole, GivesANewHandleWhenTheServiceNamesAnotherTranslator)
{
    name(2, "Some table", true, "some.ctb");
    TranslatorProxy* const first = get();
    name(1, "Some table", true, "other.ctb");
    TranslatorProxy* const second = get();
    ASSERT_NE(second, nullptr);
    EXPECT_NE(second, first);
    EXPECT_EQ(second->getID(), "other.ctb");
    EXPECT_EQ(second->getGrade(), 1);
}

TEST_P(ARole, ComparesIdentifiersToTheLastByte)
{
    name(0, "x", true, "some.ctb");
    get();
    for (const char* other : {"some.ctB", "some.ct", "some.ctb ", ""}) {
        name(0, "x", true, other);
        EXPECT_EQ(get()->getID(), other);
    }
}

TEST_P(ARole, TakesAReplyWithoutABodyAsATranslatorWithoutAnIdentifier)
{
    service.on(GetParam().method, answer::nothing());
    TranslatorProxy* const handle = get();
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(handle->getID(), "");
    EXPECT_EQ(handle->getGrade(), 0);
    EXPECT_EQ(get(), handle);
    name(3, "x", true, "");
    EXPECT_EQ(get(), handle);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ARole, IsNullWithoutAServiceAndLogsOneRecord)
{
    service.releaseName();
    EXPECT_EQ(get(), nullptr);
    ASSERT_THAT(log.records(), ElementsAre(failure()));
}

TEST_P(ARole, IsNullAfterAnErrorReplyAndLogsItsText)
{
    service.on(GetParam().method, answer::error("some.Error", "nobody has that role"));
    EXPECT_EQ(get(), nullptr);
    EXPECT_THAT(log.records(), ElementsAre(failure()));
    EXPECT_THAT(log.records().front().message, HasSubstr("nobody has that role"));
}

TEST_P(ARole, IsNullAfterAReplyOfAnotherShape)
{
    const std::vector<BodyWriter> bodies{
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "isbs", 1, "n", 1, "id"); },
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "(is)", 1, "n"); },
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "(issb)", 1, "n", "id", 1); },
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "i", 1); },
    };
    for (const BodyWriter& body : bodies) {
        log.clear();
        service.on(GetParam().method, answer::body(body));
        EXPECT_EQ(get(), nullptr);
        ASSERT_THAT(log.records(), ElementsAre(failure()));
    }
}

TEST_P(ARole, IsNullWhenTheServiceDoesNotAnswerInTime)
{
    Translation impatient;
    impatient.getServiceProxy()->sdbusProxy.getConnection().setMethodCallTimeout(
        std::chrono::milliseconds(10));
    service.on(GetParam().method, answer::silence());
    EXPECT_EQ((impatient.*GetParam().getter)(), nullptr);
    EXPECT_THAT(log.records(), ElementsAre(failure()));
}

TEST_P(ARole, KeepsItsHandleThroughAFailure)
{
    name(2, "Some table", true, "some.ctb");
    TranslatorProxy* const handle = get();
    service.releaseName();
    EXPECT_EQ(get(), nullptr);
    EXPECT_EQ(handle->getID(), "some.ctb");
    service.requestName();
    EXPECT_EQ(get(), handle);
}

TEST_P(ARole, LogsNothingWhenErrorsAreNotLogged)
{
    log.setLevel(log4cplus::FATAL_LOG_LEVEL);
    service.releaseName();
    EXPECT_EQ(get(), nullptr);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ATranslation, GivesEachRoleAHandleOfItsOwn)
{
    std::vector<TranslatorProxy*> handles;
    for (const Role& role : ROLES) {
        service.on(role.method, answer::translator(2, "Some table", true, "some.ctb"));
        handles.push_back((translation.*role.getter)());
    }
    for (std::size_t role = 0; role < handles.size(); ++role) {
        ASSERT_NE(handles[role], nullptr);
        EXPECT_EQ((translation.*ROLES[role].getter)(), handles[role]);
        for (std::size_t other = 0; other < role; ++other)
            EXPECT_NE(handles[role], handles[other]);
    }
}

TEST_F(ATranslation, KeepsItsHandlesWhenTheProfileChangesUntilTheyAreAskedFor)
{
    service.on("changeLanguageProfile", answer::nothing());
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
    std::string profile = "de";
    translation.changeLanguageProfile(profile);
    EXPECT_EQ(profile, "de");
    EXPECT_EQ(service.calls().back().text, "de");
    EXPECT_EQ(handle->getID(), "one.utb");
    EXPECT_EQ(translation.getComputerBrailleTranslator(), handle);
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "two.utb"));
    EXPECT_EQ(handle->getID(), "one.utb");
    EXPECT_EQ(translation.getComputerBrailleTranslator()->getID(), "two.utb");
}

TEST_F(ATranslation, ReturnsNormallyFromAFailedChangeOfProfile)
{
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
    service.on("changeLanguageProfile", answer::error("some.Error", "no such profile"));
    std::string profile = "tlh";
    translation.changeLanguageProfile(profile);
    ASSERT_THAT(log.records(), SizeIs(1));
    EXPECT_THAT(log.records()[0].message, testing::StartsWith("changeLanguageProfile_proxy : "));
    EXPECT_EQ(translation.getComputerBrailleTranslator(), handle);
}

TEST_F(ATranslation, IsIndependentOfOthers)
{
    service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "one.utb"));
    Translation another;
    TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
    EXPECT_NE(another.getComputerBrailleTranslator(), handle);
    EXPECT_NE(service.calls()[0].sender, service.calls()[1].sender);
    EXPECT_NE(another.getServiceProxy(), translation.getServiceProxy());
}

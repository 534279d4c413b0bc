#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <sdbus-c++/IConnection.h>

#include "support/BusTest.h"
#include "support/Contract.h"
#include "support/Environment.h"
#include "support/HostProcess.h"
#include "support/PrivateMember.h"

#include <sdbus-c++/Error.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <stdexcept>
#include <string>
#include <vector>

REVEAL(proxyHolderOf, DBusTranslatorProxy, proxyHolder)

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* FILE_NAME = "libBrailleTranslate/DBusTranslatorProxy.cpp";

bool isDefault(const TranslationReply& reply)
{
    return reply == TranslationReply();
}

TranslationFields someFields()
{
    return {true, 42, {0, 2, 5}, {true, false, true}, {0x2811, 0x2801}, {'a', 'b'}, "a note"};
}

/** A proxy for the fake service. */
class ADBusTranslatorProxy : public BusTest
{
protected:
    DBusTranslatorProxy proxy{"/translator", FakeService::busName()};
    std::string id = "some-table.ctb";
};

/** One of the two translations, which differ in nothing but their name. */
struct TranslationMethod
{
    TranslationReply (DBusTranslatorProxy::*call)(std::string&, const std::wstring&, int);
    const char* method;
    const char* operation;
};

const TranslationMethod TRANSLATION_METHODS[] = {
    {&DBusTranslatorProxy::forwardW_proxy, "forwardW", "forwardW_proxy"},
    {&DBusTranslatorProxy::backW_proxy, "backW", "backW_proxy"},
};

std::ostream& operator<<(std::ostream& output, const TranslationMethod& method)
{
    return output << method.method;
}

class ATranslationCall : public ADBusTranslatorProxy,
                         public testing::WithParamInterface<TranslationMethod>
{
protected:
    TranslationReply translate(const std::wstring& text, int cursor)
    {
        return (proxy.*GetParam().call)(id, text, cursor);
    }

    Call onlyCall() const
    {
        const std::vector<Call> calls = service.calls();
        EXPECT_THAT(calls, SizeIs(1));
        return calls.empty() ? Call() : calls.front();
    }

    void expectOneFailure() const
    {
        ASSERT_THAT(log.records(), SizeIs(1));
        const LogRecord& record = log.records().front();
        const std::string start = std::string(GetParam().operation) + " : ";
        EXPECT_EQ(record.message.rfind(start, 0), 0U) << record.message;
        EXPECT_GT(record.message.size(), start.size());
        EXPECT_EQ(record.level, log4cplus::ERROR_LOG_LEVEL);
        EXPECT_EQ(record.file, FILE_NAME);
        const std::string function =
            std::string(" DBusTranslatorProxy::") + GetParam().operation + "(std::string&";
        EXPECT_THAT(withoutBlanksAtStars(record.function), HasSubstr(function));
    }
};

INSTANTIATE_TEST_SUITE_P(Both, ATranslationCall, testing::ValuesIn(TRANSLATION_METHODS),
                         [](const auto& which) { return which.param.method; });

} // namespace

TEST_F(ADBusTranslatorProxy, OwnsTheProxyThatItShows)
{
    EXPECT_EQ((proxy.*proxyHolderOf()).get(), &proxy.sdbusProxy);
}

TEST_F(ADBusTranslatorProxy, CallsNothingUntilItIsAsked)
{
    service.on("forwardW", answer::echo);
    DBusTranslatorProxy another("/translator", FakeService::busName());
    another.forwardW_proxy(id, L"a", 0);
    EXPECT_THAT(service.calls(), SizeIs(1));
}

TEST_F(ADBusTranslatorProxy, HasAConnectionOfItsOwn)
{
    service.on("forwardW", answer::echo);
    DBusTranslatorProxy another("/translator", FakeService::busName());
    proxy.forwardW_proxy(id, L"a", 0);
    another.forwardW_proxy(id, L"a", 0);
    const std::vector<Call> calls = service.calls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_NE(calls[0].sender, calls[1].sender);
}

TEST_F(ADBusTranslatorProxy, TakesTheObjectPathFirstAndTheBusNameSecond)
{
    service.on("forwardW", answer::echo);
    DBusTranslatorProxy another("/elsewhere", FakeService::busName());
    another.forwardW_proxy(id, L"a", 0);
    ASSERT_THAT(service.calls(), SizeIs(1));
    EXPECT_EQ(service.calls()[0].path, "/elsewhere");
}

TEST_F(ADBusTranslatorProxy, LeavesNoThreadAndNoDescriptorBehind)
{
    const HostProcess before;
    {
        const DBusTranslatorProxy another("/translator", FakeService::busName());
        EXPECT_EQ(HostProcess().threads, before.threads);
    }
    EXPECT_EQ(HostProcess(), before);
}

TEST_F(ADBusTranslatorProxy, NeedsNoServiceToBeMade)
{
    service.releaseName();
    const DBusTranslatorProxy another("/translator", FakeService::busName());
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ADBusTranslatorProxy, ReachesAServiceThatStartsAgain)
{
    service.on("forwardW", answer::translation(someFields()));
    service.releaseName();
    EXPECT_TRUE(isDefault(proxy.forwardW_proxy(id, L"a", 0)));
    service.requestName();
    EXPECT_FALSE(isDefault(proxy.forwardW_proxy(id, L"a", 0)));
    EXPECT_THAT(log.records(), SizeIs(1));
}

TEST(ADBusTranslatorProxyWithoutABus, ThrowsAndLogsNothing)
{
    const ScopedVariable address("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    const LogCapture log;
    EXPECT_THROW(DBusTranslatorProxy("/translator", FakeService::busName()), std::exception);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST(ADBusTranslatorProxyWithoutABus, LooksAtItsArgumentsFirst)
{
    const ScopedVariable address("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    const LogCapture log;
    const auto complaint = [](const char* objectPath, const char* busName) -> std::string {
        try {
            const DBusTranslatorProxy proxy(objectPath, busName);
        } catch (const std::logic_error& error) {
            return error.what();
        }
        return "";
    };
    EXPECT_THAT(complaint(nullptr, FakeService::busName()), HasSubstr("objectPath"));
    EXPECT_THAT(complaint("/translator", nullptr), HasSubstr("busName"));
    EXPECT_THAT(complaint(nullptr, nullptr), HasSubstr("busName"));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationCall, IsOneCallOfTheServicesMethod)
{
    service.on(GetParam().method, answer::echo);
    translate(L"ab\u00e9", 2);
    const Call call = onlyCall();
    EXPECT_EQ(call.destination, FakeService::busName());
    EXPECT_EQ(call.path, "/translator");
    EXPECT_EQ(call.interface, "braille.translator");
    EXPECT_EQ(call.member, GetParam().method);
    EXPECT_EQ(call.signature, contract().at(GetParam().method).in);
    EXPECT_EQ(call.text, "some-table.ctb");
    EXPECT_THAT(call.codePoints, ElementsAre('a', 'b', 0xe9U));
    EXPECT_EQ(call.cursor, 2);
}

TEST_P(ATranslationCall, SetsAndClearsNoMessageFlags)
{
    service.on(GetParam().method, answer::echo);
    translate(L"a", 0);
    EXPECT_TRUE(onlyCall().expectsReply);
    EXPECT_TRUE(onlyCall().mayStartService);
}

TEST_P(ATranslationCall, SendsAnEmptyTextAsAnEmptyArray)
{
    service.on(GetParam().method, answer::echo);
    translate(L"", 7);
    EXPECT_EQ(onlyCall().signature, "saui");
    EXPECT_EQ(onlyCall().text, "some-table.ctb");
    EXPECT_THAT(onlyCall().codePoints, IsEmpty());
    EXPECT_EQ(onlyCall().cursor, 7);
}

TEST_P(ATranslationCall, SendsEveryElementUnchanged)
{
    service.on(GetParam().method, answer::echo);
    const std::vector<uint32_t> values{0,        0xd800,     0xdfff,     0xfffe,    0x10ffff,
                                       0x110000, 0x7fffffff, 0x80000000, 0xffffffff};
    translate(std::wstring(values.begin(), values.end()), 0);
    EXPECT_EQ(onlyCall().codePoints, values);
}

TEST_P(ATranslationCall, SendsEveryCursorUnchanged)
{
    service.on(GetParam().method, answer::echo);
    const std::vector<int> cursors{INT_MIN, -1, 0, 3, 4, INT_MAX};
    for (const int cursor : cursors)
        translate(L"abc", cursor);
    std::vector<int> sent;
    for (const Call& call : service.calls())
        sent.push_back(call.cursor);
    EXPECT_EQ(sent, cursors);
}

TEST_P(ATranslationCall, OnlyReadsTheIdentifier)
{
    service.on(GetParam().method, answer::echo);
    for (const std::string& any :
         {std::string(), std::string("\u00e9 / x"), std::string(300, 'x')}) {
        id = any;
        translate(L"a", 0);
        EXPECT_EQ(id, any);
        EXPECT_EQ(service.calls().back().text, any);
    }
}

TEST_P(ATranslationCall, ReturnsEveryFieldOfTheReply)
{
    service.on(GetParam().method, answer::translation(someFields()));
    const TranslationReply reply = translate(L"ab", 1);
    EXPECT_TRUE(reply.get<0>());
    EXPECT_EQ(reply.get<1>(), 42);
    EXPECT_THAT(reply.get<2>(), ElementsAre(0, 2, 5));
    EXPECT_THAT(reply.get<3>(), ElementsAre(true, false, true));
    EXPECT_THAT(reply.get<4>(), ElementsAre(0x2811U, 0x2801U));
    EXPECT_THAT(reply.get<5>(), ElementsAre('a', 'b'));
    EXPECT_EQ(reply.get<6>(), "a note");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationCall, TakesSwappedTextsAsTheyStand)
{
    TranslationFields fields = someFields();
    fields.translated.swap(fields.untranslated);
    service.on(GetParam().method, answer::translation(fields));
    const TranslationReply reply = translate(L"ab", 1);
    EXPECT_THAT(reply.get<4>(), ElementsAre('a', 'b'));
    EXPECT_THAT(reply.get<5>(), ElementsAre(0x2811U, 0x2801U));
}

TEST_P(ATranslationCall, PassesOnFlagsOfAnotherLengthThanTheMap)
{
    for (const std::vector<bool>& flags :
         {std::vector<bool>{}, {true}, {true, false, true, true, true}}) {
        TranslationFields fields = someFields();
        fields.known = flags;
        service.on(GetParam().method, answer::translation(fields));
        const TranslationReply reply = translate(L"ab", 1);
        EXPECT_EQ(reply.get<2>(), fields.posMap);
        EXPECT_EQ(reply.get<3>(), flags);
    }
}

TEST_P(ATranslationCall, PassesOnExtremeValues)
{
    const TranslationFields fields{false,    INT_MIN, {INT_MIN, -1, INT_MAX}, {false}, {0xffffffff},
                                   {0xd800}, ""};
    service.on(GetParam().method, answer::translation(fields));
    const TranslationReply reply = translate(L"ab", 1);
    EXPECT_EQ(reply.get<1>(), INT_MIN);
    EXPECT_THAT(reply.get<2>(), ElementsAre(INT_MIN, -1, INT_MAX));
    EXPECT_THAT(reply.get<4>(), ElementsAre(0xffffffffU));
    EXPECT_THAT(reply.get<5>(), ElementsAre(0xd800U));
}

TEST_P(ATranslationCall, ReadsNothingBehindTheStructure)
{
    service.on(GetParam().method, answer::body([](sd_bus_message* reply) {
                   answer::append(reply, someFields());
                   sd_bus_message_append(reply, "si", "more", 1);
               }));
    EXPECT_EQ(translate(L"ab", 1).get<1>(), 42);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationCall, TakesAReplyWithoutABodyAsTheDefaultAndLogsNothing)
{
    service.on(GetParam().method, answer::nothing());
    EXPECT_TRUE(isDefault(translate(L"ab", 1)));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationCall, LogsAnErrorReplyOnceAndReturnsTheDefault)
{
    service.on(GetParam().method, answer::error("braille.translator.Error.Some", "no such luck"));
    EXPECT_TRUE(isDefault(translate(L"ab", 1)));
    expectOneFailure();
    EXPECT_THAT(log.records().front().message, HasSubstr("no such luck"));
    EXPECT_THAT(service.calls(), SizeIs(1)) << "nothing is retried";
}

TEST_P(ATranslationCall, LogsAMissingServiceOnceAndReturnsTheDefault)
{
    service.releaseName();
    EXPECT_TRUE(isDefault(translate(L"ab", 1)));
    expectOneFailure();
}

TEST_P(ATranslationCall, FailsForAnIdentifierThatIsNotUtf8AndSendsNothing)
{
    service.on(GetParam().method, answer::translation(someFields()));
    id = "some\xff.ctb";
    EXPECT_TRUE(isDefault(translate(L"ab", 1)));
    expectOneFailure();
    EXPECT_THAT(service.calls(), IsEmpty());
    id = "some.ctb";
    EXPECT_EQ(translate(L"ab", 1).get<1>(), 42) << "the connection is still there";
}

TEST_P(ATranslationCall, LogsRepliesOfAnotherShapeOnceAndReturnsTheDefault)
{
    const std::vector<BodyWriter> bodies{
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "s", "text"); },
        // The same fields without the structure around them.
        [](sd_bus_message* reply) {
            sd_bus_message_append(reply, "biaiabauaus", 1, 2, 1, 3, 1, 1, 1, 4, 1, 5, "x");
        },
        // A structure that ends early, one that goes on, one with another type inside.
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "(biai)", 1, 2, 1, 3); },
        [](sd_bus_message* reply) {
            sd_bus_message_append(reply, "(biaiabauausi)", 1, 2, 0, 0, 0, 0, "x", 7);
        },
        [](sd_bus_message* reply) {
            sd_bus_message_append(reply, "(biaiabaiaus)", 1, 2, 1, 3, 1, 1, 1, 4, 1, 5, "x");
        },
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "(isbs)", 1, "n", 1, "id"); },
        [](sd_bus_message* reply) { sd_bus_message_append(reply, "v", "s", "text"); },
    };
    for (const BodyWriter& body : bodies) {
        log.clear();
        service.on(GetParam().method, answer::body(body));
        EXPECT_TRUE(isDefault(translate(L"ab", 1)));
        expectOneFailure();
    }
}

TEST_P(ATranslationCall, WorksAgainAfterAFailure)
{
    service.on(GetParam().method, answer::body([](sd_bus_message* reply) {
                   sd_bus_message_append(reply, "(biai)", 1, 2, 1, 3);
               }));
    translate(L"ab", 1);
    service.on(GetParam().method, answer::translation(someFields()));
    EXPECT_EQ(translate(L"ab", 1).get<1>(), 42);
}

TEST_P(ATranslationCall, IsSilentWhenErrorsAreNotLogged)
{
    log.setLevel(log4cplus::FATAL_LOG_LEVEL);
    service.on(GetParam().method, answer::error("some.Error", "x"));
    EXPECT_TRUE(isDefault(translate(L"ab", 1)));
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_P(ATranslationCall, ThatIsNotAnsweredInTimeFailsAsAnyOther)
{
    DBusTranslatorProxy impatient("/translator", FakeService::busName());
    impatient.sdbusProxy.getConnection().setMethodCallTimeout(std::chrono::milliseconds(10));
    service.on(GetParam().method, answer::silence());
    EXPECT_TRUE(isDefault((impatient.*GetParam().call)(id, L"a", 0)));
    expectOneFailure();
    EXPECT_THAT(log.records().front().message,
                testing::AnyOf(HasSubstr("Error.Timeout"), HasSubstr("Error.NoReply")));
}

TEST(ATranslationCallsRecord, SpellsTheReturnTypeOut)
{
    const PrivateBus bus;
    LogCapture log;
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    std::string id;
    proxy.forwardW_proxy(id, L"", 0);
    proxy.backW_proxy(id, L"", 0);
    ASSERT_THAT(log.records(), SizeIs(2));
#ifdef __clang__
    for (const LogRecord& record : log.records())
        EXPECT_THAT(record.function, HasSubstr("sdbus::Struct<bool, int"));
#else
    const std::string returnType =
        "sdbus::Struct<bool, int, std::vector<int, std::allocator<int> >, "
        "std::vector<bool, std::allocator<bool> >, "
        "std::vector<unsigned int, std::allocator<unsigned int> >, "
        "std::vector<unsigned int, std::allocator<unsigned int> >, "
        "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> > >";
    const std::string arguments = "(std::string&, const std::wstring&, int)";
    EXPECT_EQ(log.records()[0].function,
              returnType + " DBusTranslatorProxy::forwardW_proxy" + arguments);
    EXPECT_EQ(log.records()[1].function,
              returnType + " DBusTranslatorProxy::backW_proxy" + arguments);
#endif
}

TEST_F(ADBusTranslatorProxy, ChangesTheLanguageProfileInOneCall)
{
    service.on("changeLanguageProfile", answer::nothing());
    proxy.changeLanguageProfile_proxy("en-gb");
    const std::vector<Call> calls = service.calls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].path, "/translator");
    EXPECT_EQ(calls[0].interface, "braille.translator");
    EXPECT_EQ(calls[0].member, "changeLanguageProfile");
    EXPECT_EQ(calls[0].signature, contract().at("changeLanguageProfile").in);
    EXPECT_EQ(calls[0].text, "en-gb");
    EXPECT_TRUE(calls[0].expectsReply);
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ADBusTranslatorProxy, SendsAnEmptyLanguageProfileAsAnEmptyString)
{
    service.on("changeLanguageProfile", answer::nothing());
    proxy.changeLanguageProfile_proxy("");
    ASSERT_THAT(service.calls(), SizeIs(1));
    EXPECT_EQ(service.calls()[0].text, "");
}

TEST_F(ADBusTranslatorProxy, WaitsForTheLanguageProfileToBeChanged)
{
    std::atomic<bool> changed = false;
    const Responder reply = answer::nothing();
    service.on("changeLanguageProfile", [&](sd_bus_message* call) {
        changed = true;
        reply(call);
    });
    proxy.changeLanguageProfile_proxy("en-gb");
    EXPECT_TRUE(changed);
}

TEST_F(ADBusTranslatorProxy, DropsTheReplyToAChangedProfileUnread)
{
    service.on("changeLanguageProfile", answer::body([](sd_bus_message* reply) {
                   sd_bus_message_append(reply, "(is)", 1, "whatever");
               }));
    proxy.changeLanguageProfile_proxy("en-gb");
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(ADBusTranslatorProxy, LogsAFailedChangeOfProfileAndReturns)
{
    service.on("changeLanguageProfile", answer::error("some.Error", "no such profile"));
    proxy.changeLanguageProfile_proxy("tlh");
    ASSERT_THAT(log.records(),
                ElementsAre(IsFailure("changeLanguageProfile_proxy", FILE_NAME,
                                      "void DBusTranslatorProxy::changeLanguageProfile_proxy(const "
                                      "string&)")));
    EXPECT_THAT(log.records().front().message, HasSubstr("no such profile"));
}

TEST(TheContract, HasTheMethodsThatTheLibraryCallsAndNoOthers)
{
    std::vector<std::string> methods;
    for (const auto& [method, signatures] : contract()) {
        methods.push_back(method);
        if (method == "changeLanguageProfile")
            EXPECT_EQ(signatures.out, "");
        else
            EXPECT_EQ(signatures.out, signatures.in == "saui" ? "(biaiabauaus)" : "(isbs)");
    }
    EXPECT_THAT(methods,
                ElementsAre("backW", "changeLanguageProfile", "forwardW",
                            "getComputerBrailleTranslator", "getGrade1TranslatorForPreferredEntry",
                            "getPreferredBrailleTranslatorForDisplay",
                            "getPreferredBrailleTranslatorForEntry", "getTranslatorByName"));
}

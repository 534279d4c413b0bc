#include "support/BusTest.h"
#include "support/Environment.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <string>

using testing::SizeIs;

namespace {

/** Sends somebody a method call that they did not ask for, and takes down how they answer. */
void callStray(sd_bus* bus, const std::string& somebody, std::string& answer)
{
    const auto onAnswer = [](sd_bus_message* reply, void* text, sd_bus_error*) {
        const sd_bus_error* const error = sd_bus_message_get_error(reply);
        *static_cast<std::string*>(text) = error == nullptr ? "no error" : error->name;
        return 0;
    };
    sd_bus_call_method_async(bus, nullptr, somebody.c_str(), "/stray", "stray.Interface", "Stray",
                             onAnswer, &answer, nullptr);
}

class StrayMessages : public BusTest
{
protected:
    /** Makes the next call of forwardW read a stray message on the way to its reply. */
    void sendOneAheadOfTheReply()
    {
        service.on("forwardW", [this](sd_bus_message* call) {
            callStray(sd_bus_message_get_bus(call), sd_bus_message_get_sender(call), strayAnswer);
            answer::echo(call);
        });
    }

    /** The answer to the stray message, as far as it has come when the method is called. */
    void takeItsAnswerDownAt(const std::string& method, const Responder& responder)
    {
        service.on(method, [this, responder](sd_bus_message* call) {
            answerAtNextCall = strayAnswer;
            responder(call);
        });
    }

    // Both belong to the fake service's thread while a call is on its way.
    std::string strayAnswer = "none";
    std::string answerAtNextCall;
};

} // namespace

TEST_F(StrayMessages, AreDroppedBeforeTheNextTranslation)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    TranslatorProxy handle(2, "Some table", true, "some.ctb", &proxy);
    sendOneAheadOfTheReply();
    EXPECT_EQ(handle.forwardW(L"first")->getUntranslatedW(), L"first");
    takeItsAnswerDownAt("forwardW", answer::echo);
    EXPECT_EQ(handle.forwardW(L"second")->getUntranslatedW(), L"second");
    EXPECT_EQ(answerAtNextCall, SD_BUS_ERROR_UNKNOWN_OBJECT);
    EXPECT_THAT(log.records(), SizeIs(0));
}

TEST_F(StrayMessages, AreDroppedBeforeTheNextChangeOfProfile)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    TranslatorProxy handle(2, "Some table", true, "some.ctb", &proxy);
    sendOneAheadOfTheReply();
    handle.forwardW(L"first");
    takeItsAnswerDownAt("changeLanguageProfile", answer::nothing());
    proxy.changeLanguageProfile_proxy("en-gb");
    EXPECT_EQ(answerAtNextCall, SD_BUS_ERROR_UNKNOWN_OBJECT);
}

TEST_F(StrayMessages, DoNotReachACallThatTheyAreNotMeantFor)
{
    const ScopedVariable timeOut("SYSTEMD_BUS_TIMEOUT", "500ms");
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    TranslatorProxy handle(2, "Some table", true, "some.ctb", &proxy);
    sd_bus_message* late = nullptr;
    service.on("forwardW", [&](sd_bus_message* call) { late = sd_bus_message_ref(call); });
    EXPECT_EQ(handle.forwardW(L"first")->getUntranslatedW(), L"");
    service.on("forwardW", [&](sd_bus_message* call) {
        if (late != nullptr) {
            answer::echo(late);
            late = sd_bus_message_unref(late);
        }
        answer::echo(call);
    });
    EXPECT_EQ(handle.forwardW(L"second")->getUntranslatedW(), L"second");
    EXPECT_EQ(handle.forwardW(L"third")->getUntranslatedW(), L"third");
    EXPECT_THAT(log.records(), SizeIs(1)) << "the call that timed out";
}

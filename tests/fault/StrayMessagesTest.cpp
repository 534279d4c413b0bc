#include "support/BusTest.h"
#include "support/Environment.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <future>
#include <string>

using testing::SizeIs;

namespace {

/** Sends somebody a method call that they did not ask for; keeps the promise when they answer. */
void callStray(sd_bus* bus, const std::string& somebody, std::promise<std::string>& answered)
{
    const auto onAnswer = [](sd_bus_message* reply, void* promise, sd_bus_error*) {
        const sd_bus_error* const error = sd_bus_message_get_error(reply);
        static_cast<std::promise<std::string>*>(promise)->set_value(error == nullptr ? ""
                                                                                     : error->name);
        return 0;
    };
    sd_bus_call_method_async(bus, nullptr, somebody.c_str(), "/stray", "stray.Interface", "Stray",
                             onAnswer, &answered, nullptr);
}

class StrayMessages : public BusTest
{
};

} // namespace

TEST_F(StrayMessages, AreDroppedAtTheNextCall)
{
    DBusTranslatorProxy proxy("/translator", FakeService::busName());
    TranslatorProxy handle(2, "Some table", true, "some.ctb", &proxy);
    std::promise<std::string> answered;
    // It reaches the client ahead of the reply, so that the waiting call reads it.
    service.on("forwardW", [&](sd_bus_message* call) {
        callStray(sd_bus_message_get_bus(call), sd_bus_message_get_sender(call), answered);
        answer::echo(call);
    });
    EXPECT_EQ(handle.forwardW(L"first")->getUntranslatedW(), L"first");
    service.on("forwardW", answer::echo);
    EXPECT_EQ(handle.forwardW(L"second")->getUntranslatedW(), L"second");
    EXPECT_EQ(answered.get_future().get(), SD_BUS_ERROR_UNKNOWN_OBJECT);
    EXPECT_THAT(log.records(), SizeIs(0));
}

TEST_F(StrayMessages, DoNotReachACallThatTheyAreNotMeantFor)
{
    const ScopedVariable timeOut("SYSTEMD_BUS_TIMEOUT", "100ms");
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

#include "support/BusTest.h"

#include <dbus/SdbusVersion.h>
#include <libBrailleTranslate/DBusTranslatorProxy.h>
#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

// From sdbus-c++ 1.3 on its own proxies do without a thread.
#if SDBUS_VERSION < 10300

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr const char* INTERFACE = "braille.translator";

/** The proxy that a link lends, which hands each operation on to one of sdbus-c++'s own. */
class AThreadlessProxy : public BusTest
{
protected:
    /** Runs what has been registered with the connection, until that has happened. */
    template <typename Condition>
    void processUntil(Condition hasHappened)
    {
        while (!hasHappened())
            proxy.getConnection().processPendingRequest();
    }

    /** Asks for a translator without waiting, and then handles what comes until the answer. */
    TranslatorInfo askAndProcess()
    {
        std::optional<TranslatorInfo> reply;
        proxy.callMethodAsync("getComputerBrailleTranslator")
            .onInterface(INTERFACE)
            .uponReplyInvoke([&](const sdbus::Error* error, const TranslatorInfo& translator) {
                EXPECT_EQ(error, nullptr);
                reply = translator;
            });
        processUntil([&] { return reply.has_value(); });
        return *reply;
    }

    /** The service tells all who listen. */
    void emit(const char* text)
    {
        service.run([text](sd_bus* connection) {
            sd_bus_emit_signal(connection, "/translator", INTERFACE, "Changed", "s", text);
        });
    }

    DBusTranslatorProxy link{"/translator", FakeService::busName()};
    sdbus::IProxy& proxy = link.sdbusProxy;
};

} // namespace

TEST_F(AThreadlessProxy, KnowsItsObject)
{
    EXPECT_EQ(proxy.getObjectPath(), "/translator");
}

TEST_F(AThreadlessProxy, HandsATimeOutOn)
{
    service.on("changeLanguageProfile", answer::silence());
    try {
        proxy.callMethod("changeLanguageProfile")
            .onInterface(INTERFACE)
            .withTimeout(std::chrono::milliseconds(10))
            .withArguments("x");
        FAIL() << "no time-out";
    } catch (const sdbus::Error& error) {
        EXPECT_THAT(error.getName(), AnyOf(HasSubstr("Timeout"), HasSubstr("NoReply")));
    }
}

TEST_F(AThreadlessProxy, HandsACallOnWhoseReplyIsNotAwaited)
{
    service.on("getComputerBrailleTranslator", answer::translator(3, "x", true, "x"));
    EXPECT_EQ(askAndProcess().get<0>(), 3);
}

TEST_F(AThreadlessProxy, HandsTheTimeOutOfSuchACallOn)
{
    service.on("getComputerBrailleTranslator", answer::silence());
    std::string failure;
    proxy.callMethodAsync("getComputerBrailleTranslator")
        .onInterface(INTERFACE)
        .withTimeout(std::chrono::milliseconds(10))
        .uponReplyInvoke([&](const sdbus::Error* error, const TranslatorInfo& /*none*/) {
            failure = error == nullptr ? "none" : error->getName();
        });
    processUntil([&] { return !failure.empty(); });
    EXPECT_THAT(failure, AnyOf(HasSubstr("Timeout"), HasSubstr("NoReply")));
}

TEST_F(AThreadlessProxy, HandsSignalsOnUntilTheyAreNoLongerWanted)
{
    std::vector<std::string> heard;
    const sdbus::Message* message = nullptr;
    proxy.uponSignal("Changed").onInterface(INTERFACE).call([&](const std::string& text) {
        heard.push_back(text);
        message = proxy.getCurrentlyProcessedMessage();
    });
    proxy.finishRegistration();
    emit("one");
    processUntil([&] { return !heard.empty(); });
    EXPECT_NE(message, nullptr);
    proxy.muteSignal("Changed").onInterface(INTERFACE);
    emit("two");
    service.on("getComputerBrailleTranslator", answer::translator(3, "x", true, "x"));
    askAndProcess(); // the answer comes after the signal
    EXPECT_THAT(heard, ElementsAre("one"));
}

#endif

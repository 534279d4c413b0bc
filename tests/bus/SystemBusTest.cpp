#include "support/Environment.h"
#include "support/FakeService.h"
#include "support/LogCapture.h"
#include "support/PrivateBus.h"
#include "support/SdBusConnection.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <exception>
#include <string>
#include <systemd/sd-bus.h>

using testing::IsEmpty;
using testing::SizeIs;

namespace {

/** How many connections a bus has had until now, this one included: it numbers them. */
int countConnections(const PrivateBus& bus)
{
    sd_bus* const connection = connectTo(bus.address());
    const char* name = nullptr;
    require(sd_bus_get_unique_name(connection, &name), "get_unique_name");
    const std::string unique = name;
    sd_bus_flush_close_unref(connection);
    return std::stoi(unique.substr(unique.find('.') + 1));
}

/** A host in a session, which was started by that session's bus, with a service on both buses. */
class TheSystemBus : public testing::Test
{
protected:
    TheSystemBus()
    {
        for (FakeService* service : {&onSessionBus, &onSystemBus}) {
            service->on("getComputerBrailleTranslator", answer::translator(0, "x", true, "x"));
            service->on("forwardW", answer::echo);
        }
    }

    // The bus that is made last is this process's system bus.
    PrivateBus sessionBus;
    PrivateBus systemBus;
    const ScopedVariable session{"DBUS_SESSION_BUS_ADDRESS", sessionBus.address().c_str()};
    const ScopedVariable starter{"DBUS_STARTER_ADDRESS", sessionBus.address().c_str()};
    const ScopedVariable starterType{"DBUS_STARTER_BUS_TYPE", "session"};
    FakeService onSessionBus{sessionBus.address()};
    FakeService onSystemBus{systemBus.address()};
    LogCapture log;
};

} // namespace

TEST_F(TheSystemBus, IsTheOnlyOneThatIsAsked)
{
    const int before = countConnections(sessionBus);
    {
        Translation translation;
        TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(handle->forwardW(L"a")->getUntranslatedW(), L"a");
    }
    EXPECT_THAT(onSystemBus.calls(), SizeIs(2));
    EXPECT_EQ(countConnections(sessionBus), before + 1) << "connections to the session bus";
    EXPECT_THAT(log.records(), IsEmpty());
}

TEST_F(TheSystemBus, IsNotReplacedByTheSessionBusWhenItIsGone)
{
    const int before = countConnections(sessionBus);
    systemBus.kill(SIGKILL);
    EXPECT_THROW(Translation(), std::exception);
    EXPECT_EQ(countConnections(sessionBus), before + 1) << "connections to the session bus";
}

/** Clients that ask for more before they have their answers, as the library never does. */
#include "support/PrivateBus.h"
#include "support/ScriptedEngine.h"
#include "support/ScriptedService.h"
#include "support/SdBusConnection.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace {

/** Sends calls at once, and takes the replies as they come. */
class PipeliningClient
{
public:
    struct Reply
    {
        std::size_t call; ///< which of our calls it answers, in the order of sending
        std::string error;
    };

    explicit PipeliningClient(const std::string& busAddress) : bus(connectTo(busAddress))
    {
        name(); // until the bus has said hello, calls would only be queued
    }
    ~PipeliningClient() { sd_bus_flush_close_unref(bus); }
    PipeliningClient(const PipeliningClient&) = delete;
    PipeliningClient& operator=(const PipeliningClient&) = delete;

    void forward(const char* translator, const std::vector<uint32_t>& text)
    {
        sd_bus_message* call = newCall("forwardW");
        require(sd_bus_message_append(call, "s", translator), "append");
        require(sd_bus_message_append_array(call, 'u', text.data(), text.size() * sizeof(uint32_t)),
                "append_array");
        require(sd_bus_message_append(call, "i", 0), "append");
        send(call);
    }

    void ask(const char* method) { send(newCall(method)); }

    /** Its unique name on the bus. */
    std::string name() const
    {
        const char* unique = nullptr;
        require(sd_bus_get_unique_name(bus, &unique), "get_unique_name");
        return unique;
    }

    /** Waits until the bus has told all that the client of that unique name has gone. */
    void awaitGone(const std::string& client)
    {
        for (int isThere = 1; isThere != 0;) {
            sd_bus_message* reply = nullptr;
            require(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                       "org.freedesktop.DBus", "NameHasOwner", nullptr, &reply, "s",
                                       client.c_str()),
                    "NameHasOwner");
            require(sd_bus_message_read(reply, "b", &isThere), "read");
            sd_bus_message_unref(reply);
        }
    }

    Reply nextReply()
    {
        for (;;) {
            sd_bus_message* message = nullptr;
            if (require(sd_bus_process(bus, &message), "process") == 0)
                require(sd_bus_wait(bus, UINT64_MAX), "wait");
            if (message == nullptr)
                continue;
            uint64_t cookie = 0;
            const bool isReply = sd_bus_message_get_reply_cookie(message, &cookie) >= 0;
            const sd_bus_error* const error = sd_bus_message_get_error(message);
            const std::string name = error == nullptr ? "" : error->name;
            sd_bus_message_unref(message);
            for (std::size_t call = 0; isReply && call < cookies.size(); ++call) {
                if (cookies[call] == cookie)
                    return {call, name};
            }
        }
    }

    std::vector<Reply> replies(std::size_t count)
    {
        std::vector<Reply> all;
        while (all.size() < count)
            all.push_back(nextReply());
        return all;
    }

private:
    sd_bus_message* newCall(const char* method)
    {
        sd_bus_message* call = nullptr;
        require(sd_bus_message_new_method_call(bus, &call, TEST_BUS_NAME, "/translator",
                                               "braille.translator", method),
                "new_method_call");
        return call;
    }

    void send(sd_bus_message* call)
    {
        uint64_t cookie = 0;
        require(sd_bus_send(bus, call, &cookie), "send");
        sd_bus_message_unref(call);
        cookies.push_back(cookie);
    }

    sd_bus* bus;
    std::vector<uint64_t> cookies;
};

class APipeliningClient : public testing::Test
{
protected:
    PrivateBus bus;
    ScriptedService service;
    PipeliningClient client{bus.address()};
};

} // namespace

TEST_F(APipeliningClient, GetsItsTranslationsInTheOrderOfItsCalls)
{
    for (std::size_t count = 0; count < 60; ++count)
        client.forward(scripted::PLAIN, std::vector<uint32_t>(count % 3 == 0 ? 20000 : 5, 'x'));
    for (std::size_t count = 0; count < 60; ++count) {
        const auto reply = client.nextReply();
        EXPECT_EQ(reply.call, count);
        EXPECT_EQ(reply.error, "");
    }
}

TEST_F(APipeliningClient, GetsTheErrorsOfItsTextsInThatOrderToo)
{
    client.forward(scripted::HANGS, {'a'});
    client.forward(scripted::PLAIN, {'a'});
    kill(service.nextHanging(), SIGKILL);
    const auto replies = client.replies(2);
    EXPECT_EQ(replies[0].call, 0U);
    EXPECT_EQ(replies[0].error, "braille.translator.Error.EngineFailed");
    EXPECT_EQ(replies[1].call, 1U);
    EXPECT_EQ(replies[1].error, "");
}

TEST_F(APipeliningClient, GetsAnswersToQuestionsWhileItsTextHangs)
{
    client.forward(scripted::HANGS, {'a'});
    client.ask("getComputerBrailleTranslator");
    EXPECT_EQ(client.nextReply().call, 1U);
    kill(service.nextHanging(), SIGHUP);
    EXPECT_EQ(client.nextReply().call, 0U);
}

TEST_F(APipeliningClient, IsToldWhenItAsksTooMuch)
{
    constexpr std::size_t MOST_WAITING = 64;
    client.forward(scripted::HANGS, {'a'});
    const pid_t engine = service.nextHanging();
    for (std::size_t count = 0; count < 100; ++count)
        client.forward(scripted::PLAIN, {'a'});
    for (const auto& reply : client.replies(100 - MOST_WAITING))
        EXPECT_EQ(reply.error, "braille.translator.Error.Busy");
    kill(engine, SIGHUP);
    for (const auto& reply : client.replies(1 + MOST_WAITING))
        EXPECT_EQ(reply.error, "");
}

TEST_F(APipeliningClient, LeavesNothingToDoWhenItGoes)
{
    std::string leaver;
    pid_t engine = -1;
    {
        PipeliningClient leaving(bus.address());
        leaver = leaving.name();
        for (std::size_t count = 0; count < 60; ++count)
            leaving.forward(scripted::HANGS, {'a'});
        engine = service.nextHanging();
    }
    client.awaitGone(leaver);
    // The service has heard of that before it answers this.
    client.ask("getComputerBrailleTranslator");
    client.nextReply();
    kill(engine, SIGKILL);
    // Had a second text been begun then, it would hang before this one does.
    client.forward(scripted::HANGS, {'a'});
    kill(service.nextHanging(), SIGHUP);
    EXPECT_EQ(client.nextReply().error, "");
    service.end(SIGTERM);
    EXPECT_THAT(service.logToTheEnd(), testing::Not(testing::HasSubstr(scripted::HANGING)));
}

TEST_F(APipeliningClient, MayLeaveWithoutItsRepliesAtAll)
{
    for (std::size_t round = 0; round < 20; ++round) {
        PipeliningClient leaving(bus.address());
        for (std::size_t count = 0; count < 20; ++count)
            leaving.forward(scripted::PLAIN, std::vector<uint32_t>(2000, 'x'));
    }
    client.forward(scripted::PLAIN, {'a'});
    EXPECT_EQ(client.nextReply().error, "");
}

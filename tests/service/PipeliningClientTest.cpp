/** Clients that ask for more before they have their answers, as the library never does. */
#include "support/PrivateBus.h"
#include "support/Require.h"
#include "support/ServiceProcess.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <csignal>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace {

const std::vector<uint32_t> HANGS{'E', '-', 'M', 'a', 'i', 'l', ':',
                                  ' ', '-', '@', 'h', 'o', 'm', 'e'};

/** Sends calls at once, and takes the replies as they come. */
class PipeliningClient
{
public:
    struct Reply
    {
        std::size_t call; ///< which of our calls it answers, in the order of sending
        std::string error;
    };

    explicit PipeliningClient(const std::string& busAddress)
    {
        require(sd_bus_new(&bus), "sd_bus_new");
        require(sd_bus_set_address(bus, busAddress.c_str()), "set_address");
        require(sd_bus_set_bus_client(bus, 1), "set_bus_client");
        require(sd_bus_start(bus), "start");
        // Until the bus has said hello, calls would only be queued.
        const char* name = nullptr;
        require(sd_bus_get_unique_name(bus, &name), "get_unique_name");
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

    sd_bus* bus = nullptr;
    std::vector<uint64_t> cookies;
};

class APipeliningClient : public testing::Test
{
protected:
    void awaitHanging() const
    {
        while (service.busyEngines().empty())
            std::this_thread::yield();
    }

    PrivateBus bus;
    ServiceProcess service{{}, "deadline-ms = 1000"};
    PipeliningClient client{bus.address()};
};

} // namespace

TEST_F(APipeliningClient, GetsItsTranslationsInTheOrderOfItsCalls)
{
    for (std::size_t count = 0; count < 60; ++count)
        client.forward("en-ueb-g2.ctb", std::vector<uint32_t>(count % 3 == 0 ? 20000 : 5, 'x'));
    for (std::size_t count = 0; count < 60; ++count) {
        const auto reply = client.nextReply();
        EXPECT_EQ(reply.call, count);
        EXPECT_EQ(reply.error, "");
    }
}

TEST_F(APipeliningClient, GetsTheErrorsOfItsTextsInThatOrderToo)
{
    client.forward("de-g2.ctb", HANGS);
    client.forward("en-ueb-g2.ctb", {'a'});
    const auto replies = client.replies(2);
    EXPECT_EQ(replies[0].call, 0U);
    EXPECT_EQ(replies[0].error, "braille.translator.Error.Timeout");
    EXPECT_EQ(replies[1].call, 1U);
    EXPECT_EQ(replies[1].error, "");
}

TEST_F(APipeliningClient, GetsAnswersToQuestionsWhileItsTextHangs)
{
    client.forward("de-g2.ctb", HANGS);
    client.ask("getComputerBrailleTranslator");
    EXPECT_EQ(client.nextReply().call, 1U);
    EXPECT_EQ(client.nextReply().call, 0U);
}

TEST_F(APipeliningClient, IsToldWhenItAsksTooMuch)
{
    client.forward("de-g2.ctb", HANGS);
    awaitHanging();
    for (std::size_t count = 0; count < 100; ++count)
        client.forward("en-ueb-g2.ctb", {'a'});
    std::size_t refused = 0;
    for (const auto& reply : client.replies(101))
        refused += reply.error == "braille.translator.Error.Busy" ? 1 : 0;
    EXPECT_EQ(refused, 100U - 64U);
}

TEST_F(APipeliningClient, LeavesNothingToDoWhenItGoes)
{
    {
        PipeliningClient leaving(bus.address());
        for (std::size_t count = 0; count < 100; ++count)
            leaving.forward("de-g2.ctb", HANGS);
        awaitHanging();
    }
    // The text in work is given up at its deadline; had a second one been begun
    // then, it would be given up before one that is asked for only now.
    service.logUntil("Timeout :");
    client.forward("de-g2.ctb", HANGS);
    EXPECT_EQ(client.nextReply().error, "braille.translator.Error.Timeout");
    service.end(SIGTERM);
    const std::string log = service.logToTheEnd();
    EXPECT_EQ(log.find("Timeout :"), log.rfind("Timeout :")) << log;
}

TEST_F(APipeliningClient, MayLeaveWithoutItsRepliesAtAll)
{
    for (std::size_t round = 0; round < 20; ++round) {
        PipeliningClient leaving(bus.address());
        for (std::size_t count = 0; count < 20; ++count)
            leaving.forward("en-ueb-g2.ctb", std::vector<uint32_t>(2000, 'x'));
    }
    client.forward("en-ueb-g2.ctb", {'a'});
    EXPECT_EQ(client.nextReply().error, "");
}

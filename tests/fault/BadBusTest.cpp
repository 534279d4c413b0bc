#include "support/AbstractListener.h"
#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Figures.h"
#include "support/HostProcess.h"
#include "support/LogCapture.h"

#include <libBrailleTranslate/Translation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <exception>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

using testing::IsEmpty;

namespace {

/** A process that listens where a bus should be, and treats each client in one way. */
class NoRealBus
{
public:
    /** What it does with a client; it hangs up when this returns. */
    explicit NoRealBus(void (*treat)(int client))
        : process([this, treat] { return serve(listener.socket(), treat); })
    {
    }

    std::string address() const { return listener.busAddress(); }

private:
    static int serve(int listener, void (*treat)(int client))
    {
        for (;;) {
            const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                return 1;
            treat(client);
            close(client);
        }
    }

    AbstractListener listener;
    ChildProcess process;
};

/** Reads what a client says until it leaves or that comes. */
bool readUntil(int client, const std::string& end)
{
    std::string said;
    std::array<char, 4096> buffer{};
    while (said.find(end) == std::string::npos) {
        const ssize_t count = read(client, buffer.data(), buffer.size());
        if (count <= 0)
            return false;
        said.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

void say(int client, const std::string& text)
{
    send(client, text.data(), text.size(), MSG_NOSIGNAL);
}

/** Plays the part of a bus in the authentication, which sd-bus sends ahead in one go. */
void authenticate(int client)
{
    readUntil(client, "BEGIN\r\n");
    say(client, "DATA\r\nOK 0123456789abcdef0123456789abcdef\r\nAGREE_UNIX_FD\r\n");
}

void keepSilentUntilItLeaves(int client)
{
    readUntil(client, "something that nobody says");
}

class ABadBus : public testing::Test
{
protected:
    /** Three times: what is lost once is lost each time. */
    void expectException(const std::string& address, int times = 3)
    {
        const ScopedVariable variable("DBUS_SYSTEM_BUS_ADDRESS", address.c_str());
        const HostProcess before;
        for (int round = 0; round < times; ++round) {
            std::string error;
            const Milliseconds duration = timeOf([&] {
                try {
                    const Translation translation;
                } catch (const std::exception& exception) {
                    error = exception.what();
                }
            });
            EXPECT_NE(error, "");
            report(error, duration.count(), "ms");
        }
        EXPECT_EQ(HostProcess(), before);
        EXPECT_THAT(log.records(), IsEmpty());
    }

    LogCapture log;
};

} // namespace

TEST_F(ABadBus, ThatHasNoSocketIsAnException)
{
    expectException("unix:path=/nonexistent/socket");
}

TEST_F(ABadBus, ThatHasAnAddressOfGarbageIsAnException)
{
    expectException("neither an address nor a path;;=,%zz");
}

TEST_F(ABadBus, ThatHangsUpAtOnceIsAnException)
{
    const NoRealBus noBus([](int) {});
    expectException(noBus.address());
}

TEST_F(ABadBus, ThatRefusesTheAuthenticationIsAnException)
{
    const NoRealBus noBus([](int client) {
        say(client, "REJECTED EXTERNAL\r\nREJECTED EXTERNAL\r\nREJECTED EXTERNAL\r\n");
        keepSilentUntilItLeaves(client);
    });
    expectException(noBus.address());
}

TEST_F(ABadBus, ThatTalksGarbageIsAnException)
{
    const NoRealBus noBus([](int client) {
        say(client, std::string(100000, '\x7f') + "\r\n");
        keepSilentUntilItLeaves(client);
    });
    expectException(noBus.address());
}

TEST_F(ABadBus, ThatTalksGarbageInsteadOfMessagesIsAnException)
{
    const NoRealBus noBus([](int client) {
        authenticate(client);
        say(client, std::string(100000, '\x7f'));
        keepSilentUntilItLeaves(client);
    });
    expectException(noBus.address());
}

TEST_F(ABadBus, ThatNeverAnswersTheFirstCallIsAnExceptionAfterOneTimeOut)
{
    const ScopedVariable timeOut("SYSTEMD_BUS_TIMEOUT", "1s");
    const NoRealBus noBus([](int client) {
        authenticate(client);
        keepSilentUntilItLeaves(client);
    });
    expectException(noBus.address(), 1);
}

TEST_F(ABadBus, ThatIsSilentInTheAuthenticationIsAnExceptionAfterNinetySeconds)
{
    const NoRealBus noBus(keepSilentUntilItLeaves);
    expectException(noBus.address(), 1);
}

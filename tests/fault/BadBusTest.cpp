#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/Figures.h"
#include "support/HostProcess.h"
#include "support/LogCapture.h"

#include <libBrailleTranslate/Translation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <exception>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

using testing::IsEmpty;

namespace {

/** A process that listens where a bus should be, and treats each client in one way. */
class NoRealBus
{
public:
    /** What it does with a client; it hangs up when this returns. */
    explicit NoRealBus(void (*treat)(int client))
        : name("brailletranslate-no-bus-" + std::to_string(getpid())),
          listener(listenAt(name)),
          process([=] { return serve(listener, treat); })
    {
        close(listener);
    }

    std::string address() const { return "unix:abstract=" + name; }

private:
    /** Abstract: the first byte of the address is zero, and nothing is left behind. */
    static int listenAt(const std::string& name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(&address.sun_path[1], name.data(), name.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
            listen(listener, 1) != 0)
            throw std::system_error(errno, std::generic_category(), "listen");
        return listener;
    }

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

    std::string name;
    int listener;
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

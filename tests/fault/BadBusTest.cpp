#include "support/Environment.h"
#include "support/Figures.h"
#include "support/HostProcess.h"
#include "support/LogCapture.h"

#include <libBrailleTranslate/Translation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <exception>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
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
    {
        const int listener = listenAt("brailletranslate-no-bus-" + std::to_string(getpid()));
        const pid_t parent = getpid();
        process = fork();
        if (process != 0) {
            close(listener);
            return;
        }
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        while (getppid() == parent) {
            const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
            treat(client);
            close(client);
        }
        _exit(0);
    }

    ~NoRealBus()
    {
        kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
    }

    NoRealBus(const NoRealBus&) = delete;
    NoRealBus& operator=(const NoRealBus&) = delete;

    const std::string& address() const { return busAddress; }

private:
    /** Abstract: the first byte of the name is zero, and nothing is left behind. */
    int listenAt(const std::string& name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(&address.sun_path[1], name.data(), name.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
        const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (bind(listener, reinterpret_cast<const sockaddr*>(&address), size) != 0 ||
            listen(listener, 1) != 0)
            throw std::system_error(errno, std::generic_category(), "listen");
        busAddress = "unix:abstract=" + name;
        return listener;
    }

    std::string busAddress;
    pid_t process = -1;
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

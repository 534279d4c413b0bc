#include "PrivateBus.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr const char* ADDRESS_VARIABLE = "DBUS_SYSTEM_BUS_ADDRESS";

/** Abstract, so that nothing is left of it. Process numbers are not unique across PID namespaces.
 */
std::string newAddress()
{
    std::string uuid;
    if (!std::getline(std::ifstream("/proc/sys/kernel/random/uuid"), uuid))
        throw std::runtime_error("/proc/sys/kernel/random/uuid cannot be read");
    return "--address=unix:abstract=brailletranslate-test-" + uuid;
}

[[noreturn]] void runDaemon(pid_t parent, int addressPipe, const std::string& configuration,
                            const std::string& address)
{
    // The test may have blocked signals; the daemon must not, or it could not be ended.
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    setenv("BRAILLETRANSLATORD_CONFIGURATION", TEST_PATIENT_CONFIGURATION, 1);
    const int output = dup(addressPipe); // without close-on-exec
    const std::string printAddress = "--print-address=" + std::to_string(output);
    execlp("dbus-daemon", "dbus-daemon", configuration.c_str(), address.c_str(), "--nofork",
           "--nopidfile", "--syslog-only", printAddress.c_str(), nullptr);
    _exit(127);
}

std::string readLine(int input)
{
    std::string line;
    for (char next = 0;;) {
        const ssize_t count = read(input, &next, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw std::runtime_error("dbus-daemon did not start; is the package dbus installed?");
        if (next == '\n')
            return line;
        line += next;
    }
}

} // namespace

PrivateBus::PrivateBus(Services services)
{
    const std::string configuration =
        std::string("--config-file=" TEST_BUILD_FOLDER "/dbus/") +
        (services == Services::REAL ? "private-bus.conf" : "bare-bus.conf");
    const std::string address = newAddress();
    std::array<int, 2> addressPipe{};
    if (pipe2(addressPipe.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    const pid_t parent = getpid();
    daemon = fork();
    if (daemon == 0)
        runDaemon(parent, addressPipe[1], configuration, address);
    close(addressPipe[1]);
    busAddress = readLine(addressPipe[0]);
    close(addressPipe[0]);
    setenv(ADDRESS_VARIABLE, busAddress.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    unsetenv(ADDRESS_VARIABLE);
    kill(SIGTERM);
}

void PrivateBus::kill(int signal)
{
    if (daemon < 0)
        return;
    ::kill(daemon, signal);
    while (waitpid(daemon, nullptr, 0) < 0 && errno == EINTR) {
    }
    daemon = -1;
}

void PrivateBus::stop()
{
    ::kill(daemon, SIGSTOP);
    while (waitpid(daemon, nullptr, WUNTRACED) < 0 && errno == EINTR) {
    }
}

void PrivateBus::resume()
{
    ::kill(daemon, SIGCONT);
}

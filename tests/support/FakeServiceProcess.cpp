#include "FakeServiceProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

void waitFor(pid_t process, int options)
{
    while (waitpid(process, nullptr, options) < 0 && errno == EINTR) {
    }
}

[[noreturn]] void serve(pid_t parent, int ready, const std::string& busAddress,
                        const std::function<void(FakeService&)>& script)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    try {
        FakeService service(busAddress);
        script(service);
        const char sign = 'r';
        if (write(ready, &sign, 1) != 1)
            _exit(1);
        for (;;)
            pause();
    } catch (const std::exception&) {
        _exit(1);
    }
}

} // namespace

FakeServiceProcess::FakeServiceProcess(const std::string& busAddress,
                                       const std::function<void(FakeService&)>& script)
{
    std::array<int, 2> ready{};
    if (pipe2(ready.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    const pid_t parent = getpid();
    process = fork();
    if (process == 0)
        serve(parent, ready[1], busAddress, script);
    close(ready[1]);
    char sign = 0;
    const ssize_t count = read(ready[0], &sign, 1);
    close(ready[0]);
    if (count != 1)
        throw std::runtime_error("the fake service did not start");
}

FakeServiceProcess::~FakeServiceProcess()
{
    if (process < 0)
        return;
    kill(process, SIGKILL);
    waitForEnd();
}

void FakeServiceProcess::waitForEnd()
{
    waitFor(process, 0);
    process = -1;
}

void FakeServiceProcess::stop()
{
    kill(process, SIGSTOP);
    waitFor(process, WUNTRACED);
}

void FakeServiceProcess::resume()
{
    kill(process, SIGCONT);
}

#include "FakeServiceProcess.h"

#include <stdexcept>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

constexpr eventfd_t STARTED = 1;
constexpr eventfd_t FAILED = 2;

/** Never returns: the process ends by a signal, or by what the script does. */
int serve(int ready, const std::string& busAddress, const std::function<void(FakeService&)>& script)
{
    try {
        FakeService service(busAddress);
        script(service);
        eventfd_write(ready, STARTED);
        for (;;)
            pause();
    } catch (const std::exception&) {
        eventfd_write(ready, FAILED);
        return 1;
    }
}

} // namespace

FakeServiceProcess::FakeServiceProcess(const std::string& busAddress,
                                       const std::function<void(FakeService&)>& script)
    : ready(eventfd(0, EFD_CLOEXEC)), process([&] { return serve(ready, busAddress, script); })
{
    eventfd_t answer = 0;
    eventfd_read(ready, &answer);
    close(ready);
    if (answer != STARTED)
        throw std::runtime_error("the fake service did not start");
}

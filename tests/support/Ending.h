#ifndef TESTS_SUPPORT_ENDING_H
#define TESTS_SUPPORT_ENDING_H

#include "Require.h"

#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

/** The end of a process that may be no child of ours. */
class Ending
{
public:
    /** Of a process that has not ended yet, or not been waited for. */
    explicit Ending(pid_t process) : descriptor(open(process)) {}
    ~Ending() { close(descriptor); }
    Ending(const Ending&) = delete;
    Ending& operator=(const Ending&) = delete;

    void await() const
    {
        pollfd ended{descriptor, POLLIN, 0};
        while (poll(&ended, 1, -1) < 0 && errno == EINTR) {
        }
    }

private:
    static int open(pid_t process)
    {
        const auto opened = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
        return require(opened < 0 ? -errno : opened, "pidfd_open");
    }

    int descriptor;
};

#endif

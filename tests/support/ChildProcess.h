#ifndef TESTS_SUPPORT_CHILDPROCESS_H
#define TESTS_SUPPORT_CHILDPROCESS_H

#include <cerrno>
#include <csignal>
#include <functional>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

/** A forked process that runs something. It dies with this object, and with this process. */
class ChildProcess
{
public:
    /** It leaves with what the action returns, or with 1 after an exception. */
    explicit ChildProcess(const std::function<int()>& action)
    {
        const pid_t parent = getpid();
        process = fork();
        if (process < 0)
            throw std::system_error(errno, std::generic_category(), "fork");
        if (process == 0)
            run(parent, action);
    }

    ~ChildProcess()
    {
        signal(SIGKILL);
        wait();
    }

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /** Its number; -1 once it was waited for. */
    pid_t pid() const { return process; }

    void signal(int number) const
    {
        if (process > 0)
            kill(process, number);
    }

    /** Waits for its end; returns what waitpid() says of it, or -1 if it has ended before. */
    int wait()
    {
        const int status = process > 0 ? statusWith(0) : -1;
        process = -1;
        return status;
    }

    /** Keeps it from running, or lets it run again. */
    void stop() const
    {
        signal(SIGSTOP);
        statusWith(WUNTRACED);
    }

    void resume() const { signal(SIGCONT); }

private:
    [[noreturn]] static void run(pid_t parent, const std::function<int()>& action)
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent)
            _exit(1);
        try {
            _exit(action());
        } catch (...) {
            _exit(1);
        }
    }

    int statusWith(int options) const
    {
        int status = -1;
        while (waitpid(process, &status, options) < 0 && errno == EINTR) {
        }
        return status;
    }

    pid_t process = -1;
};

/** Runs something in a forked child, and tells whether it said yes. */
inline bool inChild(const std::function<bool()>& action)
{
    const int status = ChildProcess([&] { return action() ? 0 : 1; }).wait();
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

#endif

#ifndef TESTS_SUPPORT_CHILD_H
#define TESTS_SUPPORT_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

/** What waitpid() says of a forked child that has run something and left with its result. */
template <typename Action>
int statusOfChild(Action action)
{
    const pid_t child = fork();
    if (child == 0)
        _exit(action());
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

/** Runs something in a forked child, and tells whether it said yes. */
template <typename Action>
bool inChild(Action action)
{
    const int status = statusOfChild([&] { return action() ? 0 : 1; });
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

#endif

#ifndef TESTS_SUPPORT_FAKESERVICEPROCESS_H
#define TESTS_SUPPORT_FAKESERVICEPROCESS_H

#include "FakeService.h"

#include <functional>
#include <string>
#include <sys/types.h>

/** A fake service in a process of its own, which can die, be stopped and lose its bus. */
class FakeServiceProcess
{
public:
    /** Returns once the service has its name and its script. The script runs in its process. */
    FakeServiceProcess(const std::string& busAddress,
                       const std::function<void(FakeService&)>& script);
    ~FakeServiceProcess();
    FakeServiceProcess(const FakeServiceProcess&) = delete;
    FakeServiceProcess& operator=(const FakeServiceProcess&) = delete;

    /** Waits for it to end by what it has been told to do. */
    void waitForEnd();

    /** Keeps it from running, or lets it run again. */
    void stop();
    void resume();

private:
    pid_t process = -1;
};

#endif

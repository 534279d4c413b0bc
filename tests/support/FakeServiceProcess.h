#ifndef TESTS_SUPPORT_FAKESERVICEPROCESS_H
#define TESTS_SUPPORT_FAKESERVICEPROCESS_H

#include "ChildProcess.h"
#include "FakeService.h"

#include <functional>
#include <string>

/** A fake service in a process of its own, which can die, be stopped and lose its bus. */
class FakeServiceProcess
{
public:
    /** Returns once the service has its name and its script. The script runs in its process. */
    FakeServiceProcess(const std::string& busAddress,
                       const std::function<void(FakeService&)>& script);

    /** Waits for it to end by what it has been told to do. */
    void waitForEnd() { process.wait(); }

    /** Keeps it from running, or lets it run again. */
    void stop() const { process.stop(); }
    void resume() const { process.resume(); }

private:
    int ready;
    ChildProcess process;
};

#endif

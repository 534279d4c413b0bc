#include <cli/EndingSignals.h>

#include "support/HostProcess.h"
#include "support/Sanitizers.h"

#include <gtest/gtest.h>

#include <csignal>
#include <pthread.h>
#include <sys/resource.h>
#include <system_error>
#include <unistd.h>

namespace {

/** As long as it lives, this process may open that many more files. */
class ScopedDescriptorLimit
{
public:
    explicit ScopedDescriptorLimit(rlim_t more)
    {
        getrlimit(RLIMIT_NOFILE, &before);
        const int lowestFree = dup(STDIN_FILENO);
        close(lowestFree);
        const rlimit limit{static_cast<rlim_t>(lowestFree) + more, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &limit);
    }

    ~ScopedDescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before); }
    ScopedDescriptorLimit(const ScopedDescriptorLimit&) = delete;
    ScopedDescriptorLimit& operator=(const ScopedDescriptorLimit&) = delete;

private:
    rlimit before{};
};

bool isBlocked(int signal)
{
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, signal) == 1;
}

} // namespace

TEST(EndingSignalsWithoutDescriptors, ThrowAndLeaveSignalsAndFilesAsTheyWere)
{
    if (!EXCEPTIONS_TAKE_NO_DESCRIPTOR)
        GTEST_SKIP() << "UBSan takes descriptors";
    const std::size_t open = HostProcess::countOf("/proc/self/fd");
    for (const rlim_t more : {rlim_t{0}, rlim_t{1}}) {
        {
            const ScopedDescriptorLimit limit(more);
            EXPECT_THROW(EndingSignals([] {}), std::system_error) << more << " more";
        }
        EXPECT_FALSE(isBlocked(SIGTERM));
        EXPECT_EQ(HostProcess::countOf("/proc/self/fd"), open);
    }
    const ScopedDescriptorLimit limit(2);
    const EndingSignals signals([] {});
    EXPECT_TRUE(isBlocked(SIGTERM)) << "two are enough";
}

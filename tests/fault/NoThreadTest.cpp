#include "support/BusTest.h"
#include "support/ChildProcess.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <exception>
#include <functional>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>

namespace {

/** From now on the system ends this process when it starts a thread or another process. */
void forbidThreads()
{
    std::array<sock_filter, 5> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 1, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{program.size(), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        throw std::system_error(errno, std::generic_category(), "prctl");
}

/** What becomes of a process that may start no thread. */
std::string outcomeWithoutThreads(const std::function<bool()>& action)
{
    const int status = ChildProcess([&] {
                           forbidThreads();
                           return action() ? 0 : 1;
                       }).wait();
    if (WIFSIGNALED(status))
        return WTERMSIG(status) == SIGSYS ? "a thread" : "another signal";
    return WEXITSTATUS(status) == 0 ? "no thread" : "a failure";
}

class NoThread : public BusTest
{
protected:
    NoThread()
    {
        service.on("getComputerBrailleTranslator", answer::translator(0, "x", true, "x"));
        service.on("changeLanguageProfile", answer::nothing());
        for (const char* method : {"forwardW", "backW"})
            service.on(method, answer::echo);
    }

    bool liveOnce()
    {
        Translation translation;
        std::string profile = "en-gb";
        translation.changeLanguageProfile(profile);
        TranslatorProxy* const handle = translation.getComputerBrailleTranslator();
        return handle != nullptr && handle->forwardW(L"a")->getUntranslatedW() == L"a" &&
               handle->backW(L"b")->getUntranslatedW() == L"b" && log.records().empty();
    }
};

} // namespace

TEST_F(NoThread, IsStartedByConstructionCallsOrDestruction)
{
    EXPECT_EQ(outcomeWithoutThreads([this] { return liveOnce(); }), "no thread");
}

TEST_F(NoThread, IsStartedWithoutABus)
{
    const auto isRefused = [] {
        try {
            const Translation translation;
            return false;
        } catch (const std::exception&) {
            return true;
        }
    };
    bus.kill(SIGKILL);
    EXPECT_EQ(outcomeWithoutThreads(isRefused), "no thread");
}

TEST_F(NoThread, GoesUnnoticedInTheseTests)
{
    const auto startOne = [] {
        std::thread([] {}).join();
        return true;
    };
    EXPECT_EQ(outcomeWithoutThreads(startOne), "a thread");
}

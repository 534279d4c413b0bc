#ifndef TESTS_SUPPORT_HOSTPROCESS_H
#define TESTS_SUPPORT_HOSTPROCESS_H

#include "Process.h"

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <ostream>
#include <sched.h>

/** What the process holds of the things that a library must give back. */
struct HostProcess
{
    std::size_t threads = countThreads();
    std::size_t descriptors = countOf("/proc/self/fd");

    /**
     * A thread is still listed when whoever waits for its end is told of it, and
     * nobody is told when it is not. It runs until then, whereas those that stay
     * wait for something: so we look until all others do. No time passes in
     * between but that in which they run.
     */
    static std::size_t countThreads()
    {
        constexpr int PATIENCE = 10000;
        for (int look = 0; look < PATIENCE; ++look) {
            if (const std::size_t waiting = countOtherWaitingThreads();
                waiting + 1 == countOf("/proc/self/task"))
                return waiting + 1;
            sched_yield();
        }
        return countOf("/proc/self/task");
    }

    static std::size_t countOtherWaitingThreads()
    {
        std::size_t count = 0;
        for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
            const bool isThisOne = thread.path().filename() == std::to_string(gettid());
            count += !isThisOne && stateIn(thread.path()) == 'S' ? 1 : 0;
        }
        return count;
    }

    static std::size_t countOf(const char* folder)
    {
        const std::filesystem::directory_iterator entries(folder);
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    friend bool operator==(const HostProcess& left, const HostProcess& right)
    {
        return left.threads == right.threads && left.descriptors == right.descriptors;
    }

    friend std::ostream& operator<<(std::ostream& output, const HostProcess& host)
    {
        return output << host.threads << " threads, " << host.descriptors << " descriptors";
    }
};

#endif

#ifndef TESTS_SUPPORT_HOSTPROCESS_H
#define TESTS_SUPPORT_HOSTPROCESS_H

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <ostream>

/** What the process holds of the things that a library must give back. */
struct HostProcess
{
    std::size_t threads = countOf("/proc/self/task");
    std::size_t descriptors = countOf("/proc/self/fd");

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

/** What all measurements need: a clock, a processor of their own, and medians. */
#ifndef BENCHMARKS_MEASURING_H
#define BENCHMARKS_MEASURING_H

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <sched.h>
#include <system_error>
#include <vector>

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

/** Durations in microseconds. */
class Samples
{
public:
    void add(Microseconds duration) { values.push_back(duration.count()); }

    void add(const Samples& others)
    {
        values.insert(values.end(), others.values.begin(), others.values.end());
    }

    /** What that part of them, below 1, does not exceed. */
    double quantile(double part) const
    {
        std::vector<double> sorted = values;
        const auto index = static_cast<std::size_t>(part * static_cast<double>(sorted.size()));
        const auto nth = sorted.begin() + static_cast<std::ptrdiff_t>(index);
        std::nth_element(sorted.begin(), nth, sorted.end());
        return *nth;
    }

    double median() const { return quantile(0.5); }

private:
    std::vector<double> values;
};

/** Which CPUs this thread, and all that it starts, may run on. */
class CpuSet
{
public:
    CpuSet()
    {
        CPU_ZERO(&cpus);
        if (sched_getaffinity(0, sizeof cpus, &cpus) != 0)
            throw std::system_error(errno, std::generic_category(), "sched_getaffinity");
    }

    /** That CPU, or the last one there is. */
    int cpuOrLast(int cpu) const
    {
        if (has(cpu))
            return cpu;
        int last = CPU_SETSIZE - 1;
        while (!has(last))
            --last;
        return last;
    }

    void reduceTo(int cpu)
    {
        CPU_ZERO(&cpus);
        CPU_SET(cpu, &cpus);
    }

    void use() const
    {
        if (sched_setaffinity(0, sizeof cpus, &cpus) != 0)
            throw std::system_error(errno, std::generic_category(), "sched_setaffinity");
    }

private:
    bool has(int cpu) const { return CPU_ISSET(cpu, &cpus) != 0; }

    cpu_set_t cpus{};
};

/**
 * Leaves this process, and all that it starts from now on, that CPU, or the last
 * one there is. Returns which it is.
 */
inline int useOneCpu(int wanted)
{
    CpuSet oneCpu;
    const int cpu = oneCpu.cpuOrLast(wanted);
    oneCpu.reduceTo(cpu);
    oneCpu.use();
    return cpu;
}

#endif

/** What a test counts and measures: how often, how patiently, and what came out. */
#ifndef TESTS_SUPPORT_FIGURES_H
#define TESTS_SUPPORT_FIGURES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

using Milliseconds = std::chrono::duration<double, std::milli>;

namespace figures {

inline double fromEnvironment(const char* variable, double otherwise)
{
    const char* const value = std::getenv(variable);
    return value == nullptr ? otherwise : std::strtod(value, nullptr);
}

} // namespace figures

/** So many rounds, times TEST_ROUNDS: 10 for a long run, below 1 where each round is slow. */
inline int rounds(int count)
{
    static const double factor = figures::fromEnvironment("TEST_ROUNDS", 1);
    return std::max(1, static_cast<int>(count * factor));
}

/** That time, times TEST_SLOWNESS: above 1 under tools that make a program slow. */
inline Milliseconds patiently(Milliseconds limit)
{
    static const double factor = figures::fromEnvironment("TEST_SLOWNESS", 1);
    return limit * factor;
}

/** Whether time limits hold: only where nothing else runs, with "ctest -C timing -L timing". */
inline bool timeLimitsHold()
{
    static const bool hold = std::getenv("TEST_TIME_LIMITS") != nullptr;
    return hold;
}

/**
 * Fails the test if that took longer than patiently(limit), where time limits hold. On a machine
 * that does other work at the same time a duration says nothing.
 */
inline void expectWithin(Milliseconds limit, Milliseconds duration)
{
    if (timeLimitsHold()) {
        EXPECT_LE(duration.count(), patiently(limit).count()) << "milliseconds";
    }
}

/** Shows what a test has found: "ctest -V" prints it. */
template <typename Value>
void report(const std::string& what, const Value& value, const std::string& unit = "")
{
    std::cout << "[  FIGURE  ] " << what << ": " << value << (unit.empty() ? "" : " ") << unit
              << std::endl;
}

template <typename Action>
Milliseconds timeOf(Action action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

/** How long something took, each time. Reports that at its end. */
class Durations
{
public:
    explicit Durations(std::string whatTakesThem) : what(std::move(whatTakesThem)) {}

    ~Durations()
    {
        if (!all.empty())
            report(what, "median " + std::to_string(median().count()) + " ms, 99 of 100 within " +
                             std::to_string(longestOfNearlyAll().count()) + " ms, longest " +
                             std::to_string(longest().count()) + " ms of " +
                             std::to_string(all.size()));
    }

    Durations(const Durations&) = delete;
    Durations& operator=(const Durations&) = delete;

    template <typename Action>
    void measure(Action action)
    {
        add(timeOf(action));
    }

    void add(Milliseconds duration) { all.push_back(duration); }
    /** Of 99 in 100: another program may keep the processor for as long as it likes. */
    Milliseconds longestOfNearlyAll() const { return nth((all.size() * 99 - 1) / 100); }

    Milliseconds shortest() const { return nth(0); }
    Milliseconds median() const { return nth(all.size() / 2); }
    Milliseconds longest() const { return nth(all.size() - 1); }

private:
    /** Zero if there are none. */
    Milliseconds nth(std::size_t rank) const
    {
        if (all.empty())
            return {};
        std::vector<Milliseconds> sorted = all;
        std::sort(sorted.begin(), sorted.end());
        return sorted[rank];
    }

    std::string what;
    std::vector<Milliseconds> all;
};

#endif

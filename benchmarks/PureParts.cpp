/**
 * pure-parts: what the operations cost that need no bus, next to the least that
 * they could cost. Takes Google Benchmark's options; prints a table in Markdown.
 */
#include "Measuring.h"
#include "Subjects.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <iomanip>
#include <iostream>
#include <limits>
#include <malloc.h>
#include <map>
#include <string>
#include <vector>

namespace {

constexpr std::array<std::size_t, 4> SIZES{10, 1000, 100000, 1048576};

/** One less than a power of two, because each search then takes as many steps as its exponent. */
constexpr std::array<std::size_t, 4> SEARCHED_SIZES{15, 1023, 131071, 1048575};

bool isSearch(const SubjectKind& kind)
{
    return kind.unit == "search";
}

const std::array<std::size_t, 4>& sizesOf(const SubjectKind& kind)
{
    return isSearch(kind) ? SEARCHED_SIZES : SIZES;
}

/** So that what is timed takes long enough to be timed. */
std::size_t timesFor(const SubjectKind& kind, std::size_t size)
{
    constexpr std::size_t ENOUGH = 20000;
    return isSearch(kind) ? 1 : std::max<std::size_t>(ENOUGH / size, 1);
}

/** A subject and a size are the two numbers that a benchmark is run with. */
void addAll(benchmark::internal::Benchmark* benchmark)
{
    for (std::size_t subject = 0; subject < allSubjects().size(); ++subject) {
        for (const std::size_t size : sizesOf(allSubjects()[subject]))
            benchmark->Args({static_cast<int64_t>(subject), static_cast<int64_t>(size)});
    }
}

std::string argumentsFor(const SubjectKind& kind, std::size_t size)
{
    return std::to_string(&kind - allSubjects().data()) + '/' + std::to_string(size);
}

void measure(benchmark::State& state)
{
    const SubjectKind& kind = allSubjects()[static_cast<std::size_t>(state.range(0))];
    const auto size = static_cast<std::size_t>(state.range(1));
    const auto subject = kind.make(isSearch(kind) ? size - 1 : size, timesFor(kind, size));
    for ([[maybe_unused]] auto iteration : state) {
        subject->prepare();
        const auto start = Clock::now();
        subject->run();
        const std::chrono::duration<double> duration = Clock::now() - start;
        state.SetIterationTime(duration.count());
    }
}

// Not for so long as to fill a time: what takes none would be prepared for ever.
BENCHMARK(measure)->Apply(addAll)->UseManualTime()->Iterations(20)->Repetitions(9);

/** Keeps the medians: how many nanoseconds the operation takes at that size, 0 if not measured. */
class Medians : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.aggregate_name == "median")
                times[run.run_name.args] = run.GetAdjustedRealTime();
        }
    }

    double of(const SubjectKind& kind, std::size_t size) const
    {
        const auto found = times.find(argumentsFor(kind, size));
        return found == times.end() ? 0 : found->second / static_cast<double>(timesFor(kind, size));
    }

private:
    std::map<std::string, double> times;
};

void printHead()
{
    std::cout << "| ns per unit (x floor) | unit";
    for (std::size_t size = 0; size < SIZES.size(); ++size)
        std::cout << " | " << SIZES[size] << "; searched " << SEARCHED_SIZES[size];
    std::cout << " | floor |\n|---|---|--:|--:|--:|--:|---|\n";
}

void print(const SubjectKind& kind, const Medians& medians)
{
    constexpr double SEARCHES = 1000;
    std::cout << "| " << kind.name << " | " << kind.unit;
    for (const std::size_t size : sizesOf(kind)) {
        const double time = medians.of(kind, size);
        std::cout << " | " << time / (isSearch(kind) ? SEARCHES : static_cast<double>(size));
        if (!kind.floor.empty())
            std::cout << " (x " << time / medians.of(subjectNamed(kind.floor), size) << ')';
    }
    std::cout << " | " << kind.floor << " |\n";
}

} // namespace

int main(int argc, char** argv)
try {
    useOneCpu(1);
    // Memory is kept and used again: how long the system takes to give it is not our subject.
    // There is one thread only. NOLINTBEGIN(concurrency-mt-unsafe)
    mallopt(M_MMAP_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    // NOLINTEND(concurrency-mt-unsafe)
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    printHead();
    std::cout << std::fixed << std::setprecision(3);
    for (const SubjectKind& kind : allSubjects())
        print(kind, medians);
} catch (const std::exception& error) {
    std::cerr << "pure-parts: " << error.what() << '\n';
    return 1;
}

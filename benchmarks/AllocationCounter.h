#ifndef BENCHMARKS_ALLOCATIONCOUNTER_H
#define BENCHMARKS_ALLOCATIONCOUNTER_H

#include <cstddef>

/** What a program has asked of malloc(), by any way and on any thread, since it started. */
struct Allocations
{
    std::size_t count;
    std::size_t bytes;
    std::size_t
        bytesInUse; ///< of those that have not been given back, with what they are rounded to
};

/** Only in programs that have AllocationCounter.cpp: it takes malloc()'s place. */
Allocations allocationsSoFar();

#endif

#ifndef BENCHMARKS_ALLOCATIONCOUNTER_H
#define BENCHMARKS_ALLOCATIONCOUNTER_H

#include <cstddef>

/** What a program has asked of malloc(), calloc() and realloc() on all threads since its start. */
struct Allocations
{
    std::size_t count;
    std::size_t bytes;
    /** What has not been given back, with what the heap rounds it up to. */
    std::size_t bytesInUse;
};

/** Only in programs that have AllocationCounter.cpp: it takes malloc()'s place. */
Allocations allocationsSoFar();

#endif

#ifndef TESTS_SUPPORT_MEMORY_H
#define TESTS_SUPPORT_MEMORY_H

#include "Figures.h"
#include "Process.h"
#include "Sanitizers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <malloc.h>
#include <unistd.h>

/** What this process has in memory; under emulation its heap, because the emulator grows, too. */
inline std::size_t memoryInKilobytes()
{
#ifdef TEST_IS_EMULATED
    const struct mallinfo2 heap = mallinfo2();
    return (heap.arena + heap.hblkhd) / 1024;
#else
    return residentKilobytesOf(getpid());
#endif
}

/** How much more memory this process has than it had. */
inline long growthInKilobytes(std::size_t before)
{
    return static_cast<long>(memoryInKilobytes()) - static_cast<long>(before);
}

/** Reports the growth of this process's memory, and checks it where that can be. */
inline void expectGrowthBelow(long limitInKilobytes, long growth)
{
    report("memory has grown by", growth, "kB");
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(growth, limitInKilobytes);
    }
}

#endif

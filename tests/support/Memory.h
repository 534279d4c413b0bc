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

/** Reports how much more memory this process has than it had, and checks it where that can be. */
inline void expectGrowthBelow(long limitInKilobytes, std::size_t before)
{
    const auto now = static_cast<long>(memoryInKilobytes());
    const long growth = now - static_cast<long>(before);
    report("memory has grown by", growth, "kB");
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(growth, limitInKilobytes);
    }
}

#endif

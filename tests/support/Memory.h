#ifndef TESTS_SUPPORT_MEMORY_H
#define TESTS_SUPPORT_MEMORY_H

#include "Figures.h"
#include "Process.h"
#include "Sanitizers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <unistd.h>

/** Reports how much more memory this process has than it had, and checks it where that can be. */
inline void expectGrowthBelow(long limitInKilobytes, std::size_t before)
{
    const auto now = static_cast<long>(residentKilobytesOf(getpid()));
    const long growth = now - static_cast<long>(before);
    report("memory has grown by", growth, "kB");
    if (MEMORY_IS_GIVEN_BACK) {
        EXPECT_LT(growth, limitInKilobytes);
    }
}

#endif

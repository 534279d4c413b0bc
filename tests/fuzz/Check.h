#ifndef TESTS_FUZZ_CHECK_H
#define TESTS_FUZZ_CHECK_H

#include <cstdlib>
#include <iostream>
#include <string>

/** Ends the program, which makes the input a finding. */
[[noreturn]] inline void fail(const std::string& what)
{
    std::cerr << "fuzz: not as it must be: " << what << std::endl;
    std::abort();
}

inline void check(bool holds, const char* what)
{
    if (!holds)
        fail(what);
}

#endif

#ifndef TESTS_SUPPORT_REQUIRE_H
#define TESTS_SUPPORT_REQUIRE_H

#include <system_error>

/** The result of a function of sd-bus; throws if that says that it has failed. */
inline int require(int result, const char* what)
{
    if (result < 0)
        throw std::system_error(-result, std::generic_category(), what);
    return result;
}

#endif

#ifndef TESTS_SUPPORT_REQUIRE_H
#define TESTS_SUPPORT_REQUIRE_H

#include <cstring>
#include <stdexcept>
#include <string>

/** The result of a function of the bus library; throws if that says that it has failed. */
inline int require(int result, const char* what)
{
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
    return result;
}

#endif

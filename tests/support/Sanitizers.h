#ifndef TESTS_SUPPORT_SANITIZERS_H
#define TESTS_SUPPORT_SANITIZERS_H

#ifdef __SANITIZE_ADDRESS__
constexpr bool IS_SANITIZED = true;
#else
constexpr bool IS_SANITIZED = false;
#endif

/** Whether memory that is given back really goes; AddressSanitizer keeps it for a while. */
constexpr bool MEMORY_IS_GIVEN_BACK = !IS_SANITIZED;

/**
 * Whether an exception can be caught while no descriptor is free. UBSan, which is in every build
 * with AddressSanitizer, opens a pipe to look at the exception's type.
 */
constexpr bool EXCEPTIONS_TAKE_NO_DESCRIPTOR = !IS_SANITIZED;

#endif

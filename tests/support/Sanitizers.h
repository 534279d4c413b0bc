#ifndef TESTS_SUPPORT_SANITIZERS_H
#define TESTS_SUPPORT_SANITIZERS_H

/** Whether memory that is given back really goes; AddressSanitizer keeps it for a while. */
#ifdef __SANITIZE_ADDRESS__
constexpr bool MEMORY_IS_GIVEN_BACK = false;
#else
constexpr bool MEMORY_IS_GIVEN_BACK = true;
#endif

#endif

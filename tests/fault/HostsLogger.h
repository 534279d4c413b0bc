#ifndef TESTS_FAULT_HOSTSLOGGER_H
#define TESTS_FAULT_HOSTSLOGGER_H

#include <functional>

/** Runs whenever the library asks this program, its host, for the logger; may throw. */
extern std::function<void()> beforeLogging;

#endif

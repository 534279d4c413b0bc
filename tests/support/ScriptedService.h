#ifndef TESTS_SUPPORT_SCRIPTEDSERVICE_H
#define TESTS_SUPPORT_SCRIPTEDSERVICE_H

#include "ServiceProcess.h"

#include <cstddef>
#include <string>
#include <sys/types.h>

/**
 * The Translator service of this build with an engine that does what the translator is named
 * after: those of ScriptedEngine.h. It has two profiles, "plain" and "other", in which one
 * translator has all roles.
 */
class ScriptedService : public ServiceProcess
{
public:
    /** With these lines a text of one code point has 30 ms, and one of UNHURRIED 20 s. */
    static constexpr const char* SHORT_DEADLINE = "deadline-ms = 20\n"
                                                  "deadline-us-per-character = 10000\n";
    static constexpr std::size_t UNHURRIED = 2000;

    /** Returns once the service has its name. */
    explicit ScriptedService(const std::string& engineLines = LONG_DEADLINE);

    /** Waits until another engine process hangs, and returns it. Logs up to there are lost. */
    pid_t nextHanging();
};

#endif

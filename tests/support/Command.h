#ifndef TESTS_SUPPORT_COMMAND_H
#define TESTS_SUPPORT_COMMAND_H

#include <string>
#include <utility>
#include <vector>

/** What a program did. */
struct Outcome
{
    int status = -1; ///< the exit status, or -1 if a signal ended it
    std::string output;
    std::string errors;
};

/** A program to run, as a person or a script would. */
struct Command
{
    std::vector<std::string> words = {};
    std::string input = {};
    std::vector<std::pair<std::string, std::string>> environment = {}; ///< on top of the test's own
    bool isOnTerminal = false;                                         ///< instead of the input
    std::string outputFile = {};                                       ///< instead of the output

    /** Runs it to its end. */
    Outcome run() const;
};

#endif

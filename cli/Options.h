#ifndef CLI_OPTIONS_H
#define CLI_OPTIONS_H

#include "Session.h"
#include "Views.h"

#include <optional>
#include <string>
#include <vector>

/** What a person has asked for. */
struct Options
{
    std::vector<std::string> words = {};
    bool isBack = false;
    bool inputIsDots = false;
    Choice choice = {};
    std::optional<std::string> profile = {};
    View view = plainView;
    ViewOptions viewOptions = {};
    bool listsRoles = false;
    bool explores = false;
    bool isLineBuffered = false;
    bool isQuiet = false;

    /** What to print, and nothing else: help or version. */
    std::optional<std::string> information = {};
};

/** Throws Complaint with what is wrong with them. */
Options parseOptions(int argc, char** argv);

#endif

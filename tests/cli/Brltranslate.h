/** The command-line program, as its tests call it. */
#ifndef TESTS_CLI_BRLTRANSLATE_H
#define TESTS_CLI_BRLTRANSLATE_H

#include "support/Command.h"
#include "support/FileContent.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

constexpr const char* BRLTRANSLATE = TEST_BUILD_FOLDER "/cli/brltranslate";

using Words = std::vector<std::string>;

inline Command brltranslate(Words arguments, std::string input = "")
{
    arguments.insert(arguments.begin(), BRLTRANSLATE);
    return {std::move(arguments), std::move(input)};
}

inline Outcome run(const Words& arguments, const std::string& input = "")
{
    return brltranslate(arguments, input).run();
}

/** A shell's command line, in which $BRLTRANSLATE is the program. */
inline Outcome runInShell(const std::string& commandLine)
{
    return Command{{"bash", "-c", commandLine}, "", {{"BRLTRANSLATE", BRLTRANSLATE}}}.run();
}

/** A long text that every Debian system has. */
inline std::string licence()
{
    return contentOf("/usr/share/common-licenses/GPL-3");
}

inline std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

#endif

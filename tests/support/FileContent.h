#ifndef TESTS_SUPPORT_FILECONTENT_H
#define TESTS_SUPPORT_FILECONTENT_H

#include <fstream>
#include <iterator>
#include <string>

/** All of a file; nothing if it cannot be read. */
inline std::string contentOf(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

#endif

#ifndef TESTS_SUPPORT_PROCESS_H
#define TESTS_SUPPORT_PROCESS_H

#include <cstddef>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

/** Where the system tells about a process. */
inline std::string folderOf(pid_t process)
{
    return "/proc/" + std::to_string(process);
}

/** What a process or thread does: 'R' if it runs, 'S' if it sleeps; NUL once it has gone. */
inline char stateIn(const std::string& folder)
{
    std::ifstream file(folder + "/stat");
    std::string content;
    // Not by iterators, which throw when the process goes while its file is read.
    std::getline(file, content, '\0');
    const std::size_t behindName = content.rfind(')') + 2;
    return behindName < content.size() ? content[behindName] : '\0';
}

/** The processes that the main thread of that one has started. */
inline std::vector<pid_t> childrenOf(pid_t process)
{
    std::ifstream file(folderOf(process) + "/task/" + std::to_string(process) + "/children");
    return {std::istream_iterator<pid_t>(file), {}};
}

/** What it has in memory. */
inline std::size_t residentKilobytesOf(pid_t process)
{
    std::ifstream file(folderOf(process) + "/statm");
    std::size_t pages = 0;
    file >> pages >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

#endif

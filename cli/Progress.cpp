#include "Progress.h"

#include <iostream>
#include <unistd.h>

namespace {

constexpr std::chrono::seconds PATIENCE(2);
constexpr std::chrono::milliseconds INTERVAL(200);

} // namespace

Progress::Progress(bool isWanted)
    // A terminal that shows the translation, or where it is typed, shows how far it is.
    : wanted(isWanted && isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0 &&
             isatty(STDIN_FILENO) == 0),
      next(Clock::now() + PATIENCE)
{
}

void Progress::show(std::size_t lines)
{
    if (!wanted || Clock::now() < next)
        return;
    std::cerr << "\rbrltranslate: " << lines << " lines translated" << std::flush;
    isShown = true;
    next = Clock::now() + INTERVAL;
}

void Progress::clear()
{
    if (isShown)
        std::cerr << "\r\033[K" << std::flush;
    isShown = false;
}

#include "StandardStreams.h"

#include "Complaint.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t BUFFER_SIZE = 65536;

// Of whom the program keeps waiting that is to end.
constexpr std::chrono::milliseconds SOON(50);
constexpr std::chrono::milliseconds FOREVER(-1);

/** Whether standard output takes more within that time. */
bool awaitRoom(std::chrono::milliseconds time)
{
    pollfd writable{STDOUT_FILENO, POLLOUT, 0};
    return poll(&writable, 1, static_cast<int>(time.count())) > 0;
}

Complaint cannot(const std::string& what)
{
    return {Status::NOT_TRANSLATED,
            "cannot " + what + ": " + std::generic_category().message(errno)};
}

} // namespace

bool outputHasRoomSoon()
{
    return awaitRoom(SOON);
}

void reserveStandardStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // open() takes the lowest number that is free, and the wrong mode keeps it unusable.
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY); // NOLINT(*-vararg)
    }
}

LineReader::LineReader(int fileDescriptor, std::string name, std::size_t longestInBytes)
    : file(fileDescriptor), fileName(std::move(name)), longest(longestInBytes)
{
}

bool LineReader::next(std::string& line)
{
    line.clear();
    isCut = false;
    bool isThere = false;
    while (used < buffer.size() || fill()) {
        isThere = true;
        const std::size_t end = buffer.find('\n', used);
        const std::size_t partEnd = std::min(end, buffer.size());
        keep(line, std::string_view(buffer).substr(used, partEnd - used));
        used = partEnd;
        if (end != std::string::npos) {
            ++used;
            break;
        }
    }
    return isThere;
}

bool LineReader::fill()
{
    used = 0;
    buffer.clear();
    // A terminal would ask for more.
    if (isAtEnd)
        return false;
    buffer.resize(BUFFER_SIZE);
    ssize_t count = -1;
    do
        count = read(file, buffer.data(), buffer.size());
    while (count < 0 && errno == EINTR);
    if (count < 0) {
        buffer.clear();
        throw cannot("read " + fileName);
    }
    buffer.resize(static_cast<std::size_t>(count));
    isAtEnd = count == 0;
    return !isAtEnd;
}

void LineReader::keep(std::string& line, std::string_view part)
{
    const std::size_t room = longest - line.size();
    isCut = isCut || part.size() > room;
    line.append(part.substr(0, room));
}

void Output::write(std::string_view lines)
{
    const std::lock_guard lock(mutex);
    buffer.append(lines);
    if (lineBuffered || buffer.size() >= BUFFER_SIZE)
        writeBuffer();
}

void Output::flush()
{
    const std::lock_guard lock(mutex);
    writeBuffer();
}

void Output::abandon()
{
    // Another thread that waits for room has it.
    if (!mutex.try_lock_for(SOON))
        return;
    ssize_t count = 0;
    for (std::string_view rest = buffer; !rest.empty() && count >= 0 && outputHasRoomSoon();) {
        // Not more than any pipe with room takes at once.
        count = ::write(STDOUT_FILENO, rest.data(), std::min<std::size_t>(rest.size(), PIPE_BUF));
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

void Output::writeBuffer()
{
    std::string_view rest = buffer;
    while (!rest.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, rest.data(), rest.size());
        if (count < 0 && (errno == EINTR || (errno == EAGAIN && awaitRoom(FOREVER))))
            continue;
        if (count < 0) {
            // Nobody is to try again.
            buffer.clear();
            throw cannot("write to standard output");
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    buffer.clear();
}

#ifndef CLI_STANDARDSTREAMS_H
#define CLI_STANDARDSTREAMS_H

#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>

/**
 * Keeps the numbers of standard streams that are closed from being given to
 * other files, such as the bus: they stay unusable. Call it first.
 */
void reserveStandardStreams();

/** Whether standard output takes more: a pipe may be full, and a terminal stopped. */
bool outputHasRoomSoon();

/** Reads lines from a file, of any length; keeps only so much of each. */
class LineReader
{
public:
    /** name: for complaints. */
    LineReader(int fileDescriptor, std::string name, std::size_t longestInBytes);

    /**
     * Reads the next line, without its end. Returns false if there is none.
     * Throws Complaint.
     */
    bool next(std::string& line);

    /** Whether the last line was longer than the longest; the rest is left out. */
    bool wasCut() const { return isCut; }

    /** Whether there is a line to be had without waiting for one. */
    bool hasLine() const { return buffer.find('\n', used) != std::string::npos; }

private:
    bool fill();
    void keep(std::string& line, std::string_view part);

    int file;
    std::string fileName;
    std::size_t longest;
    std::string buffer;
    std::size_t used = 0;
    bool isAtEnd = false;
    bool isCut = false;
};

/**
 * Writes to standard output what is complete, and all of it. Throws Complaint.
 * Thread-safe.
 */
class Output
{
public:
    explicit Output(bool isLineBuffered) : lineBuffered(isLineBuffered) {}

    bool isLineBuffered() const { return lineBuffered; }

    /** One line or several, each with its end. */
    void write(std::string_view lines);

    /** Has to be called at the end. */
    void flush();

    /**
     * For another thread that ends the program: writes what standard output has room for. All
     * other operations wait for ever then.
     */
    void abandon();

private:
    void writeBuffer();

    bool lineBuffered;
    std::timed_mutex mutex;
    std::string buffer;
};

#endif

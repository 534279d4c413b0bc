#ifndef CLI_STANDARDSTREAMS_H
#define CLI_STANDARDSTREAMS_H

#include <cstddef>
#include <string>
#include <string_view>

/**
 * Keeps the numbers of standard streams that are closed from being given to
 * other files, such as the bus: they stay unusable. Call it first.
 */
void reserveStandardStreams();

/** Reads lines from a file, of any length; keeps only so much of each. */
class LineReader
{
public:
    /** name: for complaints. */
    LineReader(int fileDescriptor, std::string name, std::size_t longestInBytes);

    /**
     * Reads the next line, without its end. Returns false if there is none.
     * What is beyond the longest is left out. Throws Complaint.
     */
    bool next(std::string& line);

    /** Whether there is a line to be had without waiting for one. */
    bool hasLine() const { return buffer.find('\n', used) != std::string::npos; }

private:
    bool fill();
    void keep(std::string& line, std::string_view part) const;

    int file;
    std::string fileName;
    std::size_t longest;
    std::string buffer;
    std::size_t used = 0;
};

/** Writes to standard output what is complete, and all of it. Throws Complaint. */
class Output
{
public:
    explicit Output(bool isLineBuffered) : lineBuffered(isLineBuffered) {}

    /** One line or several, each with its end. */
    void write(std::string_view lines);

    /** Has to be called at the end. */
    void flush();

private:
    bool lineBuffered;
    std::string buffer;
};

#endif

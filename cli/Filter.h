#ifndef CLI_FILTER_H
#define CLI_FILTER_H

#include "Options.h"
#include "Progress.h"
#include "StandardStreams.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/**
 * Translates line after line. What cannot be translated is complained of on
 * standard error, and the next line tried, unless the service is gone.
 */
class Filter
{
public:
    /** The connection has its translator. All are borrowed. */
    Filter(Session& connection, const Options& wishes, Output& destination);
    ~Filter();
    Filter(const Filter&) = delete;
    Filter& operator=(const Filter&) = delete;

    /** The lines of a text, or of standard input. Returns the worst that has happened. */
    Status translate(const std::string& text);
    Status translateStandardInput();

private:
    struct Line;
    class Batch;

    std::size_t mostLinesAtOnce() const;
    void translateLines(std::vector<Line>& lines);
    void translateTogether(std::vector<Line>& lines);
    Session* connected(std::unique_ptr<Session>& helper) const;
    void translateLine(Session& with, Line& line) const;
    std::string translated(Session& with, const std::string& line) const;
    void requireCursorIn(const std::wstring& text) const;
    void write(const Line& line);

    Session& session;
    const Options& options;
    Output& output;
    Progress progress;
    std::vector<std::unique_ptr<Session>> helpers;
    std::size_t done = 0;
    bool hasWritten = false;
    Status worst = Status::ALL_TRANSLATED;
};

#endif

#ifndef CLI_PROGRESS_H
#define CLI_PROGRESS_H

#include <chrono>
#include <cstddef>

/** A line on standard error that counts, where it takes long and a person looks on. */
class Progress
{
public:
    explicit Progress(bool isWanted);
    ~Progress() { clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /** So many lines are done. */
    void show(std::size_t lines);

    /** Makes room for something else. */
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    bool wanted;
    bool isShown = false;
    Clock::time_point next;
};

#endif

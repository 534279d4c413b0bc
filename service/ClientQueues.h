#ifndef SERVICE_CLIENTQUEUES_H
#define SERVICE_CLIENTQUEUES_H

#include <service/Worker.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/** A text that a client wants translated. */
struct Job
{
    std::string client; ///< its unique bus name
    EngineRequest request;
    /** Takes what came of it, and gets the request back. */
    std::function<void(Worker::Outcome outcome, EngineRequest request)> done;
    std::chrono::steady_clock::time_point arrival = std::chrono::steady_clock::now();
};

/**
 * The texts that wait, for each client in the order in which they came. Clients
 * take turns, and each has at most one text in work: so a client's answers keep
 * the order of its questions, and whatever it asks, another waits for its own
 * turn only. How much may wait is limited, for one client and for all.
 *
 * Threads: one at a time.
 */
class ClientQueues
{
public:
    static constexpr std::size_t TEXTS_OF_A_CLIENT = 64;
    /** In code points. */
    static constexpr std::size_t LENGTH_OF_A_CLIENT = 4 * LONGEST_TEXT;
    static constexpr std::size_t LENGTH_OF_ALL = 16 * LONGEST_TEXT;

    /** Takes the job, and returns true, unless too much is waiting. */
    bool push(Job&& job);

    /** Whether next() has something. */
    bool empty() const { return turns.empty(); }

    /** The job whose turn it is, which is in work from now on. Only if not empty(). */
    Job next();

    /** The client's job is no longer in work. */
    void finished(const std::string& client);

    /** Forgets what the client has waiting. */
    void drop(const std::string& client);

    /** Those that came before that time; they wait no longer. */
    std::vector<Job> takeOlderThan(std::chrono::steady_clock::time_point time);

    /** When the one that has waited longest came; nothing if none waits. */
    std::optional<std::chrono::steady_clock::time_point> oldestArrival() const;

private:
    Job takeFirst(const std::string& client);
    void forgetIfIdle(const std::string& client);

    struct Client
    {
        std::deque<Job> jobs;
        std::size_t length = 0;
        bool isInWork = false;
    };

    /** Those that have something waiting or in work. */
    std::map<std::string, Client> clients;
    /** Those that have something waiting and nothing in work, first come first served. */
    std::deque<std::string> turns;
    std::size_t lengthOfAll = 0;
};

#endif

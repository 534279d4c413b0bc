#ifndef SERVICE_WORKERPOOL_H
#define SERVICE_WORKERPOOL_H

#include <service/ClientQueues.h>
#include <service/Worker.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

/** How many engine processes there are, and what a text may take. */
struct PoolLimits
{
    /** Clients give up after 25 s; this leaves time for the way there and back. */
    static constexpr std::chrono::milliseconds LONGEST_DEADLINE{20000};

    /** Processes that are there all the time, but for moments when one has just died. */
    std::size_t workers = 2;
    /** With those that help out while others are held up by their texts. */
    std::size_t mostWorkers = 8;
    /** For any text, however short, and for reading a table. */
    std::chrono::milliseconds deadline{2000};
    std::chrono::microseconds deadlinePerCodePoint{200};

    /** What a text of that length may take altogether. */
    std::chrono::milliseconds deadlineFor(std::size_t length) const;
};

/**
 * The engine processes: gives each waiting text to one that is idle, replaces
 * those that had to be killed or have died, and starts more for a while when all
 * are held up.
 *
 * Failures: the constructor throws std::system_error if the program cannot be
 * started. Later failures to start it are logged, tried again after a while, and
 * make jobs fail with DIED when no process is left.
 *
 * Threads: those of Worker.
 */
class WorkerPool
{
public:
    WorkerPool(boost::asio::io_context& eventLoop, std::string engineProgram,
               const PoolLimits& poolLimits);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /** Takes a text, and returns true, unless too much is waiting already. */
    bool submit(Job job);

    /** Forgets what that client has waiting. */
    void drop(const std::string& client) { queues.drop(client); }

    /** From now on all processes read these tables ahead, when they have nothing else to do. */
    void keepLoaded(const std::vector<std::string>& tables);

    void setLimits(const PoolLimits& newLimits);

private:
    struct Member
    {
        std::shared_ptr<Worker> worker;
        /** The tables that it has read. */
        std::set<std::string> tables;
    };
    using Members = std::list<Member>;

    /** A timer that is set for one thing, and not again before that has come. */
    struct Alarm
    {
        boost::asio::steady_timer timer;
        bool isSet = false;
    };

    void start();
    void startMissing();
    void replace(Members::iterator member);
    void giveWork();
    void perform(Job job);
    void giveUp(Job job, Worker::Outcome::End why);
    void readAhead();
    void run(Members::iterator member, const EngineRequest& request,
             std::chrono::milliseconds deadline, Worker::Done done);
    void setAlarm(Alarm& alarm, std::chrono::steady_clock::time_point when,
                  void (WorkerPool::*act)());
    void recover();
    void dropDead();
    void endSpare();
    void awaitOverdue();
    void giveUpOverdue();
    Members::iterator idleMemberFor(const std::string& table);
    void helpOutLater();
    void helpOut();

    boost::asio::io_context& loop;
    const std::string program;
    PoolLimits currentLimits;
    ClientQueues queues;
    Members members;
    /** How many processes have died, one after the other, without any answer in between. */
    std::size_t deaths = 0;
    std::vector<std::string> tablesToKeep;
    Alarm patience;
    Alarm recovery;
    Alarm expiry;
};

#endif

#ifndef SERVICE_WORKER_H
#define SERVICE_WORKER_H

#include <service/EngineProtocol.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <sys/types.h>

/**
 * An engine process, from the service's side: does one request at a time, and
 * is killed if that takes too long. Once it has gone, for whatever reason, it
 * does not come back; the WorkerPool starts another.
 *
 * Failures: start() throws std::system_error if there is no such program, or no
 * process or descriptor to be had. What happens afterwards is an Outcome.
 *
 * Lifetimes: shared, because what it waits for in the event loop holds it. The
 * process ends with kill(), and with the service itself, however that ends.
 *
 * Threads: the event loop's. The process is tied to the thread that starts it,
 * so that must be one that lives as long as the service: the main thread.
 */
class Worker : public std::enable_shared_from_this<Worker>
{
public:
    struct Outcome
    {
        enum class End
        {
            ANSWERED,
            TIMED_OUT,
            DIED
        };

        End end;
        EngineAnswer answer; ///< if it has answered
    };

    using Done = std::function<void(Outcome outcome)>;
    using Gone = std::function<void()>;

    /** Starts that program. gone is called when the process ends by itself while idle. */
    static std::shared_ptr<Worker> start(boost::asio::io_context& loop, const std::string& program,
                                         Gone gone);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    /** Only when idle. done is called once, from the event loop, unless kill() is. */
    void run(const EngineRequest& request, std::chrono::milliseconds deadline, Done done);

    bool isIdle() const { return isAlive() && !done; }
    /** Whether the process has ended while idle, which gone() would only tell later. */
    bool hasDiedIdle();

    bool isAlive() const noexcept { return process > 0; }

    /** Ends the process and waits until it is gone. Nothing is called any more, and forgotten. */
    void kill();

private:
    Worker(boost::asio::io_context& loop, Gone whenGone);
    void spawn(const std::string& program);
    void endProcess() noexcept;
    void awaitAnswer();
    void receive(boost::asio::mutable_buffer bytes, void (Worker::*then)());
    void readBody();
    void takeAnswer();
    void endWhenOverdue(const boost::system::error_code& error);
    void end(Outcome::End why);

    boost::asio::local::stream_protocol::socket socket;
    boost::asio::steady_timer timer;
    Gone gone;
    Done done;
    std::string message;
    engine_protocol::Length length = 0;
    std::string body;
    pid_t process = -1;
};

/**
 * Asks one thing of an engine process of its own, and waits for what comes of
 * it. Throws as Worker::start() does.
 */
Worker::Outcome askEngine(const std::string& program, const EngineRequest& request,
                          std::chrono::milliseconds deadline);

#endif

#include <service/Worker.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <array>
#include <cerrno>
#include <csignal>
#include <exception>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

using Socket = asio::local::stream_protocol::socket;

// More than any real one has, in bytes: an engine that has run wild is not to take us with it.
constexpr engine_protocol::Length LONGEST_ANSWER = 64U << 20U;

/** What a new process differs in from the one that starts it. */
class SpawnSettings
{
public:
    /** Standard input is that descriptor; the signals by which a service is ended are its own
     * affair. */
    explicit SpawnSettings(int standardInput)
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, standardInput, STDIN_FILENO);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        sigset_t signals;
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&attributes, &signals);
        sigemptyset(&signals);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM})
            sigaddset(&signals, signal);
        posix_spawnattr_setsigmask(&attributes, &signals);
    }

    ~SpawnSettings()
    {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }

    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};
};

} // namespace

std::shared_ptr<Worker> Worker::start(asio::io_context& loop, const std::string& program, Gone gone)
{
    std::shared_ptr<Worker> worker(new Worker(loop, std::move(gone)));
    worker->spawn(program);
    worker->awaitAnswer();
    return worker;
}

Worker::Worker(asio::io_context& loop, Gone whenGone)
    : socket(loop), timer(loop), gone(std::move(whenGone))
{
}

Worker::~Worker()
{
    endProcess();
}

void Worker::spawn(const std::string& program)
{
    // The kernel closes both ends wherever else they would be inherited.
    Socket itsEnd(socket.get_executor());
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "socketpair");
    socket.assign(asio::local::stream_protocol(), ends[0]);
    itsEnd.assign(asio::local::stream_protocol(), ends[1]);
    const SpawnSettings settings(ends[1]);
    std::string name = program;
    const std::array<char*, 2> arguments{name.data(), nullptr};
    const int error = posix_spawn(&process, program.c_str(), &settings.actions,
                                  &settings.attributes, arguments.data(), environ);
    if (error != 0) {
        process = -1;
        throw std::system_error(error, std::generic_category(), "Failed to start " + program);
    }
}

void Worker::run(const EngineRequest& request, std::chrono::milliseconds deadline, Done whenDone)
{
    done = std::move(whenDone);
    message = engine_protocol::encode(request);
    timer.expires_after(deadline);
    timer.async_wait(
        [self = shared_from_this()](const error_code& error) { self->endWhenOverdue(error); });
    // A process that cannot take the request has gone, and that is noticed in its answer.
    asio::async_write(socket, asio::buffer(message),
                      [self = shared_from_this()](const error_code&, std::size_t) {});
}

void Worker::awaitAnswer()
{
    receive(asio::buffer(&length, sizeof length), &Worker::readBody);
}

void Worker::receive(asio::mutable_buffer bytes, void (Worker::*then)())
{
    asio::async_read(socket, bytes,
                     [self = shared_from_this(), then](const error_code& error, std::size_t) {
                         if (error)
                             self->end(Outcome::End::DIED);
                         else
                             ((*self).*then)();
                     });
}

void Worker::readBody()
{
    if (length > LONGEST_ANSWER)
        return end(Outcome::End::DIED);
    body.resize(length);
    receive(asio::buffer(body), &Worker::takeAnswer);
}

void Worker::takeAnswer()
try {
    Outcome outcome{Outcome::End::ANSWERED, engine_protocol::decodeAnswer(body)};
    // They may have been of many megabytes, which an assignment would keep.
    std::string().swap(body);
    std::string().swap(message);
    awaitAnswer();
    timer.cancel();
    if (done)
        std::exchange(done, nullptr)(std::move(outcome));
} catch (const engine_protocol::Malformed&) {
    end(Outcome::End::DIED);
}

void Worker::endWhenOverdue(const error_code& error)
{
    // An answer may have come, and another request begun, between the timer's end and this.
    const bool isOverdue = done && timer.expiry() <= std::chrono::steady_clock::now();
    if (!error && isOverdue)
        end(Outcome::End::TIMED_OUT);
}

void Worker::end(Outcome::End why)
{
    if (!isAlive())
        return;
    const Done interrupted = std::move(done);
    kill();
    if (interrupted)
        interrupted({why, {}});
    else
        gone();
}

bool Worker::hasDiedIdle()
{
    if (!isIdle() || waitpid(process, nullptr, WNOHANG) == 0)
        return false;
    process = -1;
    kill();
    return true;
}

void Worker::kill()
{
    endProcess();
    done = nullptr;
    timer.cancel();
    error_code ignored;
    socket.close(ignored);
}

void Worker::endProcess() noexcept
{
    if (!isAlive())
        return;
    ::kill(process, SIGKILL);
    while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
    }
    process = -1;
}

Worker::Outcome askEngine(const std::string& program, const EngineRequest& request,
                          std::chrono::milliseconds deadline)
{
    asio::io_context loop;
    Worker::Outcome answer{Worker::Outcome::End::DIED, {}};
    const std::shared_ptr<Worker> worker = Worker::start(loop, program, [] {});
    worker->run(request, deadline, [&answer, &worker](Worker::Outcome outcome) {
        answer = std::move(outcome);
        worker->kill();
    });
    loop.run();
    return answer;
}

/** The tests' own engine program: ScriptedEngine.h says what it does with which table. */
#include "ScriptedEngine.h"

#include <service/EngineProtocol.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace scripted;
using engine_protocol::Length;

namespace {

constexpr int SERVICE = STDIN_FILENO;
constexpr Length LONGER_THAN_ANY_MEMORY = Length{1} << 63U;

std::string bytesOf(Length length)
{
    std::string bytes(sizeof length, '\0');
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

/** Ends the process if the service has gone. */
void send(const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t count = write(SERVICE, bytes.data() + sent, bytes.size() - sent);
        if (count <= 0)
            _exit(0);
        sent += static_cast<std::size_t>(count);
    }
}

/** Ends the process if the service has gone. */
std::string receive(std::size_t length)
{
    std::string bytes(length, '\0');
    for (std::size_t received = 0; received < length;) {
        const ssize_t count = read(SERVICE, bytes.data() + received, length - received);
        if (count <= 0)
            _exit(0);
        received += static_cast<std::size_t>(count);
    }
    return bytes;
}

EngineRequest nextRequest()
{
    Length length = 0;
    std::memcpy(&length, receive(sizeof length).data(), sizeof length);
    return engine_protocol::decodeRequest(receive(length));
}

/** In one piece, so that lines of several processes do not mix. */
void say(const std::string& what)
{
    const std::string line = "scripted engine " + std::to_string(getpid()) + what + '\n';
    if (write(STDERR_FILENO, line.data(), line.size()) < 0)
        _exit(1);
}

EngineResult translate(const EngineRequest& request)
{
    EngineResult result{true, request.text.size(), {0}, {}, {}};
    const uint32_t row = request.kind == EngineRequest::Kind::FORWARD ? 0x2800 : 0;
    for (const uint32_t codePoint : request.text) {
        result.output.push_back(row | (codePoint & 0xFFU));
        result.positions.push_back(static_cast<int32_t>(result.output.size()));
    }
    return result;
}

std::string answerTo(const EngineRequest& request)
{
    EngineAnswer answer{};
    answer.result = translate(request);
    return engine_protocol::encode(answer);
}

std::string refusal(EngineAnswer::Status status)
{
    EngineAnswer answer{};
    answer.status = status;
    answer.failure = REFUSAL;
    answer.log = {REFUSAL_IN_LOG};
    return engine_protocol::encode(answer);
}

std::string description()
{
    EngineAnswer answer{};
    for (const std::string table : TABLES)
        answer.translators.push_back({table, "Braille that " + table, 1, true, table, ""});
    return engine_protocol::encode(answer);
}

std::string halfOf(const std::string& message)
{
    return message.substr(0, message.size() / 2);
}

/** The service starts its engine processes with SIGHUP blocked, so it cannot come too early. */
void hang()
{
    say(HANGING);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGHUP);
    int received = 0;
    sigwait(&signals, &received);
}

void closeSocket()
{
    shutdown(SERVICE, SHUT_RDWR);
    hang();
}

const std::map<std::string, std::function<void(const EngineRequest&)>>& commands()
{
    using Request = const EngineRequest&;
    static const std::map<std::string, std::function<void(Request)>> all{
        {PLAIN, [](Request request) { send(answerTo(request)); }},
        {OTHER, [](Request request) { send(answerTo(request)); }},
        {HANGS, [](Request request) { hang(), send(answerTo(request)); }},
        {STOPS_HALFWAY, [](Request request) { send(halfOf(answerTo(request))), hang(); }},
        {BREAKS_OFF, [](Request request) { send(halfOf(answerTo(request))), _exit(0); }},
        {DIES, [](Request) { kill(getpid(), SIGKILL); }},
        {EXITS, [](Request) { std::exit(3); }},
        {CLOSES, [](Request) { closeSocket(); }},
        {SAYS_NOTHING, [](Request) { send(bytesOf(0)); }},
        {TALKS_NONSENSE, [](Request) { send(bytesOf(5) + "stuff"); }},
        // The string is what follows the status.
        {EXAGGERATES, [](Request) { send(bytesOf(9) + '\0' + bytesOf(LONGER_THAN_ANY_MEMORY)); }},
        {BOASTS, [](Request) { send(bytesOf(LONGER_THAN_ANY_MEMORY)); }},
        {REFUSES, [](Request) { send(refusal(EngineAnswer::Status::FAILED)); }},
        {EXCEEDS, [](Request) { send(refusal(EngineAnswer::Status::TOO_LONG)); }},
    };
    return all;
}

void obey(const EngineRequest& request)
{
    if (request.kind == EngineRequest::Kind::DESCRIBE_TABLES)
        return send(description());
    if (request.kind == EngineRequest::Kind::LOAD_TABLE)
        say(READING + request.table);
    commands().at(request.table)(request);
}

} // namespace

int main()
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (;;)
        obey(nextRequest());
}

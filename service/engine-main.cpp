/**
 * brailletranslate-engine: the braille engine in a process of its own, which the
 * Translator service starts, asks over the socket that is its standard input, and
 * kills when a text takes too long. It ends when the service does.
 */
#include <service/Engine.h>
#include <service/EngineLog.h>
#include <service/EngineProtocol.h>
#include <service/Tables.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <csignal>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace asio = boost::asio;

namespace {

using Socket = asio::local::stream_protocol::socket;

void perform(Engine& engine, const EngineRequest& request, EngineAnswer& answer)
{
    switch (request.kind) {
    case EngineRequest::Kind::DESCRIBE_TABLES:
        answer.translators = describeTables(installedTables());
        break;
    case EngineRequest::Kind::LOAD_TABLE:
        engine.load(request.table);
        break;
    case EngineRequest::Kind::FORWARD:
        answer.result = engine.forward(request.table, request.text);
        break;
    case EngineRequest::Kind::BACK:
        answer.result = engine.back(request.table, request.text);
        break;
    }
}

EngineAnswer answerTo(Engine& engine, const EngineRequest& request)
{
    EngineAnswer answer{};
    try {
        perform(engine, request, answer);
    } catch (const Engine::TooLong& error) {
        answer.status = EngineAnswer::Status::TOO_LONG;
        answer.failure = error.what();
    } catch (const std::exception& error) {
        answer.status = EngineAnswer::Status::FAILED;
        answer.failure = error.what();
    }
    answer.log = engine_log::takeErrors();
    return answer;
}

/** The next request; nothing if there will be none, because the service has gone. */
std::optional<EngineRequest> nextRequest(Socket& service)
{
    engine_protocol::Length length = 0;
    boost::system::error_code error;
    asio::read(service, asio::buffer(&length, sizeof length), error);
    if (error)
        return std::nullopt;
    std::string body(length, '\0');
    asio::read(service, asio::buffer(body));
    return engine_protocol::decodeRequest(body);
}

void serve(Socket service)
{
    Engine engine;
    while (const std::optional<EngineRequest> request = nextRequest(service)) {
        asio::write(service, asio::buffer(engine_protocol::encode(answerTo(engine, *request))));
        if (request->text.size() > LONG_TEXT)
            engine.giveMemoryBack();
    }
}

} // namespace

int main()
try {
    // A service that has gone before this closes the socket, which is noticed too.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    asio::io_context context;
    serve(Socket(context, asio::local::stream_protocol(), STDIN_FILENO));
} catch (const std::exception& error) {
    std::cerr << "brailletranslate-engine: " << error.what() << '\n';
    return 1;
}

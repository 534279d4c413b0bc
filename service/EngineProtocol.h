#ifndef SERVICE_ENGINEPROTOCOL_H
#define SERVICE_ENGINEPROTOCOL_H

#include <service/Engine.h>
#include <service/Translator.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

/**
 * What the service and its engine processes say to each other over a stream
 * socket: the service one request, the process one answer, in turns. Both are
 * built together and run on one machine, so the form is nobody else's business.
 */
struct EngineRequest
{
    enum class Kind : uint8_t
    {
        DESCRIBE_TABLES, ///< takes neither table nor text
        LOAD_TABLE,
        FORWARD,
        BACK
    };

    Kind kind;
    std::string table; ///< a path
    CodePoints text;
};

struct EngineAnswer
{
    enum class Status : uint8_t
    {
        DONE,
        TOO_LONG,
        FAILED
    };

    Status status;
    std::string failure;                 ///< why it is not done
    EngineResult result;                 ///< of FORWARD and BACK
    std::vector<Translator> translators; ///< of DESCRIBE_TABLES
    std::vector<std::string> log;        ///< the engine's own errors meanwhile
};

/** Of a text that is longer, in code points, the process keeps nothing, not even the tables. */
constexpr std::size_t LONG_TEXT = 100000;

namespace engine_protocol {

/** Every message begins with this: the number of bytes behind it. */
using Length = uint64_t;

/** A whole message, its length included. */
std::string encode(const EngineRequest& request);
std::string encode(const EngineAnswer& answer);

/** What is behind the length is no message. */
struct Malformed : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/** From what is behind the length. Throws Malformed. */
EngineRequest decodeRequest(const std::string& body);
EngineAnswer decodeAnswer(const std::string& body);

} // namespace engine_protocol

#endif

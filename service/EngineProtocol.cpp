#include <service/EngineProtocol.h>

#include <cereal/archives/binary.hpp>
#include <cereal/types/string.hpp>
#include <cereal/types/vector.hpp>

#include <cstring>
#include <exception>
#include <sstream>
#include <utility>

template <class Archive>
void serialize(Archive& archive, Translator& translator)
{
    archive(translator.id, translator.name, translator.grade, translator.isMadeToTranslateBack,
            translator.table, translator.describedFile);
}

template <class Archive>
void serialize(Archive& archive, EngineResult& result)
{
    archive(result.complete, result.consumed, result.positions, result.output, result.diagnostic);
}

template <class Archive>
void serialize(Archive& archive, EngineRequest& request)
{
    archive(request.kind, request.table, request.text);
}

template <class Archive>
void serialize(Archive& archive, EngineAnswer& answer)
{
    archive(answer.status, answer.failure, answer.result, answer.translators, answer.log);
}

namespace {

using engine_protocol::Length;

template <class Message>
std::string frame(const Message& message)
{
    std::ostringstream stream;
    const Length unknown = 0;
    stream.write(reinterpret_cast<const char*>(&unknown), sizeof unknown);
    cereal::BinaryOutputArchive archive(stream);
    archive(message);
    std::string bytes = std::move(stream).str();
    const Length length = bytes.size() - sizeof length;
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

template <class Message>
Message decode(const std::string& body)
try {
    std::istringstream stream(body);
    cereal::BinaryInputArchive archive(stream);
    Message message{};
    archive(message);
    return message;
} catch (const std::exception& error) {
    // Nonsense may show as a length that nobody has the memory for.
    throw engine_protocol::Malformed(error.what());
}

} // namespace

std::string engine_protocol::encode(const EngineRequest& request)
{
    return frame(request);
}

std::string engine_protocol::encode(const EngineAnswer& answer)
{
    return frame(answer);
}

EngineRequest engine_protocol::decodeRequest(const std::string& body)
{
    return decode<EngineRequest>(body);
}

EngineAnswer engine_protocol::decodeAnswer(const std::string& body)
{
    return decode<EngineAnswer>(body);
}

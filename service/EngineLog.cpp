#include <service/EngineLog.h>

#include <liblouis.h>

#include <iostream>
#include <utility>

namespace {

std::vector<std::string>& errors()
{
    static std::vector<std::string> messages;
    return messages;
}

} // namespace

// The caller is C code, which no exception may cross.
extern "C" {
static void logEngineMessage(logLevels level, const char* message) noexcept
{
    // The engine's warnings are about what it copes with by itself, and it has
    // some on every start.
    if (level < LOU_LOG_ERROR)
        return;
    if (level >= LOU_LOG_FATAL)
        std::cerr << "brailletranslate-engine: " << message << '\n';
    errors().emplace_back(message);
}
}

void engine_log::start()
{
    lou_registerLogCallback(logEngineMessage);
}

std::string engine_log::firstError()
{
    return errors().empty() ? std::string() : errors().front();
}

std::vector<std::string> engine_log::takeErrors()
{
    return std::exchange(errors(), {});
}

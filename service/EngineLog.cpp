#include <service/EngineLog.h>

#include <liblouis.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

// The caller is C code, which no exception may cross.
extern "C" {
static void logEngineMessage(logLevels level, const char* message) noexcept
{
    const log4cplus::Logger logger =
        log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("brailletranslatord.engine"));
    // The engine's warnings are about what it copes with by itself, and it has
    // some on every start.
    if (level < LOU_LOG_ERROR)
        LOG4CPLUS_INFO(logger, message);
    else
        LOG4CPLUS_ERROR(logger, message);
}
}

void routeEngineLog()
{
    lou_registerLogCallback(logEngineMessage);
}

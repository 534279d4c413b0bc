#ifndef SERVICE_LOGGING_H
#define SERVICE_LOGGING_H

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include <string>

/** Where the service's log goes. */
enum class LogTarget
{
    STDERR,
    SYSLOG
};

/** From now on; at the level WARN, or INFO if that is wanted. */
void logTo(LogTarget target, bool withDetails);

/** The service's own logger. */
log4cplus::Logger serviceLogger();

// One line each, as the macros of log4cplus take it.
#define LOG_INFO(message) LOG4CPLUS_INFO(serviceLogger(), message)
#define LOG_WARN(message) LOG4CPLUS_WARN(serviceLogger(), message)
#define LOG_ERROR(message) LOG4CPLUS_ERROR(serviceLogger(), message)

#endif

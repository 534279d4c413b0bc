#ifndef TESTS_SUPPORT_LOGCAPTURE_H
#define TESTS_SUPPORT_LOGCAPTURE_H

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>

#include <string>
#include <vector>

/** What a log record carries. */
struct LogRecord
{
    log4cplus::LogLevel level = log4cplus::NOT_SET_LOG_LEVEL;
    std::string message;
    std::string file;
    int line = 0;
    std::string function;
};

/** Collects what is written to the logger "BrailleTranslate" for as long as it lives. */
class LogCapture
{
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogRecord>& records() const { return captured; }
    void clear() { captured.clear(); }

    /** The lowest level that is written; nothing below it reaches the records. */
    void setLevel(log4cplus::LogLevel level) { logger.setLogLevel(level); }

private:
    std::vector<LogRecord> captured;
    log4cplus::Logger logger;
    log4cplus::SharedAppenderPtr appender;
};

#endif

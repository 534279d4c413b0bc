#include <service/Logging.h>

#include <log4cplus/consoleappender.h>
#include <log4cplus/layout.h>
#include <log4cplus/syslogappender.h>

#include <memory>
#include <utility>

namespace {

constexpr const char* PROGRAM = "brailletranslatord";

log4cplus::SharedAppenderPtr appenderFor(LogTarget target)
{
    const bool isSyslog = target == LogTarget::SYSLOG;
    log4cplus::SharedAppenderPtr appender;
    if (isSyslog)
        appender = new log4cplus::SysLogAppender(PROGRAM);
    else
        appender = new log4cplus::ConsoleAppender(true, true);
    // The system's log has the name and the level already.
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>(isSyslog ? "%m" : "%c: %p: %m%n"));
    return appender;
}

} // namespace

void logTo(LogTarget target, bool withDetails)
{
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(appenderFor(target));
    root.setLogLevel(withDetails ? log4cplus::INFO_LOG_LEVEL : log4cplus::WARN_LOG_LEVEL);
}

log4cplus::Logger serviceLogger()
{
    return log4cplus::Logger::getInstance(PROGRAM);
}

#include "LogCapture.h"

#include <log4cplus/spi/loggingevent.h>

namespace {

class CapturingAppender : public log4cplus::Appender
{
public:
    explicit CapturingAppender(std::vector<LogRecord>& destination) : records(destination) {}
    ~CapturingAppender() override { destructorImpl(); }
    void close() override {}

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        records.push_back({event.getLogLevel(), event.getMessage(), event.getFile(),
                           event.getLine(), event.getFunction()});
    }

private:
    std::vector<LogRecord>& records;
};

} // namespace

LogCapture::LogCapture()
    : logger(log4cplus::Logger::getInstance("BrailleTranslate")),
      appender(new CapturingAppender(captured))
{
    logger.setAdditivity(false);
    logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    logger.addAppender(appender);
}

LogCapture::~LogCapture()
{
    logger.removeAppender(appender);
}

#include "FailureReport.h"

#include <libBrailleTranslate/LogAppender.h>

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <utility>

namespace {

constexpr std::string_view SERVICE_ERRORS = "braille.translator.Error.";

class LastRecord : public log4cplus::Appender
{
public:
    ~LastRecord() override { destructorImpl(); }
    void close() override {}

    static std::optional<std::string>& message()
    {
        static std::optional<std::string> last;
        return last;
    }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        message() = event.getMessage();
    }
};

log4cplus::Logger makeLogger()
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("brltranslate");
    logger.setAdditivity(false);
    logger.addAppender(log4cplus::SharedAppenderPtr(new LastRecord));
    return logger;
}

} // namespace

log4cplus::Logger LogAppender::getLogger()
{
    static const log4cplus::Logger logger = makeLogger();
    return logger;
}

bool ServiceFailure::isAnswer() const
{
    return errorName.rfind(SERVICE_ERRORS, 0) == 0;
}

bool ServiceFailure::isUnknownTranslator() const
{
    return errorName == std::string(SERVICE_ERRORS) + "NoSuchTranslator";
}

ServiceFailure toFailure(std::string_view errorText)
{
    const std::size_t end = errorText.find("] ");
    if (errorText.empty() || errorText.front() != '[' || end == std::string_view::npos)
        return {"", std::string(errorText)};
    return {std::string(errorText.substr(1, end - 1)), std::string(errorText.substr(end + 2))};
}

std::optional<ServiceFailure> takeFailure()
{
    const std::optional<std::string> record = std::exchange(LastRecord::message(), std::nullopt);
    if (!record)
        return std::nullopt;
    // "operation : error text"
    constexpr std::string_view SEPARATOR = " : ";
    return toFailure(std::string_view(*record).substr(record->find(SEPARATOR) + SEPARATOR.size()));
}

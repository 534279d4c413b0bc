#include "FailureReport.h"

#include <libBrailleTranslate/LogAppender.h>

#include <log4cplus/appender.h>
#include <log4cplus/spi/loggingevent.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

namespace {

constexpr std::string_view SERVICE_ERRORS = "braille.translator.Error.";
constexpr std::string_view BUS_ERRORS = "org.freedesktop.DBus.Error.";
constexpr std::string_view START_ERRORS = "org.freedesktop.DBus.Error.Spawn.";

class FirstRecord : public log4cplus::Appender
{
public:
    ~FirstRecord() override { destructorImpl(); }
    void close() override {}

    static std::optional<std::string>& message()
    {
        thread_local std::optional<std::string> first;
        return first;
    }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override
    {
        if (!message())
            message() = event.getMessage();
    }
};

log4cplus::Logger makeLogger()
{
    log4cplus::Logger logger = log4cplus::Logger::getInstance("brltranslate");
    logger.setAdditivity(false);
    logger.addAppender(log4cplus::SharedAppenderPtr(new FirstRecord));
    return logger;
}

bool isOf(std::string_view errorName, std::string_view family)
{
    return errorName.substr(0, family.size()) == family;
}

bool isOneOf(std::string_view errorName, std::string_view family,
             std::initializer_list<std::string_view> names)
{
    if (!isOf(errorName, family))
        return false;
    for (const std::string_view name : names) {
        if (errorName.substr(family.size()) == name)
            return true;
    }
    return false;
}

Complaint complaint(std::string_view errorName, const std::string& message)
{
    if (isOneOf(errorName, SERVICE_ERRORS, {"NoSuchTranslator", "NoSuchProfile"}))
        return {Status::WRONG_USE, message};
    if (isOf(errorName, SERVICE_ERRORS))
        return {Status::NOT_TRANSLATED, message};
    if (isOneOf(errorName, BUS_ERRORS, {"ServiceUnknown", "NameHasNoOwner"}) ||
        isOf(errorName, START_ERRORS))
        return {Status::NO_SERVICE,
                "the Translator service is not running; start brailletranslatord, or, in a source "
                "tree, put scripts/with-private-bus before the command (" +
                    message + ")"};
    if (isOneOf(errorName, BUS_ERRORS, {"Timeout", "NoReply"}))
        return {Status::NO_SERVICE,
                "the Translator service does not answer; restart brailletranslatord if that lasts "
                "(" +
                    message + ")"};
    return {Status::NO_SERVICE, "the Translator service cannot be reached: " + message};
}

} // namespace

log4cplus::Logger LogAppender::getLogger()
{
    static const log4cplus::Logger logger = makeLogger();
    return logger;
}

Complaint complaintOf(std::string_view errorText)
{
    const std::size_t end = errorText.find("] ");
    if (errorText.empty() || errorText.front() != '[' || end == std::string_view::npos)
        return complaint("", std::string(errorText));
    return complaint(errorText.substr(1, end - 1), std::string(errorText.substr(end + 2)));
}

void throwIfACallHasFailed()
{
    const std::optional<std::string> record = std::exchange(FirstRecord::message(), std::nullopt);
    if (!record)
        return;
    // "operation : error text"
    constexpr std::string_view SEPARATOR = " : ";
    throw complaintOf(std::string_view(*record).substr(record->find(SEPARATOR) + SEPARATOR.size()));
}

#include "HostsLogger.h"

#include <libBrailleTranslate/LogAppender.h>

std::function<void()> beforeLogging;

log4cplus::Logger LogAppender::getLogger()
{
    if (beforeLogging)
        beforeLogging();
    return log4cplus::Logger::getInstance("BrailleTranslate");
}

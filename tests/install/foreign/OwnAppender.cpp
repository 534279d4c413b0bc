#include <libBrailleTranslate/LogAppender.h>
#include <log4cplus/nullappender.h>

#include <iostream>

log4cplus::Logger LogAppender::getLogger()
{
    std::cout << "The application's own logger is asked for.\n";
    log4cplus::Logger logger = log4cplus::Logger::getInstance("application");
    if (logger.getAllAppenders().empty())
        logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    return logger;
}

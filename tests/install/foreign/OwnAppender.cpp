#include <libBrailleTranslate/LogAppender.h>

log4cplus::Logger LogAppender::getLogger()
{
    return log4cplus::Logger::getInstance("application");
}

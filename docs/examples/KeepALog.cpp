#include <libBrailleTranslate/LogAppender.h>
#include <libBrailleTranslate/Translation.h>

#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>

#include <memory>
#include <string>

/** The library's records go where the program's others go, under a name of their own. */
log4cplus::Logger LogAppender::getLogger()
{
    return log4cplus::Logger::getInstance("notetaker.braille");
}

int main()
{
    const log4cplus::Initializer initializer;
    const log4cplus::SharedAppenderPtr console(new log4cplus::ConsoleAppender);
    console->setLayout(std::make_unique<log4cplus::PatternLayout>("%p %c, %b: %m%n"));
    log4cplus::Logger::getRoot().addAppender(console);

    Translation translation;
    std::string profile = "en-uk";
    translation.changeLanguageProfile(profile); // there is none of that name
}

#include <service/Catalogue.h>
#include <service/Engine.h>
#include <service/Profiles.h>
#include <service/TranslatorService.h>

#include <CLI/CLI.hpp>
#include <log4cplus/consoleappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

constexpr const char* PROGRAM = "brailletranslatord";
constexpr const char* BUS_NAME = BRAILLETRANSLATE_BUS_NAME;
constexpr int EXIT_FAILED = 1;
constexpr int EXIT_USAGE = 2;

/** Reports why the program ends, in one line. */
int end(int status, const std::string& reason)
{
    std::cerr << PROGRAM << ": " << reason << '\n';
    return status;
}

void logToStderr()
{
    log4cplus::SharedAppenderPtr appender(new log4cplus::ConsoleAppender(true, true));
    appender->setLayout(std::make_unique<log4cplus::PatternLayout>(LOG4CPLUS_TEXT("%c: %p: %m%n")));
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    root.addAppender(std::move(appender));
    root.setLogLevel(log4cplus::WARN_LOG_LEVEL);
}

log4cplus::Logger logger()
{
    return log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("brailletranslatord"));
}

/** Reads the options into their variables; a status if that is all there is to do. */
std::optional<int> readOptions(int argc, char** argv, std::string& profile)
{
    CLI::App options("Translates between print and braille for programs on the system bus.",
                     PROGRAM);
    options.set_version_flag("--version", std::string(PROGRAM) + " " BRAILLETRANSLATE_VERSION);
    options.add_option("--profile", profile, "The language profile to start with")
        ->type_name("NAME")
        ->capture_default_str();
    try {
        options.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return options.exit(request);
    } catch (const CLI::ParseError& error) {
        return end(EXIT_USAGE, error.what());
    }
    return std::nullopt;
}

std::unique_ptr<sdbus::IConnection> openBus()
{
    try {
        return sdbus::createSystemBusConnection();
    } catch (const sdbus::Error& error) {
        throw std::runtime_error("Failed to reach the system bus: " + error.getMessage());
    }
}

void takeName(sdbus::IConnection& connection)
{
    const std::string name = BUS_NAME;
    try {
        connection.requestName(name);
    } catch (const sdbus::Error& error) {
        if (error.getName() == "org.freedesktop.DBus.Error.FileExists")
            throw std::runtime_error("the name " + name +
                                     " is already taken: another service is running");
        throw std::runtime_error("Failed to take the name " + name + ": " + error.getMessage());
    }
}

/** Answers calls for as long as there is a bus to take them from. */
void answerCalls(sdbus::IConnection& connection)
{
    try {
        connection.enterEventLoop();
    } catch (const sdbus::Error& error) {
        LOG4CPLUS_INFO(logger(), "the bus has gone: " << error.what());
    }
}

int serve(const Profiles& profiles, const Profile& profile)
{
    Engine engine;
    const Catalogue catalogue = Catalogue::installed();
    const std::unique_ptr<sdbus::IConnection> connection = openBus();
    const TranslatorService service(*connection, catalogue, profiles, profile, engine);
    // Only now: a call to the name must find the object.
    takeName(*connection);
    LOG4CPLUS_INFO(logger(), "answering as " << BUS_NAME);
    answerCalls(*connection);
    return 0;
}

} // namespace

int main(int argc, char** argv)
try {
    const log4cplus::Initializer logging;
    logToStderr();
    std::string profileName = "en-us";
    if (const std::optional<int> status = readOptions(argc, argv, profileName))
        return *status;
    const Profiles profiles = Profiles::builtIn();
    return serve(profiles, profiles.named(profileName));
} catch (const Profiles::NoSuchProfile& error) {
    return end(EXIT_USAGE, error.what());
} catch (const std::exception& error) {
    return end(EXIT_FAILED, error.what());
}

#include <dbus/SdbusVersion.h>
#include <service/BusLoop.h>
#include <service/Catalogue.h>
#include <service/Configuration.h>
#include <service/Inspection.h>
#include <service/Logging.h>
#include <service/TranslatorService.h>
#include <service/WorkerPool.h>

#include <CLI/CLI.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>
#include <log4cplus/initializer.h>
#include <sdbus-c++/Error.h>
#include <sdbus-c++/IConnection.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <malloc.h>
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

struct Options
{
    std::string configuration = BRAILLETRANSLATE_CONFIGURATION;
    std::string profile;
    std::string log = "stderr";
    bool isVerbose = false;
    bool wantsList = false;
    bool wantsCheck = false;
    bool hasLazyMaps = false;
};

/** Says on stderr what is wrong, in one line. */
void complain(const std::string& what)
{
    std::cerr << PROGRAM << ": " << what << '\n';
}

/** Reports why the program ends, in one line. */
int end(int status, const std::string& reason)
{
    complain(reason);
    return status;
}

/** Reads the options; a status if that is all there is to do. */
std::optional<int> readOptions(int argc, char** argv, Options& options)
{
    CLI::App parser("Translates between print and braille for programs on the system bus.",
                    PROGRAM);
    parser.set_version_flag("--version", std::string(PROGRAM) + " " BRAILLETRANSLATE_VERSION);
    parser.add_option("--config", options.configuration, "The profiles and limits, a TOML file")
        ->type_name("FILE")
        ->take_last()
        ->capture_default_str();
    parser
        .add_option("--profile", options.profile,
                    "The language profile to start with, instead of the file's default")
        ->type_name("NAME")
        ->take_last();
    parser.add_option("--log", options.log, "Where messages go: stderr or syslog")
        ->type_name("TARGET")
        ->take_last()
        ->check(CLI::IsMember({"stderr", "syslog"}))
        ->capture_default_str();
    parser.add_flag("--verbose", options.isVerbose, "Log what is refused and why, too");
    CLI::Option* const list =
        parser.add_flag("--list", options.wantsList, "Print all translators and profiles");
    parser
        .add_flag("--check", options.wantsCheck,
                  "Try all tables and profiles, print what is broken or missing")
        ->excludes(list);
    parser.add_flag("--lazy-map", options.hasLazyMaps,
                    "For tests of clients: leave most of each position map unknown");
    try {
        parser.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return parser.exit(request);
    } catch (const CLI::ParseError& error) {
        return end(EXIT_USAGE, error.what());
    }
    return std::nullopt;
}

/** The program that holds the engine: next to this one, or where an installation has it. */
std::string engineProgram()
{
    const std::filesystem::path name = "brailletranslate-engine";
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    if (exists(folder / name))
        return folder / name;
    return (folder / BRAILLETRANSLATE_ENGINE_FOLDER / name).lexically_normal();
}

Catalogue installedCatalogue()
{
    Worker::Outcome outcome =
        askEngine(engineProgram(), {EngineRequest::Kind::DESCRIBE_TABLES, {}, {}},
                  PoolLimits::LONGEST_DEADLINE);
    const bool isAnswer = outcome.end == Worker::Outcome::End::ANSWERED;
    if (!isAnswer || outcome.answer.status != EngineAnswer::Status::DONE)
        throw std::runtime_error(engineProgram() + " does not work; " +
                                 (isAnswer ? outcome.answer.failure : "install it again"));
    return Catalogue(std::move(outcome.answer.translators));
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
        connection.requestName(sdbus_version::ServiceName(name));
    } catch (const sdbus::Error& error) {
        if (error.getName() == "org.freedesktop.DBus.Error.FileExists")
            throw std::runtime_error("the name " + name +
                                     " is already taken: another service is running");
        if (error.getName() == "org.freedesktop.DBus.Error.AccessDenied")
            throw std::runtime_error("the system bus does not let this user own the name " + name +
                                     ": run the service as the user of its bus policy, " +
                                     BRAILLETRANSLATE_USER +
                                     ", and have the bus reload its configuration");
        throw std::runtime_error("Failed to take the name " + name + ": " + error.getMessage());
    }
}

/** Reads the file again; what is wrong with it changes nothing. */
void reload(const std::string& file, const Catalogue& catalogue, TranslatorService& service)
try {
    service.configure(readConfiguration(file, catalogue));
    LOG_INFO("has read " << file << " again");
} catch (const ConfigurationError& error) {
    LOG_ERROR(error.what() << "; the profiles stay as they were");
}

/** The signals that a service obeys; those that come while it starts are obeyed then. */
void holdSignalsBack(int how)
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        sigaddset(&signals, signal);
    pthread_sigmask(how, &signals, nullptr);
}

/** Calls that as often as one of these signals comes. */
void onSignals(boost::asio::signal_set& signals, const std::function<void()>& act)
{
    signals.async_wait([&signals, act](const boost::system::error_code& error, int) {
        if (error)
            return;
        act();
        onSignals(signals, act);
    });
}

/**
 * Answers calls until it is told to end, or there is no bus to take them from.
 * Returns whether the bus has not taken all replies yet.
 */
bool answerCalls(BusLoop& bus)
try {
    bus.run();
    return bus.hasOutput();
} catch (const sdbus::Error& error) {
    LOG_INFO("the bus has gone: " << error.what());
    return false;
}

/**
 * Has what a long text takes given back as soon as it is freed, also when the bus takes its reply
 * late. If it is not fixed, this threshold grows with the first long text that is freed.
 */
void giveMemoryBackEarly()
{
    mallopt(M_MMAP_THRESHOLD, 1024 * 1024); // NOLINT(concurrency-mt-unsafe): one thread yet
}

int serve(const Options& options, const Catalogue& catalogue, Configuration configuration)
{
    boost::asio::io_context loop;
    const std::unique_ptr<sdbus::IConnection> connection = openBus();
    bool isBusStuck = false;
    {
        WorkerPool pool(loop, engineProgram(), configuration.limits);
        TranslatorService service(*connection, catalogue, pool, std::move(configuration),
                                  options.hasLazyMaps ? Maps::LAZY : Maps::COMPLETE);
        BusLoop bus(loop, *connection);
        boost::asio::signal_set ending(loop, SIGTERM, SIGINT);
        onSignals(ending, [&bus] { bus.stop(); });
        boost::asio::signal_set reloading(loop, SIGHUP);
        onSignals(reloading, [&] { reload(options.configuration, catalogue, service); });
        holdSignalsBack(SIG_UNBLOCK);
        // Only now: a call to the name must find the object.
        takeName(*connection);
        LOG_INFO("answering as " << BUS_NAME);
        isBusStuck = answerCalls(bus);
    }
    // The connection would not close before the slowest client has read its replies.
    if (isBusStuck)
        std::_Exit(0);
    return 0;
}

Configuration configurationOf(const Options& options, const Catalogue& catalogue)
{
    Configuration configuration = readConfiguration(options.configuration, catalogue);
    if (!options.profile.empty())
        configuration.defaultProfile = configuration.profiles.named(options.profile).name;
    return configuration;
}

/** Lists the translators even if the file has a mistake, so that people can mend it. */
int list(const Options& options, const Catalogue& catalogue)
try {
    const Configuration configuration = configurationOf(options, catalogue);
    for (const std::string& warning : warningsOf(configuration.profiles))
        complain(warning);
    listTranslators(catalogue, configuration.profiles);
    listProfiles(catalogue, configuration);
    return 0;
} catch (const ConfigurationError& error) {
    listTranslators(catalogue, Profiles({}));
    return end(EXIT_FAILED, error.what());
}

int run(const Options& options)
{
    const bool isInspection = options.wantsList || options.wantsCheck;
    if (!isInspection)
        holdSignalsBack(SIG_BLOCK);
    const Catalogue catalogue = installedCatalogue();
    if (isInspection && catalogue.translators().empty())
        throw std::runtime_error(NO_TABLES);
    if (options.wantsList)
        return list(options, catalogue);
    Configuration configuration = configurationOf(options, catalogue);
    if (options.wantsCheck)
        return check(catalogue, configuration, engineProgram());
    return serve(options, catalogue, std::move(configuration));
}

} // namespace

int main(int argc, char** argv)
try {
    giveMemoryBackEarly();
    const log4cplus::Initializer logging;
    Options options;
    if (const std::optional<int> status = readOptions(argc, argv, options))
        return *status;
    logTo(options.log == "syslog" ? LogTarget::SYSLOG : LogTarget::STDERR, options.isVerbose);
    return run(options);
} catch (const Profiles::NoSuchProfile& error) {
    return end(EXIT_USAGE, error.what());
} catch (const std::exception& error) {
    return end(EXIT_FAILED, error.what());
}

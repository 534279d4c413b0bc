/**
 * service-latency: what a translation costs the one who waits for it, next to
 * the least that it could cost, and what becomes of that with several clients.
 */
#include "EchoService.h"
#include "Measuring.h"
#include "support/PrivateBus.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>
#include <service/Catalogue.h>
#include <service/Engine.h>
#include <service/Tables.h>

#include <CLI/CLI.hpp>
#include <log4cplus/configurator.h>
#include <log4cplus/initializer.h>

#include <chrono>
#include <cstddef>
#include <exception>
#include <functional>
#include <future>
#include <iomanip>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::wstring_view TEXT =
    L"People who read with their fingers should not have to wait for their next lines.";
constexpr const char* TRANSLATOR = "en-ueb-g2.ctb";

struct Options
{
    int cpu = 1;
    std::size_t rounds = 5000;
    std::size_t warmUp = 200;
    std::size_t calls = 2000;
};

/** The engine in this process. */
class EngineAlone
{
public:
    EngineAlone() : table(findTable()), text(TEXT.begin(), TEXT.end()) {}

    EngineResult translate() { return engine.forward(table, text); }

private:
    static std::string findTable()
    {
        const Catalogue installed(describeTables(installedTables()));
        const Translator* const translator = installed.find(TRANSLATOR);
        if (translator == nullptr)
            throw std::runtime_error(std::string("the table ") + TRANSLATOR + " is not installed");
        return translator->table;
    }

    Engine engine;
    const std::string table;
    const CodePoints text;
};

/** An application: has a connection of its own to whatever is the system bus when it is made. */
class Client
{
public:
    explicit Client(EngineResult expectedTranslation)
        : expected(std::move(expectedTranslation)),
          translator(0, {}, false, TRANSLATOR, translation.getServiceProxy())
    {
    }

    /** How long one translation takes. Throws if it is not what the engine makes of the text. */
    Microseconds translate()
    {
        const auto start = Clock::now();
        const auto result = translator.forwardW(text, 0);
        const auto duration = Clock::now() - start;
        const std::wstring braille(expected.output.begin(), expected.output.end());
        if (result->getTranslatedW() != braille || result->getPosMap() != expected.positions)
            throw std::runtime_error("a translation has failed");
        return duration;
    }

    Samples translate(std::size_t count)
    {
        Samples samples;
        for (std::size_t call = 0; call < count; ++call)
            samples.add(translate());
        return samples;
    }

private:
    const EngineResult expected;
    const std::wstring text{TEXT};
    Translation translation;
    TranslatorProxy translator;
};

Microseconds timed(EngineAlone& engine)
{
    const auto start = Clock::now();
    const EngineResult result = engine.translate();
    return Clock::now() - start;
}

void printRow(const std::string& what, const Samples& samples)
{
    std::cout << std::left << std::setw(40) << what << std::right << std::setw(10)
              << samples.median() << std::setw(10) << samples.quantile(0.99) << '\n';
}

void printChain(const Samples& whole, const Samples& echo, const Samples& engine)
{
    std::cout << std::setw(50) << "p50 us" << std::setw(10) << "p99 us" << '\n';
    printRow("(a) library, bus, service, engine", whole);
    printRow("(b) library, bus, echo", echo);
    printRow("(c) engine alone", engine);
    std::cout << std::left << std::setw(40) << "p50 of a / (b + c)" << std::right
              << std::setprecision(3) << std::setw(10)
              << whole.median() / (echo.median() + engine.median()) << std::setprecision(1)
              << "  (goal: at most 1.35)\n\n";
}

TranslationFields replyWith(const EngineResult& translation)
{
    const std::vector<bool> known(translation.positions.size(), true);
    return {translation.complete,  static_cast<int>(translation.consumed),
            translation.positions, known,
            translation.output,    {},
            translation.diagnostic};
}

/** In turns, so that whatever else the machine does slows all three down alike. */
void measureChain(const Options& options)
{
    EngineAlone engine;
    const EngineResult translation = engine.translate();
    const PrivateBus echoBus;
    const EchoService echoService(echoBus.address(), replyWith(translation));
    Client ofEcho(translation);
    const PrivateBus bus(PrivateBus::Services::REAL);
    Client ofService(translation);
    Samples whole;
    Samples echo;
    Samples alone;
    for (std::size_t round = 0; round < options.warmUp + options.rounds; ++round) {
        if (round == options.warmUp)
            whole = echo = alone = {};
        whole.add(ofService.translate());
        echo.add(ofEcho.translate());
        alone.add(timed(engine));
    }
    printChain(whole, echo, alone);
}

/** One client: gets ready, waits for the others, and translates one text after the other. */
Samples runClient(const Options& options, const EngineResult& expected, std::promise<void> ready,
                  const std::shared_future<void>& start)
{
    Client client(expected);
    client.translate(options.warmUp);
    ready.set_value();
    start.wait();
    return client.translate(options.calls);
}

void printThroughput(std::size_t clients, const Samples& samples, double callsPerSecond)
{
    std::cout << std::left << std::setw(40) << clients << std::right << std::setw(10)
              << samples.median() << std::setw(10) << samples.quantile(0.99) << std::setw(10)
              << callsPerSecond << '\n';
}

void measureClients(std::size_t count, const Options& options, const EngineResult& expected)
{
    std::promise<void> start;
    const std::shared_future<void> started = start.get_future();
    std::vector<std::future<void>> ready;
    std::vector<std::future<Samples>> clients;
    for (std::size_t client = 0; client < count; ++client) {
        std::promise<void> isReady;
        ready.push_back(isReady.get_future());
        clients.push_back(std::async(std::launch::async, runClient, std::cref(options),
                                     std::cref(expected), std::move(isReady), started));
    }
    // One that fails breaks its promise.
    for (std::future<void>& isReady : ready)
        isReady.wait();
    const auto begin = Clock::now();
    start.set_value();
    Samples samples;
    for (std::future<Samples>& client : clients)
        samples.add(client.get());
    const std::chrono::duration<double> duration = Clock::now() - begin;
    printThroughput(count, samples, static_cast<double>(count * options.calls) / duration.count());
}

void measureThroughput(const Options& options)
{
    std::cout << std::left << std::setw(40) << "clients" << std::right << std::setw(10) << "p50 us"
              << std::setw(10) << "p99 us" << std::setw(10) << "calls/s" << '\n';
    const PrivateBus bus(PrivateBus::Services::REAL);
    const EngineResult expected = EngineAlone().translate();
    for (const std::size_t clients : {1U, 4U, 16U})
        measureClients(clients, options, expected);
}

void measure(const Options& options)
{
    static_assert(TEXT.size() == 80);
    std::cout << std::fixed << std::setprecision(1);
    const CpuSet allCpus;
    const int cpu = useOneCpu(options.cpu);
    std::cout << "forwardW of 80 characters, " << TRANSLATOR << ", all processes on CPU " << cpu
              << ", " << options.rounds << " rounds\n";
    measureChain(options);
    allCpus.use();
    std::cout << "The same on any CPU, " << options.calls << " calls of each client\n";
    measureThroughput(options);
}

} // namespace

int main(int argc, char** argv)
try {
    const log4cplus::Initializer logging;
    // The library says there why a translation has failed.
    log4cplus::BasicConfigurator(log4cplus::Logger::getDefaultHierarchy(), true).configure();
    Options options;
    CLI::App program("Measures how long clients wait for a translation.", "service-latency");
    program.add_option("--cpu", options.cpu, "The CPU for the first table")->capture_default_str();
    program.add_option("--rounds", options.rounds, "Of the first table")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    program.add_option("--warm-up", options.warmUp, "Rounds or calls before those that count")
        ->capture_default_str();
    program.add_option("--calls", options.calls, "Of each client in the second table")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    CLI11_PARSE(program, argc, argv);
    measure(options);
} catch (const std::exception& error) {
    std::cerr << "service-latency: " << error.what() << '\n';
    return 1;
}

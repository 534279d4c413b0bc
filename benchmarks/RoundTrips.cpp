/**
 * round-trips: what a call of the service costs a client, with the library and
 * with other ways to call. All clients ask one echo, in turns and on one CPU.
 */
#include "AllocationCounter.h"
#include "Client.h"
#include "EchoService.h"
#include "Measuring.h"
#include "support/PrivateBus.h"

#include <libBrailleTranslate/BrlTranslationResult.h>
#include <libBrailleTranslate/Translation.h>
#include <libBrailleTranslate/TranslatorProxy.h>

#include <CLI/CLI.hpp>
#include <log4cplus/initializer.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <iomanip>
#include <iostream>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

const std::vector<ClientKind> CLIENTS{
    {"sd-bus, whole arrays", openWholeArraysClient},
    {"sd-bus, element by element", openElementByElementClient},
    {"sdbus-c++", openSdbusCppClient},
    {"sdbus-c++, guarded", openGuardedSdbusCppClient},
    {"sdbus-c++, with its event loop", openLoopingSdbusCppClient},
    {"the library", openLibraryClient},
    {"GDBus", openGdbusClient},
};

const ClientKind& clientNamed(const std::string& name)
{
    const auto found = std::find_if(CLIENTS.begin(), CLIENTS.end(),
                                    [&](const ClientKind& kind) { return kind.name == name; });
    if (found == CLIENTS.end())
        throw std::runtime_error("no client \"" + name + "\"");
    return *found;
}

std::wstring textOf(std::size_t length)
{
    std::wstring text(length, L'a');
    for (std::size_t position = 0; position < length; position += 7)
        text[position] = L'\u00e9';
    return text;
}

/** One cell for each code point of the text, and each position known. */
TranslationFields translationOf(std::size_t length)
{
    TranslationFields reply;
    reply.value = static_cast<int32_t>(length);
    reply.posMap.resize(length + 1);
    std::iota(reply.posMap.begin(), reply.posMap.end(), 0);
    reply.known.assign(length + 1, true);
    reply.translated.assign(length, 0x2801);
    return reply;
}

/** A bus with an echo that answers texts of that length. */
class EchoBus
{
public:
    explicit EchoBus(std::size_t length) : echo(bus.address(), translationOf(length)) {}

private:
    const PrivateBus bus;
    const EchoService echo;
};

/** A client, and the text that it has translated. */
class Caller
{
public:
    Caller(const ClientKind& kind, std::size_t length)
        : name(kind.name),
          text(textOf(length)),
          expected(translationOf(length).translated),
          client(kind.open())
    {
    }

    Microseconds call()
    {
        const auto start = Clock::now();
        client->translate(text);
        const Microseconds duration = Clock::now() - start;
        requirePositions();
        return duration;
    }

    void call(std::size_t count)
    {
        for (std::size_t number = 0; number < count; ++number) {
            client->translate(text);
            requirePositions();
        }
    }

    void requireRightAnswer() const
    {
        if (client->translated() != expected)
            throw std::runtime_error(name + ": a translation has failed");
    }

    const std::string name;

private:
    /** After each call, because the library reports no failure. */
    void requirePositions() const
    {
        if (client->positions() != expected.size() + 1)
            throw std::runtime_error(name + ": a translation has failed");
    }

    const std::wstring text;
    const std::vector<uint32_t> expected;
    std::unique_ptr<Client> client;
};

std::vector<Caller> openAll(std::size_t length)
{
    std::vector<Caller> callers;
    callers.reserve(CLIENTS.size());
    for (const ClientKind& kind : CLIENTS)
        callers.emplace_back(kind, length);
    return callers;
}

struct Options
{
    std::vector<std::size_t> lengths{0, 40, 1000, 10000, 100000};
    int cpu = 1;
    double effort = 1;
    std::string client;
    std::size_t length = 0;
    std::size_t calls = 0;
};

/** Fewer for longer texts: about as much time for each length. */
std::size_t roundsFor(const Options& options, std::size_t length)
{
    constexpr double MOST = 6000;
    constexpr double ALL_CODE_POINTS = 7000000;
    const double rounds =
        std::min(MOST, ALL_CODE_POINTS / static_cast<double>(length + 1000)) * options.effort;
    return std::max<std::size_t>(static_cast<std::size_t>(rounds), 10);
}

/** The median of each client's times, in random turns: none always follows the same other one. */
std::vector<double> measureTimes(const Options& options, std::size_t length)
{
    const EchoBus bus(length);
    std::vector<Caller> callers = openAll(length);
    std::vector<Samples> samples(callers.size());
    const std::size_t rounds = roundsFor(options, length);
    const std::size_t warmUp = rounds / 10;
    std::vector<std::size_t> turns(callers.size());
    std::iota(turns.begin(), turns.end(), 0);
    std::mt19937 random(std::random_device{}());
    for (std::size_t round = 0; round < warmUp + rounds; ++round) {
        std::shuffle(turns.begin(), turns.end(), random);
        for (const std::size_t client : turns) {
            const Microseconds duration = callers[client].call();
            if (round >= warmUp)
                samples[client].add(duration);
        }
    }
    std::vector<double> medians;
    for (std::size_t client = 0; client < callers.size(); ++client) {
        callers[client].requireRightAnswer();
        medians.push_back(samples[client].median());
    }
    return medians;
}

/** What this process has used so far. */
struct Usage
{
    static Usage now()
    {
        rusage used{};
        getrusage(RUSAGE_SELF, &used);
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        const Allocations allocations = allocationsSoFar();
        return {static_cast<double>(used.ru_nvcsw), static_cast<double>(used.ru_nivcsw),
                static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3,
                static_cast<double>(allocations.count), static_cast<double>(allocations.bytes)};
    }

    double waits;       // switches to another process because there was nothing to do
    double preemptions; // switches because the system wanted it
    double microseconds;
    double allocations;
    double bytes;
};

Usage usagePerCall(Caller& caller, std::size_t calls)
{
    caller.call(calls / 10);
    const Usage before = Usage::now();
    caller.call(calls);
    const Usage after = Usage::now();
    caller.requireRightAnswer();
    const auto count = static_cast<double>(calls);
    return {(after.waits - before.waits) / count, (after.preemptions - before.preemptions) / count,
            (after.microseconds - before.microseconds) / count,
            (after.allocations - before.allocations) / count, (after.bytes - before.bytes) / count};
}

template <typename Make>
std::size_t bytesOf(Make make)
{
    const std::size_t before = allocationsSoFar().bytesInUse;
    const auto object = make();
    return allocationsSoFar().bytesInUse - before;
}

void printLengths(const Options& options)
{
    for (const std::size_t length : options.lengths)
        std::cout << " | " << length;
    std::cout << " |\n|---";
    for (std::size_t column = 0; column < options.lengths.size(); ++column)
        std::cout << "|--:";
    std::cout << "|\n";
}

/** A row for each client, a column for each length. */
template <typename Value>
void printTable(const Options& options, const std::string& title, Value value)
{
    std::cout << "| " << title;
    printLengths(options);
    for (std::size_t client = 0; client < CLIENTS.size(); ++client) {
        std::cout << "| " << CLIENTS[client].name;
        for (std::size_t length = 0; length < options.lengths.size(); ++length)
            std::cout << " | " << value(client, length);
        std::cout << " |\n";
    }
    std::cout << '\n';
}

std::size_t indexOfTheLibrary()
{
    return static_cast<std::size_t>(&clientNamed("the library") - CLIENTS.data());
}

void printTimes(const Options& options)
{
    std::vector<std::vector<double>> medians;
    for (const std::size_t length : options.lengths)
        medians.push_back(measureTimes(options, length));
    std::cout << std::fixed << std::setprecision(1);
    printTable(options, "median in us",
               [&](std::size_t client, std::size_t length) { return medians[length][client]; });
    std::cout << std::setprecision(3);
    const std::size_t library = indexOfTheLibrary();
    printTable(options, "the library's time / its time",
               [&](std::size_t client, std::size_t length) {
                   return medians[length][library] / medians[length][client];
               });
}

void printUsage(const Options& options, std::size_t length)
{
    const EchoBus bus(length);
    std::cout << "| per call, " << length
              << " code points | client CPU us | waits | preemptions | allocations | bytes |\n"
                 "|---|--:|--:|--:|--:|--:|\n"
              << std::setprecision(2);
    for (Caller& caller : openAll(length)) {
        const Usage usage = usagePerCall(caller, roundsFor(options, length));
        std::cout << "| " << caller.name << " | " << usage.microseconds << " | " << usage.waits
                  << " | " << usage.preemptions << " | " << usage.allocations << " | "
                  << std::setprecision(0) << usage.bytes << std::setprecision(2) << " |\n";
    }
    std::cout << '\n';
}

void printMemory()
{
    const EchoBus bus(1000);
    Translation translation;
    TranslatorProxy handle(0, "", false, contract::TRANSLATOR, translation.getServiceProxy());
    // What is taken once and kept, or given back later, does not belong to those that follow.
    for (int warmUp = 0; warmUp < 10; ++warmUp)
        handle.forwardW(textOf(1000), contract::CURSOR);
    std::cout << "| memory on the heap | bytes |\n|---|--:|\n"
              << "| an idle Translation | "
              << bytesOf([] { return std::make_unique<Translation>(); }) << " |\n"
              << "| a result of 1,000 characters | "
              << bytesOf([&] { return handle.forwardW(textOf(1000), contract::CURSOR); }) << " |\n";
}

void measure(const Options& options)
{
    useOneCpu(options.cpu);
    printTimes(options);
    for (const std::size_t length : options.lengths)
        printUsage(options, length);
    printMemory();
}

/** For tools that watch a whole program: nothing but calls of one client. */
void call(const Options& options)
{
    Caller caller(clientNamed(options.client), options.length);
    caller.call(options.calls);
    caller.requireRightAnswer();
}

/** Runs a command with an echo's bus for its system bus, on one CPU; returns its status. */
int serve(const Options& options, std::vector<std::string> command)
{
    useOneCpu(options.cpu);
    const EchoBus bus(options.length);
    std::vector<char*> arguments(command.size() + 1);
    std::transform(command.begin(), command.end(), arguments.begin(),
                   [](std::string& argument) { return argument.data(); });
    const pid_t process = fork();
    if (process == 0) {
        execvp(arguments[0], arguments.data());
        std::cerr << "round-trips: the command cannot be run: "
                  << std::generic_category().message(errno) << std::endl;
        _exit(127);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
try {
    const log4cplus::Initializer logging;
    Options options;
    int status = EXIT_SUCCESS;
    CLI::App program("Measures what a call of the Translator service costs a client.",
                     "round-trips");
    program.require_subcommand(1);
    CLI::App* const measuring = program.add_subcommand("measure", "All clients, as tables");
    measuring->add_option("--lengths", options.lengths, "Of the texts, in code points")
        ->delimiter(',')
        ->capture_default_str();
    measuring->add_option("--cpu", options.cpu, "Where all processes run")->capture_default_str();
    measuring->add_option("--effort", options.effort, "Times as many calls")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    measuring->callback([&] { measure(options); });
    CLI::App* const calling = program.add_subcommand("call", "One client calls so many times");
    calling->add_option("client", options.client)->required();
    calling->add_option("length", options.length)->required();
    calling->add_option("calls", options.calls)->required();
    calling->callback([&] { call(options); });
    CLI::App* const serving =
        program.add_subcommand("serve", "Runs a command with an echo for texts of that length");
    serving->add_option("length", options.length)->required();
    serving->prefix_command();
    serving->callback([&] { status = serve(options, serving->remaining()); });
    CLI11_PARSE(program, argc, argv);
    return status;
} catch (const std::exception& error) {
    std::cerr << "round-trips: " << error.what() << '\n';
    return EXIT_FAILURE;
}

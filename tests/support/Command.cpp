#include "Command.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <pty.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE*)>;

/** A file without a name that goes when it is closed: programs may fill it as they like. */
File temporaryFile()
{
    File file(std::tmpfile(), &std::fclose);
    if (!file)
        throw std::runtime_error("tmpfile");
    return file;
}

std::string contentOf(FILE* file)
{
    std::rewind(file);
    std::string content;
    std::array<char, 4096> part{};
    for (std::size_t count = 0; (count = fread(part.data(), 1, part.size(), file)) > 0;)
        content.append(part.data(), count);
    return content;
}

/** A terminal at which nobody types. */
class IdleTerminal
{
public:
    IdleTerminal()
    {
        if (openpty(&master, &terminal, nullptr, nullptr, nullptr) != 0)
            throw std::runtime_error("openpty");
    }

    ~IdleTerminal()
    {
        close(terminal);
        close(master);
    }

    IdleTerminal(const IdleTerminal&) = delete;
    IdleTerminal& operator=(const IdleTerminal&) = delete;

    int descriptor() const { return terminal; }

private:
    int master = -1;
    int terminal = -1;
};

[[noreturn]] void execute(const Command& command, int input, int output, int errors)
{
    dup2(input, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    for (const auto& [name, value] : command.environment)
        setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> words;
    for (const std::string& word : command.words)
        words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execvp(words[0], words.data());
    _exit(127);
}

} // namespace

Outcome Command::run() const
{
    const File inputFile = temporaryFile();
    if (std::fwrite(input.data(), 1, input.size(), inputFile.get()) != input.size())
        throw std::runtime_error("fwrite");
    std::rewind(inputFile.get());
    const File output = temporaryFile();
    const File errors = temporaryFile();
    const auto terminal = isOnTerminal ? std::make_unique<IdleTerminal>() : nullptr;
    const int inputDescriptor = terminal ? terminal->descriptor() : fileno(inputFile.get());
    const int outputDescriptor =
        outputFile.empty() ? fileno(output.get()) : open(outputFile.c_str(), O_WRONLY | O_CLOEXEC);
    const pid_t child = fork();
    if (child == 0)
        execute(*this, inputDescriptor, outputDescriptor, fileno(errors.get()));
    if (!outputFile.empty())
        close(outputDescriptor);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output.get()),
            contentOf(errors.get())};
}

#include "ServiceProcess.h"

#include "FileContent.h"
#include "HostProcess.h"
#include "Process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

constexpr const char* PROGRAM = TEST_BUILD_FOLDER "/service/brailletranslatord";

[[noreturn]] void execute(pid_t parent, int log, const std::vector<std::string>& words)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(1);
    dup2(log, STDERR_FILENO);
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    execv(arguments[0], arguments.data());
    _exit(127);
}

} // namespace

std::string ServiceProcess::configurationWith(const std::string& engineLines)
{
    return contentOf(TEST_SOURCE_FOLDER "/service/brailletranslatord.toml") + "\n[engine]\n" +
           engineLines;
}

ServiceProcess::ServiceProcess(const std::vector<std::string>& options,
                               const std::string& engineLines)
    : ServiceProcess(PROGRAM, options, configurationWith(engineLines))
{
}

ServiceProcess::ServiceProcess(const std::string& program, const std::vector<std::string>& options,
                               const std::string& configurationText)
{
    configuration = std::filesystem::temp_directory_path() / "brailletranslatord-XXXXXX";
    const int file = mkstemp(configuration.data());
    if (file < 0)
        throw std::system_error(errno, std::generic_category(), "mkstemp");
    close(file);
    std::ofstream(configuration) << configurationText;
    spawn(program, options);
    logOfStart = logUntil("answering as");
}

ServiceProcess::~ServiceProcess()
{
    end(SIGTERM);
    close(log);
    std::filesystem::remove(configuration);
}

void ServiceProcess::spawn(const std::string& program, const std::vector<std::string>& options)
{
    std::vector<std::string> words{program, "--verbose", "--config", configuration};
    words.insert(words.end(), options.begin(), options.end());
    std::array<int, 2> logPipe{};
    if (pipe2(logPipe.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    // It must never wait for a test that does not read what it logs.
    fcntl(logPipe[1], F_SETPIPE_SZ, 1 << 20);
    const pid_t parent = getpid();
    process = fork();
    if (process == 0)
        execute(parent, logPipe[1], words);
    close(logPipe[1]);
    log = logPipe[0];
}

std::vector<pid_t> ServiceProcess::engines() const
{
    return childrenOf(process);
}

std::size_t ServiceProcess::descriptors() const
{
    return HostProcess::countOf((folderOf(process) + "/fd").c_str());
}

std::size_t ServiceProcess::residentKilobytes() const
{
    return residentKilobytesOf(process);
}

std::string ServiceProcess::logUntil(const std::string& text)
{
    std::string all;
    std::string line;
    for (char next = 0; read(log, &next, 1) == 1;) {
        line += next;
        if (next != '\n')
            continue;
        all += line;
        if (line.find(text) != std::string::npos)
            return all;
        line.clear();
    }
    throw std::runtime_error("the service has ended without logging \"" + text + "\": " + all);
}

std::string ServiceProcess::logToTheEnd()
{
    std::string all;
    for (char next = 0; read(log, &next, 1) == 1;)
        all += next;
    return all;
}

int ServiceProcess::end(int signal)
{
    if (process < 0)
        return -1;
    kill(process, signal);
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

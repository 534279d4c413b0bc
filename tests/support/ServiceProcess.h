#ifndef TESTS_SUPPORT_SERVICEPROCESS_H
#define TESTS_SUPPORT_SERVICEPROCESS_H

#include <cstddef>
#include <string>
#include <sys/types.h>
#include <vector>

/**
 * The Translator service of this build on the test's bus, with options and a
 * configuration of its own. It dies with the test, however that ends.
 */
class ServiceProcess
{
public:
    /** With this line about engines, any text has all the time that there is. */
    static constexpr const char* LONG_DEADLINE = "deadline-ms = 20000\n";

    /** A configuration with the profiles of this project and those lines about engines. */
    static std::string configurationWith(const std::string& engineLines);

    /** Returns once the service has its name. */
    explicit ServiceProcess(const std::vector<std::string>& options = {},
                            const std::string& engineLines = LONG_DEADLINE);
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    pid_t pid() const { return process; }
    const std::string& configurationFile() const { return configuration; }

    /** Its engine processes. */
    std::vector<pid_t> engines() const;

    std::size_t descriptors() const;
    std::size_t residentKilobytes() const;

    /** What it has logged until it had its name. */
    const std::string& startLog() const { return logOfStart; }

    /** What it has logged since then, up to a line with that text; waits for one. */
    std::string logUntil(const std::string& text);

    /** The rest of what it has logged. Only once it has ended. */
    std::string logToTheEnd();

    /** Ends it with that signal. Returns its exit status, or -1 if the signal has ended it. */
    int end(int signal);

protected:
    /** Starts that program, which is one like it. */
    ServiceProcess(const std::string& program, const std::vector<std::string>& options,
                   const std::string& configurationText);

private:
    void spawn(const std::string& program, const std::vector<std::string>& options);

    std::string configuration;
    std::string logOfStart;
    pid_t process = -1;
    int log = -1;
};

#endif

#ifndef TESTS_SUPPORT_PRIVATEBUS_H
#define TESTS_SUPPORT_PRIVATEBUS_H

#include <string>
#include <sys/types.h>

/**
 * A dbus-daemon of the test's own, and for as long as it lives the system bus
 * of this process. It dies with the test, however that ends.
 */
class PrivateBus
{
public:
    enum class Services
    {
        NONE,
        REAL ///< the Translator service of this build, with patience, starts at its first call
    };

    explicit PrivateBus(Services services = Services::NONE);
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /** Where the bus listens; known only once it does. */
    const std::string& address() const { return busAddress; }

    /** Ends the daemon with that signal and waits until it is gone. */
    void kill(int signal);

    /** Keeps the daemon from running, or lets it run again. */
    void stop();
    void resume();

private:
    pid_t daemon = -1;
    std::string busAddress;
};

#endif

#ifndef TESTS_FAULT_FAULTYBINDING_H
#define TESTS_FAULT_FAULTYBINDING_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/**
 * The D-Bus binding, with faults where the test wants them. This program
 * defines sdbus::createProxy() itself: proxies are real, and wrapped so that
 * each operation can be made to throw. One at a time.
 *
 * The operations are "createProxy", "finishRegistration", "unregister",
 * "getConnection", "createMethodCall" and "callMethod".
 */
class FaultyBinding
{
public:
    FaultyBinding();
    ~FaultyBinding();
    FaultyBinding(const FaultyBinding&) = delete;
    FaultyBinding& operator=(const FaultyBinding&) = delete;

    /** From now on the operation runs this first; an empty fault heals it. */
    void on(const std::string& operation, std::function<void()> fault);

    /** What happened to proxies: "create", "finish", "connection", "unregister", "destroy". */
    std::vector<std::string> events;

    /** The time-outs that calls were made with. */
    std::vector<uint64_t> timeouts;

    /** For the wrapped proxies. */
    void meet(const std::string& operation) const;

private:
    std::map<std::string, std::function<void()>> faults;
};

#endif

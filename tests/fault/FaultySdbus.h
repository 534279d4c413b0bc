#ifndef TESTS_FAULT_FAULTYSDBUS_H
#define TESTS_FAULT_FAULTYSDBUS_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/**
 * sdbus-c++, with faults where the test wants them. This program defines the
 * sdbus::createProxy() that the library calls: proxies are real, and wrapped so
 * that each operation can be made to throw. One at a time.
 *
 * The operations are "createProxy", "finishRegistration" (which sdbus-c++ 2 does
 * not have), "unregister", "getConnection", "createMethodCall" and "callMethod".
 */
class FaultySdbus
{
public:
    FaultySdbus();
    ~FaultySdbus();
    FaultySdbus(const FaultySdbus&) = delete;
    FaultySdbus& operator=(const FaultySdbus&) = delete;

    /** From now on the operation runs this first; an empty fault heals it. */
    void on(const std::string& operation, std::function<void()> fault);

    /** What happened to proxies: "create", "finish", "connection", "unregister", "destroy". */
    std::vector<std::string> events;

    /** The time-outs that calls were made with. */
    std::vector<uint64_t> timeouts;

    /** For the wrapped proxies; without effect where no test asks for faults. */
    static void meet(const char* operation);
    static void note(const char* event);
    static void noteTimeout(uint64_t timeout);

private:
    std::map<std::string, std::function<void()>, std::less<>> faults;
};

#endif

#ifndef TESTS_SUPPORT_BUSMONITOR_H
#define TESTS_SUPPORT_BUSMONITOR_H

#include <cstddef>
#include <string>
#include <systemd/sd-bus.h>

/** Sees every method call on a bus that others make. */
class BusMonitor
{
public:
    explicit BusMonitor(const std::string& busAddress);
    ~BusMonitor();
    BusMonitor(const BusMonitor&) = delete;
    BusMonitor& operator=(const BusMonitor&) = delete;

    /** The calls of that method that came before the next one of the other; waits for that. */
    std::size_t countUntil(const std::string& method, const std::string& last);

private:
    sd_bus* bus = nullptr;
};

#endif

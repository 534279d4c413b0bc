#include "BusMonitor.h"

#include "Require.h"

#include <cstdint>

BusMonitor::BusMonitor(const std::string& busAddress)
{
    require(sd_bus_new(&bus), "sd_bus_new");
    require(sd_bus_set_address(bus, busAddress.c_str()), "set_address");
    require(sd_bus_set_bus_client(bus, 1), "set_bus_client");
    require(sd_bus_set_monitor(bus, 1), "set_monitor");
    require(sd_bus_start(bus), "start");
    require(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                               "org.freedesktop.DBus.Monitoring", "BecomeMonitor", nullptr, nullptr,
                               "asu", 1, "type='method_call'", 0),
            "BecomeMonitor");
}

BusMonitor::~BusMonitor()
{
    sd_bus_close_unref(bus);
}

std::size_t BusMonitor::countUntil(const std::string& method, const std::string& last)
{
    for (std::size_t count = 0;;) {
        sd_bus_message* message = nullptr;
        if (require(sd_bus_process(bus, &message), "process") == 0)
            require(sd_bus_wait(bus, UINT64_MAX), "wait");
        if (message == nullptr)
            continue;
        const char* member = sd_bus_message_get_member(message);
        const std::string called = member == nullptr ? "" : member;
        sd_bus_message_unref(message);
        if (called == last)
            return count;
        count += called == method ? 1 : 0;
    }
}

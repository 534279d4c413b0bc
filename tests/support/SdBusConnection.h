#ifndef TESTS_SUPPORT_SDBUSCONNECTION_H
#define TESTS_SUPPORT_SDBUSCONNECTION_H

#include "Require.h"

#include <string>
#include <systemd/sd-bus.h>

/** A new connection to a bus, as a client. Whoever opens it ends it. */
inline sd_bus* connectTo(const std::string& busAddress)
{
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus), "sd_bus_new");
    require(sd_bus_set_address(bus, busAddress.c_str()), "set_address");
    require(sd_bus_set_bus_client(bus, 1), "set_bus_client");
    require(sd_bus_start(bus), "start");
    return bus;
}

#endif

#ifndef TESTS_SUPPORT_GDBUS_H
#define TESTS_SUPPORT_GDBUS_H

#include "Command.h"

#include <string>
#include <vector>

/** One method, called by a client that shares no code with the library or the service. */
inline Outcome gdbusCall(const std::string& method, const std::vector<std::string>& arguments = {})
{
    Command gdbus{{"gdbus", "call", "--system", "--dest", TEST_BUS_NAME, "--object-path",
                   "/translator", "--method", "braille.translator." + method}};
    gdbus.words.insert(gdbus.words.end(), arguments.begin(), arguments.end());
    return gdbus.run();
}

#endif

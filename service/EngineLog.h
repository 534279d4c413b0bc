#ifndef SERVICE_ENGINELOG_H
#define SERVICE_ENGINELOG_H

#include <string>
#include <vector>

/**
 * The engine's own words. From construction of the first Engine on they go here
 * instead of to the process's stderr; what it says before it ends the process
 * itself goes there as well, since nobody will ask for it.
 */
namespace engine_log {

void start();

/** The first error since takeErrors(); empty if there is none. */
std::string firstError();

/** All errors since the last call, oldest first. */
std::vector<std::string> takeErrors();

} // namespace engine_log

#endif

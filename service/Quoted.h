#ifndef SERVICE_QUOTED_H
#define SERVICE_QUOTED_H

#include <string>

/**
 * A string that somebody sent (UTF-8), in quotes for a message: on one line,
 * and with "..." for what is too long to be of use.
 */
std::string quoted(std::string text);

#endif

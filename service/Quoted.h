#ifndef SERVICE_QUOTED_H
#define SERVICE_QUOTED_H

#include <string>

/**
 * A string that somebody sent (UTF-8), in quotes for a message: on one line,
 * and with "..." for what is too long to be of use.
 */
std::string quoted(std::string text);

/** The text without what is no UTF-8 in it, which the bus would not carry. */
std::string validUtf8(const std::string& text);

#endif

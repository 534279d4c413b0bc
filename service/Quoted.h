#ifndef SERVICE_QUOTED_H
#define SERVICE_QUOTED_H

#include <string>
#include <vector>

/**
 * A string that somebody sent (UTF-8), in quotes for a message: on one line,
 * and with "..." for what is too long to be of use.
 */
std::string quoted(std::string text);

/** The names with commas, or that separator, between them. */
std::string joined(const std::vector<std::string>& names, const std::string& separator = ", ");

/** The text without what is no UTF-8 in it, which the bus would not carry. */
std::string validUtf8(const std::string& text);

#endif

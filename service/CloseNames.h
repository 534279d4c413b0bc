#ifndef SERVICE_CLOSENAMES_H
#define SERVICE_CLOSENAMES_H

#include <string>
#include <vector>

/** A name, and what else somebody may call the same. */
struct Named
{
    std::string name;
    std::vector<std::string> otherwise = {};
};

/** Of these, the names that somebody may have meant who asked for that: the closest, at most three.
 */
std::vector<std::string> closeNames(const std::string& asked, const std::vector<Named>& all);

#endif

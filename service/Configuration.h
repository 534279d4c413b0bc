#ifndef SERVICE_CONFIGURATION_H
#define SERVICE_CONFIGURATION_H

#include <service/Catalogue.h>
#include <service/Profiles.h>
#include <service/WorkerPool.h>

#include <stdexcept>
#include <string>
#include <vector>

/** What the configuration file says. */
struct Configuration
{
    Profiles profiles;
    /** The name of the profile to start with; one of them, offered or not. */
    std::string defaultProfile;
    PoolLimits limits;
};

/** The text is one line: the file, the line in it, what is wrong and what to do. */
struct ConfigurationError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

/**
 * Reads a TOML file. Every profile in it must have its language and name one or
 * several translators for each of its four roles. The first of them that is in the
 * catalogue gets the role. A role that none gets leaves its profile not offered. With an empty
 * catalogue the first named gets it, because then the service has worse to report.
 * Throws ConfigurationError.
 */
Configuration readConfiguration(const std::string& file, const Catalogue& catalogue);

/** For each profile that is not offered a line: the file, the line in it, why, and what to do. */
std::vector<std::string> warningsOf(const Profiles& profiles);

/**
 * Whether a translator of the catalogue translates back: if its table is made for
 * that, or if a profile has it for entry all the same, and so vouches for it.
 */
bool translatesBack(const Translator& translator, const Catalogue& catalogue,
                    const Profiles& profiles);

#endif

#ifndef SERVICE_INSPECTION_H
#define SERVICE_INSPECTION_H

#include <service/Catalogue.h>
#include <service/Configuration.h>

#include <string>

/** Prints a table of the translators, which are those that translate back with these profiles. */
void listTranslators(const Catalogue& catalogue, const Profiles& profiles);

/** Prints a table of the profiles that are offered, if there are any. */
void listProfiles(const Catalogue& catalogue, const Configuration& configuration);

/**
 * Has the engine read every table, and prints those that it cannot read, the
 * profiles that use them, and the roles that no installed table fills. Returns
 * the exit status: 1 if there are such tables or roles.
 */
int check(const Catalogue& catalogue, const Configuration& configuration,
          const std::string& engineProgram);

#endif

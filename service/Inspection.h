#ifndef SERVICE_INSPECTION_H
#define SERVICE_INSPECTION_H

#include <service/Catalogue.h>
#include <service/Configuration.h>

#include <string>

/** Prints a table of the translators and one of the profiles. Returns the exit status. */
int list(const Catalogue& catalogue, const Configuration& configuration);

/**
 * Has the engine read every table, and prints those that it cannot read and the
 * profiles that use them. Returns the exit status: 1 if something is broken.
 */
int check(const Catalogue& catalogue, const Configuration& configuration,
          const std::string& engineProgram);

#endif

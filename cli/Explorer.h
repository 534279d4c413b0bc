#ifndef CLI_EXPLORER_H
#define CLI_EXPLORER_H

#include "Options.h"

/**
 * Shows a text and its braille on the whole terminal until the user has enough.
 * Throws Complaint if there is no terminal, or no such file.
 */
Status explore(const Options& options);

#endif

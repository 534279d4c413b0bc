#ifndef CLI_FAILUREREPORT_H
#define CLI_FAILUREREPORT_H

#include "Complaint.h"

#include <string_view>

/** What to tell about an error text of sdbus-c++, "[name] message". */
Complaint complaintOf(std::string_view errorText);

/**
 * The library reports failures to its host's log and returns neutral values.
 * This program is that host: it keeps the first record, to tell a person.
 * Throws what there is to tell if a call of this thread has failed since it was
 * last asked.
 */
void throwIfACallHasFailed();

#endif

#ifndef CLI_GROUPS_H
#define CLI_GROUPS_H

#include "Range.h"

#include <vector>

class BrlTranslationResult;

/** Positions of the source text, and those of the translation that they have become. */
struct Group
{
    Range source;
    Range translation;
};

/**
 * The smallest parts of a result that belong together, in order and without
 * gaps: no part of the source begins within the cells of an earlier one,
 * whatever the map looks like. Fills the map, so that calls may fail.
 */
std::vector<Group> groupsOf(BrlTranslationResult& result);

/** The group that has that position of the source, or the last; there is one. */
const Group& groupAt(const std::vector<Group>& groups, std::size_t sourcePosition);

#endif

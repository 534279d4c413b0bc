#ifndef TESTS_SERVICE_MAPAUDIT_H
#define TESTS_SERVICE_MAPAUDIT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/**
 * What is wrong with a position map, in words; empty if it is well formed: one
 * entry for each position of the text and one for its end, none negative, none
 * below the one before it, and the last at the end of the output.
 */
inline std::string mapFaults(const std::vector<int32_t>& map, std::size_t textLength,
                             std::size_t outputLength)
{
    if (map.size() != textLength + 1)
        return "there are " + std::to_string(map.size()) + " entries for " +
               std::to_string(textLength) + " positions and the end";
    int32_t before = 0;
    for (std::size_t position = 0; position < map.size(); ++position) {
        if (map[position] < before)
            return "entry " + std::to_string(position) + " is " + std::to_string(map[position]) +
                   ", below " + std::to_string(before);
        before = map[position];
    }
    if (static_cast<std::size_t>(before) != outputLength)
        return "the last entry is " + std::to_string(before) + ", the output's length " +
               std::to_string(outputLength);
    return {};
}

#endif

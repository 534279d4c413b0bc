#include <service/LazyMap.h>

#include <cstddef>

std::vector<bool> hideMap(std::vector<int32_t>& positions, int32_t cursor)
{
    std::vector<bool> known(positions.size());
    known.front() = true;
    known.back() = true;
    if (cursor >= 0 && static_cast<std::size_t>(cursor) < known.size())
        known[static_cast<std::size_t>(cursor)] = true;
    for (std::size_t position = 0; position < positions.size(); ++position) {
        if (!known[position])
            positions[position] = INT32_MIN + static_cast<int32_t>(position);
    }
    return known;
}

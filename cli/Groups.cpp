#include "Groups.h"

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <algorithm>

namespace {

/** Where each position of the source is, and the end; never beyond the translation's. */
std::vector<std::size_t> translatedPositions(BrlTranslationResult& result, std::size_t sourceLength,
                                             std::size_t translatedLength)
{
    std::vector<std::size_t> positions;
    positions.reserve(sourceLength + 1);
    for (std::size_t position = 0; position < sourceLength; ++position) {
        const int translated = result.getTranslatedPositionW(static_cast<int>(position));
        positions.push_back(
            std::min(static_cast<std::size_t>(std::max(translated, 0)), translatedLength));
    }
    positions.push_back(translatedLength);
    return positions;
}

} // namespace

std::vector<Group> groupsOf(BrlTranslationResult& result)
{
    const std::size_t sourceLength = result.getUntranslatedW().size();
    const std::size_t translatedLength = result.getTranslatedW().size();
    if (sourceLength == 0 && translatedLength == 0)
        return {};
    const auto positions = translatedPositions(result, sourceLength, translatedLength);
    // From here on, nothing is further to the left than this.
    std::vector<std::size_t> lowest = positions;
    for (std::size_t position = sourceLength; position > 0; --position)
        lowest[position - 1] = std::min(lowest[position - 1], lowest[position]);
    std::vector<Group> groups = {{{0, sourceLength}, {0, translatedLength}}};
    std::size_t furthest = positions.front();
    for (std::size_t position = 1; position < sourceLength; ++position) {
        if (furthest < lowest[position]) {
            groups.back().source.end = position;
            groups.back().translation.end = lowest[position];
            groups.push_back({{position, sourceLength}, {lowest[position], translatedLength}});
        }
        furthest = std::max(furthest, positions[position]);
    }
    return groups;
}

const Group& groupAt(const std::vector<Group>& groups, std::size_t sourcePosition)
{
    const auto isBehind = [](std::size_t position, const Group& group) {
        return position < group.source.end;
    };
    const auto found = std::upper_bound(groups.begin(), groups.end(), sourcePosition, isBehind);
    return found == groups.end() ? groups.back() : *found;
}

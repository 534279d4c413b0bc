/** A result as text for people and programs. Each view is whole lines. */
#ifndef CLI_VIEWS_H
#define CLI_VIEWS_H

#include <cstddef>
#include <optional>
#include <string>

class BrlTranslationResult;

/** What all views of one run have in common. */
struct ViewOptions
{
    std::optional<int> cursor = {};        ///< a position in the source text
    std::size_t explained = 0;             ///< a position in the source text
    std::optional<std::size_t> width = {}; ///< of the braille display, in cells
    bool areApart = false;                 ///< one line's view has several, and needs a gap
    bool asDots = false;                   ///< cells as numbers of dots, not as patterns
    std::size_t terminalColumns = 80;
};

/** All views fill as much of the position map as they need, so that calls may fail. */
using View = std::string (*)(BrlTranslationResult& result, const ViewOptions& options);

/** The translation alone, with the cursor if that is wanted. */
std::string plainView(BrlTranslationResult& result, const ViewOptions& options);

/** The braille in lines of a display, each behind the range of the source that it shows. */
std::string displayView(BrlTranslationResult& result, const ViewOptions& options);

/** Source and translation under each other, a column for each group. */
std::string mapView(BrlTranslationResult& result, const ViewOptions& options);

/** One position in words; throws Complaint if the source is not that long. */
std::string explainView(BrlTranslationResult& result, const ViewOptions& options);

/** Both texts and the numbers of the position map. */
std::string positionsView(BrlTranslationResult& result, const ViewOptions& options);

/** The library's own diagnostic text. */
std::string dumpView(BrlTranslationResult& result, const ViewOptions& options);

/** One JSON object on one line. */
std::string jsonView(BrlTranslationResult& result, const ViewOptions& options);

#endif

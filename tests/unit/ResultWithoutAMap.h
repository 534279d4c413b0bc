#ifndef TESTS_UNIT_RESULTWITHOUTAMAP_H
#define TESTS_UNIT_RESULTWITHOUTAMAP_H

#include <libBrailleTranslate/BrlTranslationResult.h>

#include <utility>

/** No constructor leaves the map empty; only a result that was moved from has none. */
inline BrlTranslationResult resultWithoutAMap()
{
    BrlTranslationResult result(nullptr, BrlTranslationResult::FORWARD, L"ab", L"xyz");
    const BrlTranslationResult taken = std::move(result);
    return result; // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
}

#endif

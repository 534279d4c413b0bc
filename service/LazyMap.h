#ifndef SERVICE_LAZYMAP_H
#define SERVICE_LAZYMAP_H

#include <cstdint>
#include <vector>

/**
 * For tests of clients: makes of a complete position map one that is known only
 * at its start, at the cursor and at its end, with nonsense in between. Returns
 * the flags of what is known. Any cursor is accepted.
 */
std::vector<bool> hideMap(std::vector<int32_t>& positions, int32_t cursor);

#endif

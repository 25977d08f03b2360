// What an index over a list has to know beside the list's operations.
#ifndef SPRIG_POSIX_LIST_H
#define SPRIG_POSIX_LIST_H

#include <cstdint>

#include <sprig/pal.h>

namespace sprig {

// A number that changes whenever an element is added to a list or removed from it, and that no two
// lists share. As long as it stands, every descriptor names what it named before.
uint64_t stateOf(PalList1 list);

} // namespace sprig

#endif

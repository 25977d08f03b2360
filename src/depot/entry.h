// The life of a record in memory.
#ifndef SPRIG_DEPOT_ENTRY_H
#define SPRIG_DEPOT_ENTRY_H

#include <sprig/depot.h>

namespace sprig {

// Releases a record that is in no list any more, whether or not its lock can be had: nobody else
// would. Returns what DepotFreeEntry_internal() did.
PalError releaseEntry(Depot *depot, DepotEntry *entry);

} // namespace sprig

#endif

// Whose files an entry's paths lead to.
#ifndef SPRIG_DEPOT_OWNERSHIP_H
#define SPRIG_DEPOT_OWNERSHIP_H

#include <sprig/depot.h>

namespace sprig {

// Whether the files of a loaded entry have become another one's: somebody removed the entry, and
// its index was given away again. Such a record is a memory, and must not touch what is there now.
// (One that is in no list, or whose pair its user has changed, is its user's business.)
bool isTakenOver(Depot &depot, const DepotEntry &entry);

} // namespace sprig

#endif

// Walks over the entries on disk.
#ifndef SPRIG_DEPOT_ENUMERATE_H
#define SPRIG_DEPOT_ENUMERATE_H

#include <sprig/depot.h>

namespace sprig {

// Ends a walk that nobody else will end, whether or not its lock can be had. Returns what
// DepotEntryEnumDelete() did.
PalError endEnumeration(DepotEnum *enumerator);

// Calls `visit` with the record of every entry on disk, until it says false. Returns what
// DepotEnumNew() did; without an enumeration nothing else has happened. `ended` receives what
// DepotEntryEnumDelete() did.
template <typename Visit>
PalError visitEntriesOnDisk(Depot *depot, Visit visit, PalError *ended = nullptr) {
  DepotEnum *enumerator = nullptr;
  const PalError created = DepotEnumNew(depot, &enumerator);
  if (created.palError != PAL_OK) {
    return created;
  }
  DepotEntry *entry = DepotEntryEnumNextElement(enumerator);
  while (entry != nullptr && visit(entry)) {
    entry = DepotEntryEnumNextElement(enumerator);
  }
  const PalError deleted = endEnumeration(enumerator);
  if (ended != nullptr) {
    *ended = deleted;
  }
  return created;
}

} // namespace sprig

#endif

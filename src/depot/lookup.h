// Looking up an entry for whoever adds it where it is missing.
#ifndef SPRIG_DEPOT_LOOKUP_H
#define SPRIG_DEPOT_LOOKUP_H

#include <sprig/depot.h>

namespace sprig {

// What a lookup is asked for beside the entry.
struct LookupWishes {
  PalList1 *indexList = nullptr;  // see DepotGetEntry_internal()
  int32_t *unusedIndex = nullptr; // receives the smallest index that no TOC file of the bucket has;
                                  // not touched when the entry was loaded
};

// DepotGetEntry_internal().
DepotEntry *lookUp(Depot *depot, const char *id, const char *version, const LookupWishes &wishes);

} // namespace sprig

#endif

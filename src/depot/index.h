// What a handle knows beyond its public members. Allocated with the handle, as one block: that
// there is a handle means that there is this.
#ifndef SPRIG_DEPOT_INDEX_H
#define SPRIG_DEPOT_INDEX_H

#include "depot/loaded_entries.h"
#include "depot/toc_names.h"
#include "posix/directory_lock.h"

struct DepotIndex {
  sprig::DirectoryLock directoryLock;
  sprig::LoadedEntries loaded;
  sprig::TocNames names;
};

#endif

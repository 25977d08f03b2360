// Writing an entry's TOC file.
#ifndef SPRIG_DEPOT_SAVE_H
#define SPRIG_DEPOT_SAVE_H

#include <optional>

#include <sprig/depot.h>

#include "posix/file.h"

namespace sprig {

// The first DepotSaveEntry() of an entry, for which its TOC file must not exist yet: {-4, EEXIST,
// _} where it does. A file that it made but could not write goes again. `made` receives which file
// it is, where the system can tell.
PalError saveNewEntry(Depot *depot, DepotEntry *entry, std::optional<FileIdentity> *made);

} // namespace sprig

#endif

#include "depot/entry.h"

#include "depot/loaded_entries.h"
#include "depot/operation.h"

using namespace sprig;

namespace {

void destroyStrings(DepotEntry *entry) {
  for (char *string : {entry->id, entry->version, entry->toc_path, entry->location}) {
    PalMemoryFree(string);
  }
}

void destroy(DepotEntry *entry) {
  destroyStrings(entry);
  PalMemoryFree(entry->properties);
  PalMemoryFree(entry);
}

} // namespace

DepotEntry *DepotEntryNew() {
  static constexpr OperationName name("DepotEntryNew");
  const Operation operation(name, true);
  return static_cast<DepotEntry *>(PalMemoryCalloc(1, sizeof(DepotEntry)));
}

PalError DepotFreeEntry_internal(Depot *depot, DepotEntry *entry) {
  static constexpr OperationName name("DepotFreeEntry_internal");
  const Operation operation(name, entry != nullptr, depot, &Depot::entryLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  destroy(entry);
  return success;
}

PalError DepotEntryFree(Depot *depot, DepotEntry *entry) {
  static constexpr OperationName name("DepotEntryFree");
  const Operation operation(name, entry != nullptr, depot, &Depot::entryLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  removeLoaded(*depot, *entry);
  destroyStrings(entry);
  PalMemoryFree(entry);
  return success;
}

PalError sprig::releaseEntry(Depot *depot, DepotEntry *entry) {
  const PalError released = DepotFreeEntry_internal(depot, entry);
  if (released.palError != PAL_OK) {
    destroy(entry);
  }
  return released;
}

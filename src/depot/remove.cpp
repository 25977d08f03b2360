#include <cerrno>
#include <limits>

#include "depot/entry.h"
#include "depot/loaded_entries.h"
#include "depot/log.h"
#include "depot/operation.h"
#include "depot/ownership.h"
#include "posix/file.h"

using namespace sprig;

namespace {

// Removes a file, and logs where that fails. One that is gone already is as good as removed.
PalError removeFile(const char *path) {
  if (path == nullptr) {
    return success;
  }
  const PalError removed = PalFileRemove(path);
  const bool wasGone = removed.nativeError == ENOENT || removed.nativeError == ENOTDIR;
  if (removed.palError == PAL_OK || wasGone) {
    return success;
  }
  Logger(workaroundLevel, "DepotRemoveEntry_internal exit.  Error %d removing file %s\n",
         removed.palError, path);
  return removed;
}

bool exists(const char *path) {
  uint64_t size = 0;
  return path != nullptr && sizeOfFile(path, &size).palError == PAL_OK;
}

// The TOC file stays as long as there are data, so that the entry can be found.
PalError removeFiles(const DepotEntry &entry) {
  const PalError removed = removeFile(entry.location);
  return exists(entry.location) ? removed : removeFile(entry.toc_path);
}

} // namespace

PalError DepotUnregisterEntry(Depot *depot, DepotEntry *entry, int force) {
  static constexpr OperationName name("DepotUnregisterEntry");
  constexpr LockTexts depotTexts{"DepotUnregisterEntry exit.  Error %d obtaining depot lock\n",
                                 nullptr, "DepotUnregisterEntry error %d releasing depot lock\n"};
  constexpr LockTexts entryTexts{nullptr, nullptr,
                                 "DepotUnregisterEntry error %d releasing entry lock\n"};
  Operation operation(name, entry != nullptr, depot, &Depot::depotLock, depotTexts);
  if (!operation) {
    return operation.failure();
  }
  HeldLock entryLock(*depot, depot->entryLock, entryTexts);
  if (!entryLock) {
    return operation.endWith(entryLock.waited(),
                             "DepotUnregisterEntry exit.  Error %d obtaining entry lock\n");
  }
  if (entry->reference_count > std::numeric_limits<int32_t>::min()) {
    --entry->reference_count;
  }
  entryLock.release();
  if (entry->reference_count == 0) {
    return DepotRemoveEntry_internal(depot, entry, force);
  }
  const PalError changed = DepotEntryChangeState(depot, entry, DEPOT_ENTRY_COMPLETE);
  removeLoaded(*depot, *entry);
  const PalError released = releaseEntry(depot, entry);
  return changed.palError != PAL_OK ? changed : released;
}

PalError DepotRemoveEntry_internal(Depot *depot, DepotEntry *entry, int force) {
  static constexpr OperationName name("DepotRemoveEntry_internal");
  Operation operation(name, entry != nullptr, depot, &Depot::entryLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  const bool isRemoved = entry->reference_count <= 0 || force != 0;
  // Files that have become another entry's are no longer there to remove.
  const bool hasFiles = isRemoved && !isTakenOver(*depot, *entry);
  removeLoaded(*depot, *entry);
  const PalError removed = hasFiles ? removeFiles(*entry) : success;
  operation.unlock();
  releaseEntry(depot, entry);
  return removed;
}

PalError DepotRemoveEntry(Depot *depot, DepotEntry *entry, int force) {
  static constexpr OperationName name("DepotRemoveEntry");
  const Operation operation(name, entry != nullptr, depot, &Depot::depotLock, name.needed());
  return operation ? DepotRemoveEntry_internal(depot, entry, force) : operation.failure();
}

PalError DepotFreeEntry(Depot *depot, DepotEntry *entry) {
  static constexpr OperationName name("DepotFreeEntry");
  constexpr LockTexts texts{name.refused.text, "DepotFree continue. Ignore WAIT_TIMEOUT\n",
                            name.unreleased.text};
  const Operation operation(name, entry != nullptr, depot, &Depot::depotLock, texts);
  if (!operation) {
    return operation.failure();
  }
  DepotFindEntryIndex(depot, entry->id, entry->version);
  removeLoaded(*depot, *entry); // that very record, which need not be the newest of its pair
  return releaseEntry(depot, entry);
}

#include <ctime>

#include "depot/entry.h"
#include "depot/enumerate.h"
#include "depot/loaded_entries.h"
#include "depot/log.h"
#include "depot/operation.h"

using namespace sprig;

namespace {

bool isExpired(const DepotEntry &entry) {
  const auto now = static_cast<uint32_t>(time(nullptr));
  return entry.state == DEPOT_ENTRY_COMPLETE && static_cast<uint32_t>(entry.deadline) < now;
}

PalError removeExpired(Depot *depot, DepotEntry *entry) {
  const PalError removed = DepotRemoveEntry_internal(depot, entry, 1);
  if (removed.palError != PAL_OK) {
    Logger(workaroundLevel, "DepotPurgeExpiredEntries error %d removing depot entry\n",
           removed.palError);
  }
  return removed;
}

PalError forget(Depot *depot, DepotEntry *entry) {
  DepotFindEntryIndex(depot, entry->id, entry->version);
  removeLoaded(*depot, *entry);
  return releaseEntry(depot, entry);
}

// Removes a record's entry if its time is over, and the record in any case. A record whose lock
// cannot be had stays as it is.
PalError purgeIfExpired(Depot *depot, DepotEntry *entry) {
  constexpr LockTexts texts{"DepotPurgeExpiredEntries error %d(%d) obtaining lock\n", nullptr,
                            "DepotPurgeExpiredEntries error %d releasing lock\n", workaroundLevel};
  HeldLock lock(*depot, depot->entryLock, texts);
  if (!lock) {
    return lock.waited();
  }
  const bool isOver = isExpired(*entry);
  lock.release();
  return isOver ? removeExpired(depot, entry) : forget(depot, entry);
}

} // namespace

PalError DepotPurgeExpiredEntries(Depot *depot) {
  static constexpr OperationName name("DepotPurgeExpiredEntries");
  constexpr LockTexts texts{name.refused.text,
                            "DepotPurgeExpiredEntries entry continue. Ignore WAIT_TIMEOUT\n",
                            "DepotPurgeExpiredEntris error %d releasing lock\n"};
  Operation operation(name, true, depot, &Depot::depotLock, texts);
  if (!operation) {
    return operation.failure();
  }
  PalError result = operation.lock().waited();
  const PalError created = visitEntriesOnDisk(depot, [&](DepotEntry *entry) {
    const PalError purged = purgeIfExpired(depot, entry);
    result = purged.palError != PAL_OK ? purged : result;
    return true;
  });
  return created.palError == PAL_OK
             ? result
             : operation.endWith(created,
                                 "DepotPurgeExpiredEntries exit.  Error %d creating enumerator\n");
}

PalError DepotPurge(Depot *depot, int force) {
  static constexpr OperationName name("DepotPurge");
  Operation operation(name, true, depot, &Depot::depotLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  PalError removed = success;
  const PalError created = visitEntriesOnDisk(depot, [&](DepotEntry *entry) {
    removed = DepotRemoveEntry_internal(depot, entry, force);
    if (removed.palError != PAL_OK) {
      Logger(workaroundLevel, "DepotPurge error %d removing depot entry\n", removed.palError);
    }
    return true;
  });
  return created.palError == PAL_OK
             ? removed
             : operation.endWith(created, "DepotPurge exit.  Error %d creating enumerator\n");
}

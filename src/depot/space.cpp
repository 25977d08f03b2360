#include <cstring>

#include "depot/enumerate.h"
#include "depot/log.h"
#include "depot/operation.h"
#include "posix/file.h"

using namespace sprig;

namespace {

// Takes the data file's size over into the record.
PalError recordSize(DepotEntry &entry, uint64_t &size) {
  const PalError told = sizeOfFile(entry.location, &size);
  if (told.palError == PAL_OK) {
    entry.size = size;
  }
  return told;
}

bool liesIn(const char *directory, const DepotEntry &entry) {
  return directory != nullptr && strncmp(entry.location, directory, strlen(directory)) == 0;
}

// Adds an entry that lies in the depot's directory to a sum.
PalError addSize(Depot *depot, DepotEntry *entry, uint32_t &total) {
  if (!liesIn(depot->directory, *entry)) {
    return success;
  }
  uint64_t size = 0;
  const PalError told = DepotEntryGetFileSize(depot, entry, &size);
  if (told.palError == PAL_OK) {
    total += ConvertDataSize(size);
  } else {
    Logger(failureLevel, "DepotGetPermStorage error %d obtaining file size\n", told.palError);
  }
  return told;
}

} // namespace

uint32_t ConvertDataSize(uint64_t size) {
  static constexpr OperationName name("ConvertDataSize");
  const Operation operation(name, true);
  constexpr int shift = 10;
  constexpr uint64_t rest = (uint64_t{1} << shift) - 1;
  return static_cast<uint32_t>((size >> shift) + ((size & rest) != 0 ? 1 : 0));
}

PalError DepotReserveDiskSpace(Depot *handle, uint32_t kilobytes) {
  static constexpr OperationName name("DepotReserveDiskSpace");
  const Operation operation(name, true, handle, &Depot::depotLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  if (handle->maxSpace == 0) {
    return success;
  }
  if (handle->availableSpace < kilobytes) {
    return {PAL_NO_DEPOT_SPACE, 0, 0};
  }
  handle->availableSpace -= kilobytes;
  return success;
}

void DepotUnreserveDiskSpace(Depot *handle, int32_t kilobytes) {
  static constexpr OperationName name("DepotUnreserveDiskSpace");
  const Operation operation(name, true, handle, &Depot::depotLock, name.needed());
  if (operation && handle->maxSpace != 0) {
    handle->availableSpace += static_cast<uint32_t>(kilobytes);
  }
}

PalError DepotAdjustReservedSpace(Depot *handle, const char *id, const char *version) {
  static constexpr OperationName name("DepotAdjustReservedSpace");
  const Operation operation(name, handle != nullptr && id != nullptr && version != nullptr);
  if (!operation) {
    return operation.failure();
  }
  const DepotEntry *entry = DepotGetEntry(handle, id, version);
  if (entry == nullptr) {
    Logger(noticeLevel, "DepotAdjustReservedSpace unable to find depot entry %s^%s\n", id, version);
    return success;
  }
  uint64_t size = 0;
  const PalError told = sizeOfFile(entry->location, &size);
  if (told.palError == PAL_OK) {
    // Both may be the larger one: the difference wraps, and so does what is given back.
    DepotUnreserveDiskSpace(handle, static_cast<int32_t>(ConvertDataSize(entry->size - size)));
  }
  return told;
}

PalError DepotEntryGetFileSize(Depot *handle, DepotEntry *entry, uint64_t *size) {
  static constexpr OperationName name("DepotEntryGetFileSize");
  const Operation operation(name, entry != nullptr && size != nullptr, handle, &Depot::entryLock,
                            name.needed());
  return operation ? recordSize(*entry, *size) : operation.failure();
}

PalError DepotSetSegmentSize(Depot *handle, DepotEntry *entry) {
  static constexpr OperationName name("DepotSetSegmentSize");
  const Operation operation(name, entry != nullptr, handle, &Depot::entryLock, name.needed());
  uint64_t size = 0;
  return operation ? recordSize(*entry, size) : operation.failure();
}

PalError DepotSetCheckpointOffset(Depot *depot, const char *id, const char *version, int32_t time,
                                  uint64_t *offsetOut) {
  static constexpr OperationName name("DepotSetCheckpointOffset");
  Operation operation(name, depot != nullptr && id != nullptr && version != nullptr &&
                                offsetOut != nullptr);
  if (!operation) {
    return operation.failure();
  }
  DepotEntry *entry = DepotGetEntry(depot, id, version);
  if (entry == nullptr) {
    return {PAL_NOT_FOUND, 0, 0};
  }
  if (!operation.hold(*depot, depot->entryLock, name.needed())) {
    return operation.failure();
  }
  const bool isUnchanged = entry->modify_time == time;
  operation.unlock();
  return isUnchanged ? DepotEntryGetFileSize(depot, entry, offsetOut) : success;
}

PalError DepotGetPermStorage(Depot *handle, uint32_t *total) {
  static constexpr OperationName name("DepotGetPermStorage");
  Operation operation(name, total != nullptr, handle, &Depot::depotLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  PalError added = success;
  PalError ended = success;
  const PalError created = visitEntriesOnDisk(
      handle,
      [&](DepotEntry *entry) {
        added = addSize(handle, entry, *total);
        return added.palError == PAL_OK;
      },
      &ended);
  if (created.palError != PAL_OK) {
    return operation.endWith(created, "DepotGetPermStorage exit.  Error %d creating enumerator\n");
  }
  if (ended.palError != PAL_OK) {
    Logger(workaroundLevel, "DepotGetPermStorage error %d freeing enumerator\n", ended.palError);
  }
  return added;
}

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <limits>

#include "depot/log.h"
#include "depot/operation.h"
#include "depot/ownership.h"

using namespace sprig;

namespace {

// A bit that the opens of data files have always carried. The file layer ignores it.
constexpr uint32_t dataFile = 0x8000;

int32_t now() { return static_cast<int32_t>(time(nullptr)); }

// What is particular to one way of opening a data file.
struct Opening {
  uint32_t flags;
  const char *failed;  // to open, which ends the operation
  const char *unsaved; // the count of the open
};

PalError openFile(Depot &depot, const DepotEntry &entry, PalFileHandle *file, uint32_t flags) {
  constexpr PalError gone{PAL_SYSTEM_CALL_FAILED, ENOENT, 3};
  return isTakenOver(depot, entry) ? gone : PalFileOpen(file, entry.location, flags);
}

// Opens the data file, counts that through `count`, and saves the entry. A failed save is not
// reported: the file is open.
template <typename Count>
PalError openData(Operation &operation, Depot *depot, DepotEntry *entry, PalFileHandle *fileOut,
                  const Opening &opening, Count count) {
  if (fileOut != nullptr) {
    *fileOut = {};
  }
  if (!operation) {
    return operation.failure();
  }
  const PalError opened = openFile(*depot, *entry, fileOut, opening.flags);
  if (opened.palError != PAL_OK) {
    PalFileClose(*fileOut);
    *fileOut = {};
    return operation.endWith(opened, opening.failed);
  }
  ++entry->open_count;
  count();
  const PalError saved = DepotSaveEntry_internal(depot, entry);
  if (saved.palError != PAL_OK) {
    logFormat(workaroundLevel, opening.unsaved, saved.palError);
  }
  return opened;
}

} // namespace

PalError DepotFileOpenForWrite(Depot *depot, DepotEntry *entry, PalFileHandle *fileOut,
                               int truncate) {
  static constexpr OperationName name("DepotFileOpenForWrite");
  const int32_t start = now();
  Operation operation(name, entry != nullptr && fileOut != nullptr, depot, &Depot::entryLock,
                      name.needed());
  const uint32_t flags =
      PAL_FILE_READWRITE | dataFile | (truncate != 0 ? uint32_t{PAL_FILE_TRUNCATE} : 0);
  const Opening opening{flags, "DepotFileOpenForWrite exit.  Error %d opening segment data file\n",
                        "DepotFileOpenForWrite error %d updating segment attributes\n"};
  return openData(operation, depot, entry, fileOut, opening, [&] {
    ++entry->write_count;
    entry->access_time = start;
    entry->modify_time = start;
  });
}

PalError DepotFileOpenForRead(Depot *depot, DepotEntry *entry, PalFileHandle *fileOut) {
  static constexpr OperationName name("DepotFileOpenForRead");
  Operation operation(name, entry != nullptr && fileOut != nullptr, depot, &Depot::entryLock,
                      name.needed());
  constexpr Opening opening{PAL_FILE_READ | dataFile,
                            "DepotFileOpenForRead exit.  Error %d opening segment data file\n",
                            "DepotFileOpenForRead error %d updating segment attributes\n"};
  return openData(operation, depot, entry, fileOut, opening, [&] { entry->access_time = now(); });
}

PalError DepotEntryChangeState(Depot *depot, DepotEntry *entry, int32_t state) {
  static constexpr OperationName name("DepotEntryChangeState");
  const Operation operation(name, entry != nullptr, depot, &Depot::entryLock, name.needed());
  if (!operation) {
    return operation.failure();
  }
  if (entry->state == state) {
    return success;
  }
  entry->state = state;
  return DepotSaveEntry_internal(depot, entry);
}

PalError DepotCompleteEntry(Depot *depot, DepotEntry *entry, int32_t deadline) {
  static constexpr OperationName name("DepotCompleteEntry");
  constexpr LockTexts texts{name.refused.text,
                            "DepotCompleteEntry entry continue. Ignore WAIT_TIMEOUT\n",
                            name.unreleased.text};
  Operation operation(name, entry != nullptr, depot, &Depot::entryLock, texts);
  if (!operation) {
    return operation.failure();
  }
  entry->state = DEPOT_ENTRY_COMPLETE;
  entry->deadline = std::max(entry->deadline, deadline);
  if (entry->reference_count < std::numeric_limits<int32_t>::max()) {
    ++entry->reference_count;
  }
  const PalError saved = DepotSaveEntry_internal(depot, entry);
  operation.unlock(); // the depot's lock never comes behind the entries'
  DepotFreeEntry(depot, entry);
  return saved;
}

int DepotEntryModified(Depot *depot, const char *id, const char *version, int32_t time) {
  static constexpr OperationName name("DepotEntryModified");
  Operation operation(name, depot != nullptr && id != nullptr && version != nullptr);
  const DepotEntry *entry = operation ? DepotGetEntry(depot, id, version) : nullptr;
  if (entry == nullptr) {
    return 0;
  }
  if (!operation.hold(*depot, depot->entryLock, name.needed()) || entry->modify_time == time) {
    return 0;
  }
  // Others that wait for the entries' lock are meant to run into their time-out, until the caller
  // has dealt with the change.
  operation.lock().leaveTaken();
  operation.endSilently();
  return 1;
}

#include <cerrno>

#include "depot/entry.h"
#include "depot/file_names.h"
#include "depot/loaded_entries.h"
#include "depot/log.h"
#include "depot/lookup.h"
#include "depot/operation.h"
#include "depot/save.h"
#include "depot/toc.h"

using namespace sprig;

namespace {

struct Segment {
  const char *id;
  const char *version;
  const void *properties;
  uint32_t length;
};

bool copyProperties(DepotEntry &entry, const Segment &segment) {
  if (segment.length == 0) {
    return true;
  }
  entry.properties = static_cast<unsigned char *>(PalMemoryMalloc(segment.length));
  if (entry.properties == nullptr) {
    return false;
  }
  PalMemoryCpy(entry.properties, segment.properties, static_cast<ssize_t>(segment.length));
  entry.properties_length = segment.length;
  return true;
}

bool copySegment(DepotEntry &entry, const Segment &segment) {
  entry.id = PalStringDup(segment.id);
  entry.version = PalStringDup(segment.version);
  return entry.id != nullptr && entry.version != nullptr && copyProperties(entry, segment);
}

// Gives an entry the files with an index; false when there is no memory.
bool setPaths(const Depot &depot, DepotEntry &entry, const char *bucket, int32_t index) {
  PalMemoryFree(entry.toc_path);
  PalMemoryFree(entry.location);
  entry.toc_path = pathOf(depot.directory, bucket, index, "xml");
  entry.location = pathOf(depot.directory, bucket, index, "dat");
  return entry.toc_path != nullptr && entry.location != nullptr;
}

bool isTaken(const PalError &saved) {
  return saved.palError == PAL_SYSTEM_CALL_FAILED && saved.nativeError == EEXIST;
}

// Writes the entry's first TOC file, under the first index from the given one on that nobody has,
// and puts the entry into the list.
bool saveUnderFreeIndex(Depot &depot, DepotEntry &entry, const char *bucket, int32_t index) {
  std::optional<FileIdentity> made;
  PalError saved{};
  do {
    if (!setPaths(depot, entry, bucket, index)) {
      return false;
    }
    if (!canBeWritten(entry)) {
      Logger(failureLevel, "DepotAddEntry entry %s^%s would hide a tag of its TOC file\n", entry.id,
             entry.version);
      return false;
    }
    saved = saveNewEntry(&depot, &entry, &made);
    ++index;
  } while (isTaken(saved));
  if (saved.palError != PAL_OK || !addLoaded(depot, entry)) {
    return false;
  }
  noteTocFile(depot, entry, made);
  return true;
}

bool createDataFile(const DepotEntry &entry) {
  PalFileHandle file{};
  const PalError opened = PalFileOpen(&file, entry.location, PAL_FILE_CREATE | PAL_FILE_WRITE);
  PalFileClose(file);
  return opened.palError == PAL_OK;
}

DepotEntry *create(Depot &depot, const Segment &segment, const char *bucket, int32_t index) {
  DepotEntry *entry = DepotEntryNew();
  if (entry == nullptr) {
    return nullptr;
  }
  if (!copySegment(*entry, segment) || !saveUnderFreeIndex(depot, *entry, bucket, index)) {
    releaseEntry(&depot, entry);
    return nullptr;
  }
  if (!createDataFile(*entry)) {
    if (DepotRemoveEntry_internal(&depot, entry, 0).palError == PAL_WAIT_TIMEOUT) {
      removeLoaded(depot, *entry); // the removal left it alone
      releaseEntry(&depot, entry);
    }
    return nullptr;
  }
  return entry;
}

} // namespace

DepotEntry *DepotAddEntry(Depot *depot, const char *id, const char *version, const void *properties,
                          uint32_t length) {
  static constexpr OperationName name("DepotAddEntry");
  const bool areGiven =
      id != nullptr && version != nullptr && (properties != nullptr || length == 0);
  Operation operation(name, areGiven, depot, &Depot::depotLock, name.wanted());
  if (!operation) {
    return nullptr;
  }
  int32_t index = 0;
  DepotEntry *entry = lookUp(depot, id, version, {nullptr, &index});
  if (entry != nullptr) {
    operation.unlock();
    if (entry->state != DEPOT_ENTRY_COMPLETE) {
      Logger(workaroundLevel, "DepotAddEntry unable to use entry due to in-progress operations\n");
      return nullptr;
    }
    return entry;
  }
  char *bucket = DepotFindBucket(id, version);
  if (bucket != nullptr && depot->directory != nullptr) {
    entry = create(*depot, {id, version, properties, length}, bucket, index);
  }
  PalMemoryFree(bucket);
  return entry;
}

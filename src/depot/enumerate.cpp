#include "depot/enumerate.h"

#include "depot/entry.h"
#include "depot/file_names.h"
#include "depot/key_file.h"
#include "depot/loaded_entries.h"
#include "depot/log.h"
#include "depot/operation.h"
#include "depot/toc_file.h"

using namespace sprig;

namespace {

constexpr const char *lockFile = "enum.lk";

constexpr TocReadTexts readTexts{
    "DepotEntryEnumNextElement error %d opening file %s\n",
    "DepotEntryEnumNextElement error %d obtaining size of file %s\n",
    "DepotEntryEnumNextElement error allocating memory to read file %s\n",
    "DepotEntryEnumNextElement error %d reading file %s\n"};

void destroy(DepotEnum *enumerator) {
  PalDirClose(enumerator->dir);
  PalCloseSem(&enumerator->enumLock);
  PalMemoryFree(enumerator);
}

// Makes the record of a TOC file; null for a text that is none.
DepotEntry *load(Depot &depot, TocFile &file, const char *path) {
  DepotEntry *entry = DepotEntryNewFromToc(&depot, file.text());
  if (entry == nullptr) {
    Logger(workaroundLevel, "DepotEntryEnumNextElement null returned by DepotEntryNewFromToc\n");
    return nullptr;
  }
  entry->toc_path = PalStringDup(path);
  if (entry->toc_path == nullptr) {
    Logger(workaroundLevel, "DepotEntryEnumNextElement PalStringDup of %s failed\n", path);
    removeLoaded(depot, *entry);
    releaseEntry(&depot, entry);
    return nullptr;
  }
  noteTocFile(depot, *entry, file.identity());
  return entry;
}

// Reads files until one gives a record; null at the end, and when one cannot be read.
DepotEntry *loadNext(const DepotEnum &enumerator) {
  TocFile file(true);
  char name[1024];
  bool isReadable = true;
  DepotEntry *entry = nullptr;
  while (isReadable && entry == nullptr &&
         PalDirReadDirectory(name, enumerator.dir).palError == PAL_OK) {
    if (!isTocName(name)) {
      continue;
    }
    char *path = pathOf(enumerator.depot->directory, name);
    if (path == nullptr) {
      logFormat(workaroundLevel, readTexts.memory, name);
      return nullptr;
    }
    isReadable = file.read(path, &readTexts);
    if (isReadable) {
      entry = load(*enumerator.depot, file, path);
    }
    PalMemoryFree(path);
  }
  return entry;
}

} // namespace

PalError DepotEnumNew(Depot *depot, DepotEnum **enumerator) {
  static constexpr OperationName name("DepotEnumNew");
  if (enumerator != nullptr) {
    *enumerator = nullptr;
  }
  Operation operation(name, depot != nullptr && enumerator != nullptr);
  if (!operation) {
    return operation.failure();
  }
  auto *created = static_cast<DepotEnum *>(PalMemoryCalloc(1, sizeof(DepotEnum)));
  if (created == nullptr) {
    return outOfMemory(3);
  }
  created->depot = depot;
  PalError result = createKeyFile(lockFile);
  if (result.palError != PAL_OK) {
    destroy(created);
    return operation.endWith(result, "DepotEnumNew exit.  Error %d creating semaphore path\n");
  }
  result = PalInitSem(&created->enumLock, lockFile);
  if (result.palError != PAL_OK) {
    Logger(failureLevel, "DepotEnumNew error %d creating lock\n", result.palError);
  } else {
    result = PalDirOpen(&created->dir, depot->directory);
  }
  if (result.palError != PAL_OK) {
    destroy(created);
    return result;
  }
  *enumerator = created;
  // Raised by one without having been waited for, as each open handle does with its locks.
  const PalError posted = PalPostSem(&created->enumLock);
  if (posted.palError != PAL_OK) {
    Logger(workaroundLevel, "DepotEnumNew error %d releasing enum lock\n", posted.palError);
  }
  return success;
}

DepotEntry *DepotEntryEnumNextElement(DepotEnum *enumerator) {
  static constexpr OperationName name("DepotEntryEnumNextElement");
  Operation operation(name, enumerator != nullptr && enumerator->depot != nullptr);
  if (!operation) {
    return nullptr;
  }
  const bool isHeld = operation.hold(*enumerator->depot, enumerator->enumLock, name.needed());
  return isHeld ? loadNext(*enumerator) : nullptr;
}

PalError DepotEntryEnumDelete(DepotEnum *enumerator) {
  static constexpr OperationName name("DepotEntryEnumDelete");
  Operation operation(name, enumerator != nullptr && enumerator->depot != nullptr);
  if (!operation) {
    return operation.failure();
  }
  if (!operation.hold(*enumerator->depot, enumerator->enumLock, name.needed())) {
    return operation.failure();
  }
  const PalError closed = PalDirClose(enumerator->dir);
  enumerator->dir = {};
  if (closed.palError != PAL_OK) {
    Logger(workaroundLevel, "DepotEntryEnumDelete error %d closing directory handle\n",
           closed.palError);
  }
  operation.unlock();
  const PalError freed = PalCloseSem(&enumerator->enumLock);
  enumerator->enumLock = {};
  if (freed.palError != PAL_OK) {
    Logger(workaroundLevel, "DepotEntryEnumDelete error %d freeing lock\n", freed.palError);
  }
  destroy(enumerator);
  return success;
}

PalError sprig::endEnumeration(DepotEnum *enumerator) {
  const PalError ended = DepotEntryEnumDelete(enumerator);
  if (ended.palError != PAL_OK) {
    destroy(enumerator);
  }
  return ended;
}

#include <new>

#include "depot/entry.h"
#include "depot/index.h"
#include "depot/key_file.h"
#include "depot/log.h"
#include "depot/operation.h"

using namespace sprig;

namespace {

constexpr const char *defaultDirectory = "depot";
constexpr int32_t entriesSize = 256;

// The handle as it is allocated: that there is a handle means that there is its index.
struct HandleBlock {
  Depot handle;
  DepotIndex index;
};

Depot *allocateHandle() {
  void *memory = PalMemoryCalloc(1, sizeof(HandleBlock));
  if (memory == nullptr) {
    return nullptr;
  }
  auto *block = new (memory) HandleBlock();
  block->handle.index = &block->index;
  return &block->handle;
}

void freeHandle(Depot *handle) {
  handle->index->~DepotIndex();
  PalMemoryFree(handle);
}

// A lock of a new handle, and what is logged about it.
struct NewLock {
  PalSemHandle Depot::*semaphore;
  const char *keyFile;
  const char *ignored;
  const char *failed;
  const char *unposted;
};

constexpr NewLock depotLock{&Depot::depotLock, "depot.lk",
                            "DepotNew depot continue. Ignore WAIT_TIMEOUT\n",
                            "DepotNew exit.  Error %d(%d) creating depot synchronization object\n",
                            "DepotSetDir error %d releasing depot lock\n"};
constexpr NewLock entryLock{&Depot::entryLock, "entry.lk",
                            "DepotNew entry continue. Ignore WAIT_TIMEOUT\n",
                            "DepotNew exit.  Error %d(%d) creating entry synchronization object\n",
                            "DepotSetDir error %d releasing entry lock\n"};

// How a step ended, and with which message the operation ends there; null when it goes on.
struct Outcome {
  PalError error;
  const char *message;
};

// Creates a lock or attaches to it. That the system refuses its semaphore is ignored.
Outcome createLock(Depot &handle, const NewLock &lock) {
  const PalError opened = createKeyFile(lock.keyFile);
  if (opened.palError != PAL_OK) {
    return {opened, "DepotNew exit.  Error %d creating semaphore path\n"};
  }
  const PalError created = PalInitSem(&(handle.*lock.semaphore), lock.keyFile);
  if (created.palError == PAL_WAIT_TIMEOUT) {
    logFormat(workaroundLevel, lock.ignored);
  } else if (created.palError != PAL_OK) {
    Logger(failureLevel, "DepotNew PalInitSem failed\n");
    return {created, lock.failed};
  }
  return {created, nullptr};
}

// Raises a lock by one, without having waited for it: each open handle does.
void post(Depot &handle, const NewLock &lock) {
  const PalError posted = PalPostSem(&(handle.*lock.semaphore));
  if (posted.palError != PAL_OK) {
    logFormat(workaroundLevel, lock.unposted, posted.palError);
  }
}

// Ends in the outcome of the entries' lock.
Outcome setUp(Depot &handle) {
  Outcome outcome{};
  for (const NewLock *lock : {&depotLock, &entryLock}) {
    outcome = createLock(handle, *lock);
    if (outcome.message != nullptr) {
      return outcome;
    }
  }
  post(handle, entryLock);
  if (PalList1Create(&handle.entries, entriesSize, entriesSize) != 0) {
    return {outOfMemory(0), "DepotNew exit.  Error creating depot entry list\n"};
  }
  return outcome;
}

void closeLocks(Depot &handle) {
  PalCloseSem(&handle.entryLock);
  PalCloseSem(&handle.depotLock);
}

// Releases all records; fails with the iterator's error when they cannot be stepped through.
PalError releaseEntries(Depot *handle, PalList1Iterator &iterator) {
  PalError stepped = success;
  int32_t descriptor = 0;
  PalListValue value = 0;
  for (;;) {
    stepped = iterator.next(&iterator.state, &descriptor, &value);
    if (stepped.palError != PAL_OK) {
      break;
    }
    DepotEntry *entry = loadedEntry(*handle, descriptor);
    if (entry != nullptr) {
      releaseEntry(handle, entry);
    }
  }
  iterator.end(&iterator.state);
  return stepped.palError == PAL_END_OF_LIST ? success : stepped;
}

} // namespace

PalError DepotNew(Depot **handle, const char *directory, uint32_t maxSpace) {
  static constexpr OperationName name("DepotNew");
  Operation operation(name, handle != nullptr);
  if (!operation) {
    return operation.failure();
  }
  *handle = nullptr;
  Depot *depot = allocateHandle();
  if (depot == nullptr) {
    return operation.endWith(outOfMemory(0), "DepotNew exit.  Error allocating depot handle\n");
  }
  const Outcome outcome = setUp(*depot);
  if (outcome.message != nullptr) {
    closeLocks(*depot);
    freeHandle(depot);
    return operation.endWith(outcome.error, outcome.message);
  }
  depot->availableSpace = maxSpace;
  depot->maxSpace = maxSpace;
  DepotSetDir_internal(depot, directory);
  post(*depot, depotLock);
  *handle = depot;
  return outcome.error;
}

PalError DepotFree(Depot *handle) {
  static constexpr OperationName name("DepotFree");
  Operation operation(name, true, handle, &Depot::depotLock, name.wanted());
  if (handle == nullptr) {
    return success;
  }
  if (!operation) {
    return operation.failure();
  }
  PalList1Iterator iterator{};
  PalError error = PalList1IteratorCreate(&handle->entries, &iterator);
  if (error.palError != PAL_OK) {
    return operation.endWith(error,
                             "DepotFree exit.  Error %d creating iterator for depot entries\n");
  }
  error = releaseEntries(handle, iterator);
  if (error.palError != PAL_OK) {
    return operation.endWith(error, "DepotFree exit.  Error %d interating depot entries\n");
  }
  PalList1Destroy(&handle->entries);
  PalMemoryFree(handle->directory);
  handle->directory = nullptr;
  PalPostSem(&handle->entryLock);
  operation.unlock();
  closeLocks(*handle);
  freeHandle(handle);
  return operation.lock().waited();
}

PalError DepotSetDir(Depot *handle, const char *directory) {
  static constexpr OperationName name("DepotSetDir");
  const Operation operation(name, true, handle, &Depot::depotLock, name.needed());
  return operation ? DepotSetDir_internal(handle, directory) : operation.failure();
}

PalError DepotSetDir_internal(Depot *handle, const char *directory) {
  static constexpr OperationName name("DepotSetDir");
  const Operation operation(name, handle != nullptr);
  if (!operation) {
    return operation.failure();
  }
  char *copy = PalStringDup(directory == nullptr ? defaultDirectory : directory);
  if (copy == nullptr) {
    return outOfMemory(1);
  }
  handle->directory = copy; // the string before it is whoever's asked for it
  if (handle->index != nullptr) {
    handle->index->directoryLock.close(); // nobody waits for the old one's lock again
  }
  return PalDirIsDirectory(copy) != 0 ? success : PalDirCreateDirectory(copy);
}

const char *DepotGetDir(Depot *handle) {
  static constexpr OperationName name("DepotGetDir");
  const Operation operation(name, handle != nullptr);
  return operation ? handle->directory : nullptr;
}

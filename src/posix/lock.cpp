// Locks between processes on System V semaphore sets. Every semop carries SEM_UNDO, so that the
// kernel gives a lock back when its holder dies.
#include <cerrno>
#include <sys/ipc.h>
#include <sys/sem.h>

#include "posix/error.h"

static_assert(sizeof(PalInternalSem) == 2 * sizeof(int32_t));

namespace {

constexpr int projectId = 1;
constexpr int ownerOnly = 0600;
constexpr int initiallyFree = 1;

// semctl wants its caller to declare this type.
union semun {
  int val;
  semid_ds *buf;
  unsigned short *array;
};

PalError semaphoreFailed(int32_t nativeError) { return {PAL_WAIT_TIMEOUT, nativeError, 1}; }

// Creates the set, free; -1 with errno otherwise. A set that cannot be freed is taken away again:
// everyone who attached to it would wait for ever.
int createSet(key_t key) {
  const int semid = semget(key, 1, IPC_CREAT | IPC_EXCL | ownerOnly);
  if (semid == -1) {
    return -1;
  }
  semun value{};
  value.val = initiallyFree;
  if (semctl(semid, 0, SETVAL, value) == -1) {
    const int cause = errno;
    semctl(semid, 0, IPC_RMID);
    errno = cause;
    return -1;
  }
  return semid;
}

int createOrAttach(key_t key) {
  const int semid = createSet(key);
  return semid == -1 && errno == EEXIST ? semget(key, 1, 0) : semid;
}

PalError change(const PalSemHandle *handle, short amount) {
  if (handle == nullptr) {
    return sprig::invalidParameter(1);
  }
  if (handle->handle == nullptr) {
    return semaphoreFailed(EINVAL);
  }
  sembuf operation{0, amount, SEM_UNDO};
  return semop(handle->handle->semid, &operation, 1) == -1 ? semaphoreFailed(errno)
                                                           : sprig::success;
}

} // namespace

PalError PalInitSem(PalSemHandle *handle, const char *key) {
  if (handle == nullptr || key == nullptr) {
    return sprig::invalidParameter(1);
  }
  auto *record = static_cast<PalInternalSem *>(PalMemoryCalloc(1, sizeof(PalInternalSem)));
  if (record == nullptr) {
    return sprig::outOfMemory(1);
  }
  record->semid = createOrAttach(ftok(key, projectId));
  if (record->semid == -1) {
    const PalError failure = semaphoreFailed(errno);
    PalMemoryFree(record);
    return failure;
  }
  handle->handle = record;
  return sprig::success;
}

PalError PalWaitSem(PalSemHandle *handle) { return change(handle, -1); }

PalError PalPostSem(PalSemHandle *handle) { return change(handle, 1); }

PalError PalCloseSem(PalSemHandle *handle) {
  if (handle != nullptr) {
    PalMemoryFree(handle->handle);
  }
  return sprig::success;
}

PalError PalDestSem(PalSemHandle *handle) {
  if (handle != nullptr && handle->handle != nullptr) {
    semctl(handle->handle->semid, 0, IPC_RMID);
  }
  return PalCloseSem(handle);
}

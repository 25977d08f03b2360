#include <cerrno>
#include <string>

#include <sys/ipc.h>
#include <sys/sem.h>

#include <gtest/gtest.h>

#include "support/key_file.h"
#include "support/pal_error.h"

using test::invalid;
using test::ok;

namespace {

constexpr PalError lockFailed(int32_t nativeError) { return {PAL_WAIT_TIMEOUT, nativeError, 1}; }

class Lock : public test::DirectoryTest {
protected:
  ~Lock() override { PalCloseSem(&handle); }

  test::KeyFile key{directory / "key"};
  PalSemHandle handle{};
};

} // namespace

TEST_F(Lock, IsCreatedFreeWithOneSemaphoreForItsOwnerOnly) {
  EXPECT_EQ(PalInitSem(&handle, key.path()), ok);
  ASSERT_NE(handle.handle, nullptr);
  EXPECT_EQ(handle.handle->semid, key.set());
  EXPECT_EQ(handle.handle->waiters, 0);
  EXPECT_EQ(key.value(), 1);
  semid_ds status{};
  ASSERT_EQ(semctl(key.set(), 0, IPC_STAT, &status), 0);
  EXPECT_EQ(status.sem_nsems, 1U);
  EXPECT_EQ(status.sem_perm.mode & 0777, 0600);
}

TEST_F(Lock, IsTakenAndGivenBack) {
  PalInitSem(&handle, key.path());
  EXPECT_EQ(PalWaitSem(&handle), ok);
  EXPECT_EQ(key.value(), 0);
  EXPECT_EQ(PalPostSem(&handle), ok);
  EXPECT_EQ(key.value(), 1);
}

TEST_F(Lock, CountsPostsWithoutWaits) {
  PalInitSem(&handle, key.path());
  EXPECT_EQ(PalPostSem(&handle), ok);
  EXPECT_EQ(key.value(), 2);
}

TEST_F(Lock, KeepsItsValueWhenAnotherAttaches) {
  PalInitSem(&handle, key.path());
  PalWaitSem(&handle);
  PalSemHandle other{};
  EXPECT_EQ(PalInitSem(&other, key.path()), ok);
  EXPECT_EQ(other.handle->semid, handle.handle->semid);
  EXPECT_EQ(key.value(), 0);
  EXPECT_EQ(PalPostSem(&other), ok);
  EXPECT_EQ(PalCloseSem(&other), ok);
}

TEST_F(Lock, StaysInTheSystemWhenItIsClosed) {
  PalSemHandle closed{};
  PalInitSem(&closed, key.path());
  EXPECT_EQ(PalCloseSem(&closed), ok);
  EXPECT_NE(closed.handle, nullptr) << "the handle's member is not cleared";
  EXPECT_EQ(key.value(), 1);
}

TEST_F(Lock, LeavesTheSystemWhenItIsDestroyed) {
  PalSemHandle destroyed{};
  PalInitSem(&destroyed, key.path());
  EXPECT_EQ(PalDestSem(&destroyed), ok);
  EXPECT_NE(destroyed.handle, nullptr) << "the handle's member is not cleared";
  EXPECT_EQ(key.set(), -1);
}

TEST_F(Lock, CannotBeUsedWhenItsSetIsGone) {
  PalInitSem(&handle, key.path());
  semctl(key.set(), 0, IPC_RMID);
  EXPECT_EQ(PalWaitSem(&handle), lockFailed(EINVAL));
  EXPECT_EQ(PalPostSem(&handle), lockFailed(EINVAL));
}

TEST_F(Lock, CannotBePostedBeyondTheSystemsLimit) {
  PalInitSem(&handle, key.path());
  ASSERT_EQ(semctl(key.set(), 0, SETVAL, 32767), 0);
  EXPECT_EQ(PalPostSem(&handle), lockFailed(ERANGE));
}

TEST_F(Lock, NeedsAHandleAndAKey) {
  EXPECT_EQ(PalInitSem(nullptr, key.path()), invalid(1));
  EXPECT_EQ(PalInitSem(&handle, nullptr), invalid(1));
  EXPECT_EQ(handle.handle, nullptr);
  EXPECT_EQ(PalWaitSem(nullptr), invalid(1));
  EXPECT_EQ(PalPostSem(nullptr), invalid(1));
}

TEST_F(Lock, CannotBeTakenBeforeItIsCreated) {
  EXPECT_EQ(PalWaitSem(&handle), lockFailed(EINVAL));
  EXPECT_EQ(PalPostSem(&handle), lockFailed(EINVAL));
}

TEST_F(Lock, MayBeClosedAndDestroyedWithoutHavingBeenCreated) {
  EXPECT_EQ(PalCloseSem(nullptr), ok);
  EXPECT_EQ(PalDestSem(nullptr), ok);
  EXPECT_EQ(PalCloseSem(&handle), ok);
  EXPECT_EQ(PalDestSem(&handle), ok);
}

TEST_F(Lock, OfAMissingKeyFileHasTheKeyThatTheSystemGivesForIt) {
  const int before = semget(-1, 1, 0);
  EXPECT_EQ(PalInitSem(&handle, (directory / "missing").c_str()), ok);
  EXPECT_EQ(handle.handle->semid, semget(-1, 1, 0));
  if (before == -1) { // nobody else's
    semctl(handle.handle->semid, 0, IPC_RMID);
  }
}

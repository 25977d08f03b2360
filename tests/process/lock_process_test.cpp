// Locks between real processes.
#include <cerrno>
#include <csignal>
#include <string>

#include <sys/sem.h>

#include <gtest/gtest.h>

#include "support/key_file.h"
#include "support/pal_error.h"
#include "support/process.h"

using test::Child;
using test::Event;
using test::ok;

namespace {

class SharedLock : public test::DirectoryTest {
protected:
  // Gives way until as many processes wait for the lock.
  void awaitWaiters(int count) const {
    ASSERT_TRUE(test::await([&] { return key.waiters() == count; }));
  }

  test::KeyFile key{directory / "key"};
};

} // namespace

TEST_F(SharedLock, IsOneSetForTwoProcesses) {
  PalSemHandle handle{};
  ASSERT_EQ(PalInitSem(&handle, key.path()), ok);
  ASSERT_EQ(PalWaitSem(&handle), ok);
  Event attached;
  Child other([&] {
    PalSemHandle own{};
    CHILD_EXPECT(PalInitSem(&own, key.path()) == ok);
    CHILD_EXPECT(own.handle->semid == handle.handle->semid);
    CHILD_EXPECT(key.value() == 0);
    attached.raise();
    CHILD_EXPECT(PalWaitSem(&own) == ok);
    CHILD_EXPECT(PalPostSem(&own) == ok);
    return 0;
  });
  ASSERT_TRUE(attached.await());
  awaitWaiters(1);
  EXPECT_EQ(PalPostSem(&handle), ok);
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(key.value(), 1);
  PalCloseSem(&handle);
}

TEST_F(SharedLock, IsGivenBackWhenItsHolderIsKilled) {
  PalSemHandle handle{};
  ASSERT_EQ(PalInitSem(&handle, key.path()), ok);
  Event held;
  Child holder([&] {
    CHILD_EXPECT(PalWaitSem(&handle) == ok);
    held.raise();
    for (;;) {
      pause();
    }
  });
  ASSERT_TRUE(held.await());
  Child waiter([&] { return PalWaitSem(&handle) == ok ? 0 : 1; });
  awaitWaiters(1);
  EXPECT_EQ(holder.kill(), -SIGKILL);
  EXPECT_EQ(waiter.wait(), 0);
  EXPECT_EQ(key.value(), 1) << "the waiter's own lock went back too";
  PalCloseSem(&handle);
}

TEST_F(SharedLock, IsNotWaitedForBeyondASignal) {
  PalSemHandle handle{};
  ASSERT_EQ(PalInitSem(&handle, key.path()), ok);
  ASSERT_EQ(PalWaitSem(&handle), ok);
  Child waiter([&] {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    return PalWaitSem(&handle) == PalError{PAL_WAIT_TIMEOUT, EINTR, 1} ? 0 : 1;
  });
  awaitWaiters(1);
  waiter.send(SIGUSR1);
  EXPECT_EQ(waiter.wait(), 0);
  EXPECT_EQ(PalPostSem(&handle), ok);
  EXPECT_EQ(key.value(), 1);
  PalCloseSem(&handle);
}

TEST_F(SharedLock, WakesItsWaitersWhenItIsDestroyed) {
  PalSemHandle handle{};
  ASSERT_EQ(PalInitSem(&handle, key.path()), ok);
  ASSERT_EQ(PalWaitSem(&handle), ok);
  Child waiter([&] { return PalWaitSem(&handle) == PalError{PAL_WAIT_TIMEOUT, EIDRM, 1} ? 0 : 1; });
  awaitWaiters(1);
  EXPECT_EQ(PalDestSem(&handle), ok);
  EXPECT_EQ(waiter.wait(), 0);
}

TEST_F(SharedLock, IsOneFreeSetAfterARaceToCreateIt) {
  for (int round = 0; round < 20; ++round) {
    Event ready;
    Event start;
    const auto racers = test::startChildren(8, [&] {
      ready.raise();
      start.await();
      PalSemHandle handle{};
      CHILD_EXPECT(PalInitSem(&handle, key.path()) == ok);
      CHILD_EXPECT(PalWaitSem(&handle) == ok);
      CHILD_EXPECT(PalPostSem(&handle) == ok);
      CHILD_EXPECT(PalCloseSem(&handle) == ok);
      return 0;
    });
    for (size_t i = 0; i < racers.size(); ++i) {
      ASSERT_TRUE(ready.await());
    }
    for (size_t i = 0; i < racers.size(); ++i) {
      start.raise();
    }
    for (const auto &racer : racers) {
      EXPECT_EQ(racer->wait(), 0);
    }
    ASSERT_NE(key.set(), -1);
    EXPECT_EQ(key.value(), 1);
    ASSERT_EQ(semctl(key.set(), 0, IPC_RMID), 0);
  }
}

TEST_F(SharedLock, AdmitsOneProcessAtATime) {
  constexpr int rounds = 200;
  const std::string counter = directory / "counter";
  test::writeFile(counter, "0");
  const auto workers = test::startChildren(4, [&] {
    PalSemHandle handle{};
    CHILD_EXPECT(PalInitSem(&handle, key.path()) == ok);
    for (int round = 0; round < rounds; ++round) {
      CHILD_EXPECT(PalWaitSem(&handle) == ok);
      test::writeFile(counter, std::to_string(std::stoi(test::readFile(counter)) + 1));
      CHILD_EXPECT(PalPostSem(&handle) == ok);
    }
    return 0;
  });
  for (const auto &worker : workers) {
    EXPECT_EQ(worker->wait(), 0);
  }
  EXPECT_EQ(test::readFile(counter), std::to_string(4 * rounds));
}

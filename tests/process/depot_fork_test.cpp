// A handle in a forked child: it goes on there, and leaves the parent's locks and watch alone.
#include <csignal>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "support/depot.h"
#include "support/pal_error.h"
#include "support/process.h"

using test::Child;
using test::Event;
using test::ok;

namespace {

class DepotFork : public test::DepotTest {
protected:
  // Whether somebody holds the kernel's lock on the depot's directory.
  static bool isLocked() {
    const int directory = open("depot", O_RDONLY | O_DIRECTORY);
    const bool isFree = flock(directory, LOCK_EX | LOCK_NB) == 0;
    close(directory);
    return !isFree;
  }

  bool isThere(const std::string &id) const {
    return DepotGetEntry(depot, id.c_str(), "1") != nullptr;
  }
};

} // namespace

TEST_F(DepotFork, SharesTheHandleWithItsChild) {
  add("parents");
  Child child([this] {
    CHILD_EXPECT(isThere("parents"));
    CHILD_EXPECT(add("childs") != nullptr);
    CHILD_EXPECT(DepotFree(depot) == ok);
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(isThere("childs"));
  EXPECT_TRUE(isThere("parents"));
}

TEST_F(DepotFork, SeesEverythingInParentAndChildWhoeverLooksFirst) {
  EXPECT_FALSE(isThere("first")); // the names are known from now on
  Event childs;
  Event parents;
  Child child([&] {
    CHILD_EXPECT(!isThere("first"));
    CHILD_EXPECT(add("first") != nullptr);
    childs.raise();
    CHILD_EXPECT(parents.await());
    CHILD_EXPECT(isThere("second"));
    return 0;
  });
  ASSERT_TRUE(childs.await());
  EXPECT_TRUE(isThere("first"));
  add("second");
  parents.raise();
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DepotFork, KeepsTheLockOfAParentInTheMiddleOfAnOperation) {
  // The child is forked while the parent looks an entry up, and comes back out of the same
  // operation.
  static pid_t forked;
  static bool wasLocked;
  static bool isLockedAfterwards;
  forked = 0;
  runtime_set_log_sink(
      [](void *, int, const char *text) {
        if (forked != 0 || std::string(text) != "DepotFindEntryIndex entry\n") {
          return;
        }
        wasLocked = isLocked();
        forked = fork();
        if (forked != 0) {
          int status = 0;
          waitpid(forked, &status, 0);
          isLockedAfterwards = isLocked();
        }
      },
      nullptr);
  DepotGetEntry(depot, "any", "1");
  if (forked == 0) {
    _exit(0);
  }
  EXPECT_TRUE(wasLocked);
  EXPECT_TRUE(isLockedAfterwards);
  EXPECT_FALSE(isLocked());
}

TEST_F(DepotFork, LetsTheLockGoWithAKilledHolderThoughItsChildLives) {
  // The holder forks a child that never touches the depot again, and is killed in an operation.
  Event forked;
  Event inside;
  Event childsEnd;
  Child holder([&] {
    add("entry");
    if (fork() == 0) {
      forked.raise();
      (void)childsEnd.await();
      _exit(0);
    }
    runtime_set_log_sink(
        [](void *event, int, const char *text) {
          if (std::string(text) == "DepotFindEntryIndex entry\n") {
            static_cast<Event *>(event)->raise();
            pause();
          }
        },
        &inside);
    DepotGetEntry(depot, "entry", "1");
    return 0;
  });
  ASSERT_TRUE(forked.await());
  ASSERT_TRUE(inside.await());
  EXPECT_TRUE(isLocked());
  EXPECT_EQ(holder.kill(), -SIGKILL);
  EXPECT_FALSE(isLocked());
  EXPECT_TRUE(isThere("entry"));
  childsEnd.raise();
}

TEST_F(DepotFork, LeavesNoDescriptorToAProgramThatAChildRuns) {
  add("entry");
  DepotGetEntry(depot, "missing", "1");
  Child child([] {
    // Whatever is open beyond the standard streams would be listed; ls itself opens one more.
    execl("/bin/sh", "sh", "-c",
          "for fd in /proc/self/fd/*; do readlink $fd; done | grep -q -e depot -e inotify && exit "
          "1; exit 0",
          static_cast<char *>(nullptr));
    return 127;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DepotFork, GivesTheLockBackOnEveryWayOut) {
  DepotEntry *entry = addComplete("entry");
  EXPECT_FALSE(isLocked());
  EXPECT_EQ(DepotEntryModified(depot, "entry", "1", entry->modify_time + 1), 1);
  EXPECT_FALSE(isLocked()) << "though the semaphore stays taken";
  EXPECT_EQ(PalPostSem(&depot->entryLock), ok);
  destroySemaphore("entry.lk");
  EXPECT_EQ(DepotSaveEntry(depot, entry).palError, PAL_WAIT_TIMEOUT);
  EXPECT_FALSE(isLocked());
  EXPECT_EQ(DepotUnregisterEntry(depot, entry, 0).palError, PAL_WAIT_TIMEOUT);
  EXPECT_FALSE(isLocked());
  destroySemaphore("depot.lk");
  EXPECT_EQ(DepotPurge(depot, 0).palError, PAL_WAIT_TIMEOUT);
  EXPECT_FALSE(isLocked());
  DepotFreeEntry(depot, entry);
  EXPECT_FALSE(isLocked());
  EXPECT_EQ(DepotAddEntry(depot, "another", "1", nullptr, 0), nullptr);
  EXPECT_FALSE(isLocked());
}

TEST_F(DepotFork, ExcludesOthersThoughTheSemaphoresDoNot) {
  EXPECT_GT(semaphore("depot.lk"), 1);
  const int directory = open("depot", O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(directory, LOCK_EX), 0);
  Event started;
  Event added;
  Child child([&] {
    close(directory); // or the child would hold the lock as well
    started.raise();
    CHILD_EXPECT(add("entry") != nullptr);
    added.raise();
    return 0;
  });
  ASSERT_TRUE(started.await());
  ASSERT_TRUE(test::await([] { return semaphore("depot.lk") == 1; })) << "it has the semaphore";
  EXPECT_EQ(names().size(), 0U) << "and waits for the kernel's lock";
  close(directory);
  EXPECT_TRUE(added.await());
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DepotFork, LetsOthersLookUpWhileOneDoes) {
  add("entry");
  const int directory = open("depot", O_RDONLY | O_DIRECTORY);
  ASSERT_EQ(flock(directory, LOCK_SH), 0);
  EXPECT_TRUE(isThere("entry"));
  close(directory);
}

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/key_file.h"
#include "support/pal_error.h"
#include "support/process.h"

using test::failed;
using test::invalid;
using test::Lines;
using test::LogLine;
using test::ok;

namespace {

namespace fs = std::filesystem;

constexpr PalError lockFailed(int32_t nativeError) { return {PAL_WAIT_TIMEOUT, nativeError, 1}; }

const Lines traceOfNew{{3, "DepotNew entry\n"},
                       {3, "DepotSetDir entry\n"},
                       {3, "DepotSetDir exit\n"},
                       {3, "DepotNew exit\n"}};

const Lines traceOfSetDir{{3, "DepotSetDir entry\n"},
                          {3, "DepotSetDir entry\n"},
                          {3, "DepotSetDir exit\n"},
                          {3, "DepotSetDir exit\n"}};

// A directory that cannot be had, and what an attempt to move there says.
struct BadDirectory {
  std::string path;
  PalError result;
};

const std::vector<BadDirectory> badDirectories{
    {"missing/depot", failed(ENOENT, 1)},
    {"file", failed(EEXIST, 1)},
    {"file/depot", failed(ENOTDIR, 1)},
    {"", failed(ENOENT, 1)},
    {std::string(300, 'n'), failed(ENAMETOOLONG, 1)},
    {std::string(65536, 'n'), failed(ENAMETOOLONG, 1)},
    {"c:\\depot", invalid(0)},
};

mode_t modeOf(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

std::vector<std::string> namesHere() {
  std::vector<std::string> names;
  for (const auto &entry : fs::directory_iterator(".")) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

class DepotHandle : public test::DepotTest {
protected:
  DepotHandle() { test::writeFile("file", ""); }

  PalError release() { return DepotFree(std::exchange(depot, nullptr)); }
};

// Handles that are opened in a current directory where nobody was before.
class NewDepotHandle : public test::DepotTest {
protected:
  NewDepotHandle() {
    fs::create_directory("fresh");
    fs::current_path("fresh");
  }

  ~NewDepotHandle() override {
    if (opened != nullptr && opened != depot) {
      DepotFree(opened);
    }
    for (const char *lockFile : {"depot.lk", "entry.lk"}) {
      destroySemaphore(lockFile);
    }
    fs::current_path(directory.path());
  }

  PalError open(const char *path = nullptr, uint32_t maxSpace = 0) {
    opened = depot; // something that a failure has to clear
    return DepotNew(&opened, path, maxSpace);
  }

  // A semaphore with its lock file, as other processes may have left it.
  static void makeSemaphore(const std::string &lockFile, int value) {
    test::writeFile(lockFile, "");
    const int set = semget(ftok(lockFile.c_str(), 1), 1, IPC_CREAT | IPC_EXCL | 0600);
    EXPECT_EQ(semctl(set, 0, SETVAL, value), 0) << lockFile;
  }

  Depot *opened = nullptr;
};

} // namespace

TEST_F(NewDepotHandle, MakesItsDirectoryAndLockFilesForTheirOwnerOnly) {
  const mode_t mask = umask(0);
  EXPECT_EQ(open(), ok);
  umask(mask);
  EXPECT_EQ(namesHere(), (std::vector<std::string>{"depot", "depot.lk", "entry.lk"}));
  EXPECT_EQ(modeOf("depot"), 0700U);
  for (const char *lockFile : {"depot.lk", "entry.lk"}) {
    EXPECT_EQ(modeOf(lockFile), 0600U);
    EXPECT_EQ(fs::file_size(lockFile), 0U);
    EXPECT_EQ(semaphore(lockFile), 2) << "free, and posted once";
  }
}

TEST_F(NewDepotHandle, StartsWithAllItsSpaceAndRoomFor256Entries) {
  ASSERT_EQ(open(nullptr, 77), ok);
  EXPECT_STREQ(opened->directory, "depot");
  EXPECT_EQ(opened->availableSpace, 77U);
  EXPECT_EQ(opened->maxSpace, 77U);
  EXPECT_EQ(PalList1GetSize(&opened->entries), 256);
  EXPECT_EQ(PalList1Access(&opened->entries, 0), 0);
}

TEST_F(NewDepotHandle, GrowsBy256Entries) {
  ASSERT_EQ(open(), ok);
  const std::string text = test::Toc{}.bytes();
  for (int i = 0; i < 257; ++i) {
    ASSERT_NE(DepotEntryNewFromToc(opened, text.c_str()), nullptr);
  }
  EXPECT_EQ(PalList1GetSize(&opened->entries), 512);
}

TEST_F(NewDepotHandle, IsTraced) {
  EXPECT_EQ(open(), ok);
  EXPECT_EQ(log.lines(), traceOfNew);
}

TEST_F(NewDepotHandle, UsesWhatIsAlreadyThere) {
  for (const char *lockFile : {"depot.lk", "entry.lk"}) {
    test::writeFile(lockFile, "somebody's text");
  }
  fs::create_directory("there");
  test::writeFile("there/file", "kept");
  EXPECT_EQ(open("there"), ok);
  EXPECT_EQ(test::readFile("there/file"), "kept");
  EXPECT_EQ(test::readFile("depot.lk"), "somebody's text");
  EXPECT_EQ(test::readFile("entry.lk"), "somebody's text");
  EXPECT_EQ(namesHere(), (std::vector<std::string>{"depot.lk", "entry.lk", "there"}));
}

TEST_F(NewDepotHandle, KeepsACopyOfItsDirectory) {
  std::string path = "chosen";
  ASSERT_EQ(open(path.c_str()), ok);
  path.assign("other!");
  EXPECT_STREQ(DepotGetDir(opened), "chosen");
}

TEST_F(NewDepotHandle, IsOpenedEvenWhereItsDirectoryCannotBeHad) {
  test::writeFile("file", "");
  for (const BadDirectory &bad : badDirectories) {
    log.clear();
    EXPECT_EQ(open(bad.path.c_str()), ok);
    ASSERT_NE(opened, nullptr);
    EXPECT_EQ(DepotGetDir(opened), bad.path);
    EXPECT_EQ(log.upTo(2), Lines{});
    EXPECT_EQ(DepotGetEntry(opened, "segment", "1"), nullptr);
    EXPECT_EQ(DepotFree(std::exchange(opened, nullptr)), ok);
  }
}

TEST_F(NewDepotHandle, PostsEachLockOnceWithoutHavingWaited) {
  makeSemaphore("depot.lk", 0);
  makeSemaphore("entry.lk", 5);
  EXPECT_EQ(open(), ok);
  EXPECT_EQ(semaphore("depot.lk"), 1);
  EXPECT_EQ(semaphore("entry.lk"), 6);
}

TEST_F(NewDepotHandle, IsOpenedEvenWhereItsLocksCannotBePosted) {
  constexpr int mostOfASemaphore = 32767;
  makeSemaphore("depot.lk", mostOfASemaphore);
  makeSemaphore("entry.lk", mostOfASemaphore);
  EXPECT_EQ(open(), ok);
  EXPECT_NE(opened, nullptr);
  Lines expected = traceOfNew;
  expected.insert(expected.begin() + 3, {1, "DepotSetDir error -2 releasing depot lock\n"});
  expected.insert(expected.begin() + 1, {1, "DepotSetDir error -2 releasing entry lock\n"});
  EXPECT_EQ(log.lines(), expected);
}

TEST_F(NewDepotHandle, FailsWithoutALockFile) {
  for (const char *lockFile : {"depot.lk", "entry.lk"}) {
    fs::create_directory(lockFile);
    log.clear();
    EXPECT_EQ(open(), failed(EISDIR, 3));
    EXPECT_EQ(opened, nullptr);
    EXPECT_EQ(log.lines(), (Lines{{3, "DepotNew entry\n"},
                                  {0, "DepotNew exit.  Error -4 creating semaphore path\n"}}));
    EXPECT_FALSE(fs::exists("depot"));
    fs::remove(lockFile);
  }
}

TEST_F(NewDepotHandle, LeavesTheFirstSemaphoreFreeWhenTheSecondLockFileFails) {
  fs::create_directory("entry.lk");
  EXPECT_EQ(open(), failed(EISDIR, 3));
  EXPECT_EQ(semaphore("depot.lk"), 1);
  EXPECT_EQ(semaphore("entry.lk"), -1);
}

TEST_F(NewDepotHandle, FailsWhereTheCurrentDirectoryIsGone) {
  fs::remove(fs::current_path());
  EXPECT_EQ(open(), failed(ENOENT, 3));
  EXPECT_EQ(opened, nullptr);
  EXPECT_TRUE(log.has(0, "DepotNew exit.  Error -4 creating semaphore path\n"));
}

TEST_F(NewDepotHandle, FindsItsLocksInTheDirectoryThatWasCurrentWhenItWasOpened) {
  ASSERT_EQ(open((directory / "fresh/depot").c_str()), ok);
  fs::create_directory("elsewhere");
  fs::current_path("elsewhere");
  log.clear();
  EXPECT_EQ(DepotGetEntry(opened, "segment", "1"), nullptr);
  EXPECT_EQ(log.upTo(2), Lines{});
  EXPECT_EQ(namesHere(), std::vector<std::string>{});
  fs::current_path("..");
}

TEST_F(DepotHandle, RaisesBothSemaphoresWhileItsProcessLives) {
  for (const bool isKilled : {false, true}) {
    const test::Event opened;
    const test::Event mayEnd;
    test::Child child([&] {
      Depot *own = nullptr;
      CHILD_EXPECT(DepotNew(&own, "depot", 0) == ok);
      opened.raise();
      CHILD_EXPECT(mayEnd.await());
      return 0;
    });
    ASSERT_TRUE(opened.await());
    EXPECT_EQ(semaphore("depot.lk"), 3);
    EXPECT_EQ(semaphore("entry.lk"), 3);
    if (isKilled) {
      child.kill();
    } else {
      mayEnd.raise();
      EXPECT_EQ(child.wait(), 0);
    }
    EXPECT_EQ(semaphore("depot.lk"), 2);
    EXPECT_EQ(semaphore("entry.lk"), 2);
  }
}

TEST_F(DepotHandle, RaisesBothSemaphoresForEachHandleOfAProcess) {
  openAnother();
  openAnother();
  EXPECT_EQ(semaphore("depot.lk"), 4);
  EXPECT_EQ(semaphore("entry.lk"), 4);
}

TEST_F(DepotHandle, TellsItsDirectory) {
  EXPECT_STREQ(DepotGetDir(depot), "depot");
  EXPECT_EQ(DepotGetDir(depot), depot->directory);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotGetDir entry\n"},
                                {3, "DepotGetDir exit\n"},
                                {3, "DepotGetDir entry\n"},
                                {3, "DepotGetDir exit\n"}}));
}

TEST_F(DepotHandle, TellsItsDirectoryWithoutItsLocks) {
  destroySemaphore("depot.lk");
  destroySemaphore("entry.lk");
  EXPECT_STREQ(DepotGetDir(depot), "depot");
}

TEST_F(DepotHandle, MovesToADirectoryThatItMakes) {
  const mode_t mask = umask(0);
  std::string path = "moved";
  EXPECT_EQ(DepotSetDir(depot, path.c_str()), ok);
  umask(mask);
  EXPECT_EQ(log.lines(), traceOfSetDir);
  EXPECT_EQ(modeOf("moved"), 0700U);
  path.assign("other");
  EXPECT_STREQ(DepotGetDir(depot), "moved");
  EXPECT_EQ(semaphore("depot.lk"), 2);
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotHandle, MovesToADirectoryThatIsThere) {
  fs::create_directory("there");
  fs::create_directory_symlink("there", "link");
  for (const char *path : {"there", "link", "there/", ".", "depot"}) {
    EXPECT_EQ(DepotSetDir(depot, path), ok);
    EXPECT_STREQ(DepotGetDir(depot), path);
  }
}

TEST_F(DepotHandle, MovesToTheUsualDirectoryWhenNoneIsGiven) {
  DepotSetDir(depot, "moved");
  fs::remove("depot");
  EXPECT_EQ(DepotSetDir(depot, nullptr), ok);
  EXPECT_STREQ(DepotGetDir(depot), "depot");
  EXPECT_TRUE(fs::is_directory("depot"));
}

TEST_F(DepotHandle, MovesAlsoWhereItsDirectoryCannotBeHadAndSaysSo) {
  for (const BadDirectory &bad : badDirectories) {
    log.clear();
    EXPECT_EQ(DepotSetDir(depot, bad.path.c_str()), bad.result) << bad.path;
    EXPECT_EQ(log.lines(), traceOfSetDir);
    EXPECT_EQ(DepotGetDir(depot), bad.path);
  }
  EXPECT_EQ(semaphore("depot.lk"), 2);
}

TEST_F(DepotHandle, LeavesTheStringOfItsOldDirectoryAsItWas) {
  const char *first = DepotGetDir(depot);
  DepotSetDir(depot, "second");
  const char *second = DepotGetDir(depot);
  DepotSetDir(depot, second);
  EXPECT_STREQ(first, "depot");
  EXPECT_STREQ(second, "second");
  EXPECT_STREQ(DepotGetDir(depot), "second");
  EXPECT_NE(DepotGetDir(depot), second) << "a copy of the argument";
}

TEST_F(DepotHandle, IsMovedWithoutTheLockByThoseWhoHoldIt) {
  destroySemaphore("depot.lk");
  EXPECT_EQ(DepotSetDir_internal(depot, "moved"), ok);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotSetDir entry\n"}, {3, "DepotSetDir exit\n"}}));
  EXPECT_STREQ(DepotGetDir(depot), "moved");
  EXPECT_TRUE(fs::is_directory("moved"));
  for (const BadDirectory &bad : badDirectories) {
    EXPECT_EQ(DepotSetDir_internal(depot, bad.path.c_str()), bad.result) << bad.path;
    EXPECT_EQ(DepotGetDir(depot), bad.path);
  }
  EXPECT_EQ(DepotSetDir_internal(depot, nullptr), ok);
  EXPECT_STREQ(DepotGetDir(depot), "depot");
}

TEST_F(DepotHandle, StaysWhereItIsWithoutTheLock) {
  destroySemaphore("depot.lk");
  EXPECT_EQ(DepotSetDir(depot, "moved"), lockFailed(EINVAL));
  EXPECT_STREQ(DepotGetDir(depot), "depot");
  EXPECT_FALSE(fs::exists("moved"));
}

TEST_F(DepotHandle, IsReleasedWithItsRecordsNewestFirst) {
  add("older");
  add("newer");
  const std::vector<std::string> files = names();
  EXPECT_EQ(files.size(), 4U);
  log.clear();
  EXPECT_EQ(release(), ok);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotFree entry\n"},
                                {3, "DepotFreeEntry_internal entry\n"},
                                {3, "DepotFreeEntry_internal exit\n"},
                                {3, "DepotFreeEntry_internal entry\n"},
                                {3, "DepotFreeEntry_internal exit\n"},
                                {3, "DepotFree exit\n"}}));
  EXPECT_EQ(names(), files) << "nothing on disk changes";
}

TEST_F(DepotHandle, LeavesLockFilesAndPostedSemaphoresBehind) {
  EXPECT_EQ(release(), ok);
  EXPECT_EQ(semaphore("depot.lk"), 2) << "waited on and posted";
  EXPECT_EQ(semaphore("entry.lk"), 3) << "posted only";
  EXPECT_TRUE(fs::exists("depot.lk"));
  EXPECT_TRUE(fs::exists("entry.lk"));
}

TEST_F(DepotHandle, OfNobodyIsReleasedWithALine) {
  EXPECT_EQ(DepotFree(nullptr), ok);
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotFree entry\n"}, {0, "DepotFree exit.  Invalid parameter\n"}}));
}

TEST_F(DepotHandle, IsReleasedEvenWithoutTheLock) {
  destroySemaphore("depot.lk");
  add("segment"); // tolerates that too
  log.clear();
  EXPECT_EQ(release(), lockFailed(EINVAL));
  ASSERT_GE(log.lines().size(), 2U);
  const Lines head(log.lines().begin(), log.lines().begin() + 2);
  EXPECT_EQ(head,
            (Lines{{3, "DepotFree entry\n"}, {1, "DepotFree continue. Ignore WAIT_TIMEOUT\n"}}));
  EXPECT_EQ(log.count(3, "DepotFreeEntry_internal exit\n"), 1);
  EXPECT_EQ(log.lines().back(), (LogLine{3, "DepotFree exit\n"}));
}

TEST_F(DepotHandle, IsReleasedEvenWhereTheSystemRefusedItsSemaphores) {
  for (PalSemHandle *lock : {&depot->depotLock, &depot->entryLock}) {
    PalMemoryFree(std::exchange(lock->handle, nullptr));
  }
  EXPECT_EQ(release(), lockFailed(EINVAL));
  EXPECT_EQ(log.upTo(0), Lines{});
  EXPECT_TRUE(log.has(1, "DepotFree continue. Ignore WAIT_TIMEOUT\n"));
}

TEST_F(DepotHandle, StaysAllocatedWhenItsRecordsCannotBeListed) {
  PalList1 entries = std::exchange(depot->entries, nullptr);
  EXPECT_EQ(DepotFree(depot), invalid(1));
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotFree entry\n"},
                   {0, "DepotFree exit.  Error 21 creating iterator for depot entries\n"}}));
  EXPECT_EQ(semaphore("depot.lk"), 2);
  EXPECT_EQ(semaphore("entry.lk"), 2);
  depot->entries = entries;
  EXPECT_EQ(release(), ok);
}

TEST_F(DepotHandle, TakesAnInterruptedWaitForOneThatFailed) {
  const std::vector<std::function<bool()>> operations{
      [&] {
        return DepotSetDir(depot, "moved") == lockFailed(EINTR) &&
               log.has(0, "DepotSetDir exit.  Error -2(4) obtaining lock\n");
      },
      [&] {
        return DepotGetEntry(depot, "segment", "1") == nullptr &&
               log.has(0, "DepotGetEntry exit.  Error -2(4) obtaining lock\n");
      },
      [&] {
        return DepotFree(depot) == lockFailed(EINTR) &&
               log.has(1, "DepotFree continue. Ignore WAIT_TIMEOUT\n");
      },
  };
  const test::KeyFile key("depot.lk");
  for (const auto &operation : operations) {
    ASSERT_EQ(semctl(key.set(), 0, SETVAL, 0), 0);
    test::Child child([&] {
      CHILD_EXPECT(signal(SIGUSR1, [](int) {}) != SIG_ERR);
      CHILD_EXPECT(operation());
      return 0;
    });
    EXPECT_TRUE(test::await([&] { return key.waiters() == 1; }));
    child.send(SIGUSR1);
    EXPECT_EQ(child.wait(), 0);
  }
}

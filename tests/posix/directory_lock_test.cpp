#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "posix/directory_lock.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using Mode = sprig::DirectoryLock::Mode;
using test::Child;
using test::Event;

namespace {

namespace fs = std::filesystem;

class DirectoryLock : public test::DirectoryTest {
protected:
  DirectoryLock() { fs::create_directory(path); }

  void acquire(Mode mode = Mode::exclusive) { lock.acquire(path.c_str(), mode); }

  // Whether somebody else would get the lock at once.
  static bool admits(const std::string &path, int operation) {
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_NE(descriptor, -1) << path;
    const bool isAdmitted = flock(descriptor, operation | LOCK_NB) == 0;
    close(descriptor);
    return isAdmitted;
  }
  bool isFree() const { return admits(path, LOCK_EX); }
  bool isShared() const { return !admits(path, LOCK_EX) && admits(path, LOCK_SH); }
  bool isExclusive() const { return !admits(path, LOCK_SH); }

  static bool sleeps(pid_t process) {
    return test::readFile("/proc/" + std::to_string(process) + "/stat").find(") S ") !=
           std::string::npos;
  }

  // The flags of every descriptor that is open on the directory.
  std::vector<int> descriptorFlags() const {
    std::vector<int> flags;
    for (const auto &entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      if (fs::read_symlink(entry.path(), gone) == fs::canonical(path)) {
        flags.push_back(fcntl(std::stoi(entry.path().filename()), F_GETFD));
      }
    }
    return flags;
  }

  const std::string path = directory / "locked";
  sprig::DirectoryLock lock;
};

} // namespace

TEST_F(DirectoryLock, ExcludesEverybodyElse) {
  EXPECT_EQ(lock.held(), nullptr);
  acquire();
  EXPECT_TRUE(isExclusive());
  EXPECT_NE(lock.held(), nullptr);
  lock.release();
  EXPECT_TRUE(isFree());
  EXPECT_EQ(lock.held(), nullptr);
}

TEST_F(DirectoryLock, MayBeShared) {
  acquire(Mode::shared);
  EXPECT_TRUE(isShared());
  sprig::DirectoryLock other;
  other.acquire(path.c_str(), Mode::shared);
  lock.release();
  EXPECT_TRUE(isShared());
  other.release();
  EXPECT_TRUE(isFree());
}

TEST_F(DirectoryLock, IsCounted) {
  acquire();
  acquire();
  acquire();
  lock.release();
  lock.release();
  EXPECT_TRUE(isExclusive());
  lock.release();
  EXPECT_TRUE(isFree());
  lock.release();
  acquire();
  EXPECT_TRUE(isExclusive()) << "one release too many is not remembered";
}

TEST_F(DirectoryLock, KeepsTheModeOfItsFirstHolder) {
  acquire(Mode::shared);
  acquire(Mode::exclusive);
  EXPECT_TRUE(isShared());
  lock.release();
  lock.release();
  acquire(Mode::exclusive);
  acquire(Mode::shared);
  EXPECT_TRUE(isExclusive());
}

TEST_F(DirectoryLock, IsGivenBackWithItsObject) {
  {
    sprig::DirectoryLock other;
    other.acquire(path.c_str(), Mode::exclusive);
    EXPECT_TRUE(isExclusive());
  }
  EXPECT_TRUE(isFree());
}

TEST_F(DirectoryLock, MakesOtherProcessesWait) {
  acquire();
  const std::string mark = directory / "mark";
  Event begins;
  Child child([&] {
    begins.raise();
    acquire();
    CHILD_EXPECT(fs::exists(mark));
    return 0;
  });
  ASSERT_TRUE(begins.await());
  test::writeFile(mark, "");
  lock.release();
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DirectoryLock, DiesWithItsProcess) {
  Event isHeld;
  const Event never;
  Child child([&] {
    acquire();
    isHeld.raise();
    never.await();
    return 0;
  });
  ASSERT_TRUE(isHeld.await());
  EXPECT_TRUE(isExclusive());
  child.kill();
  EXPECT_TRUE(isFree());
}

TEST_F(DirectoryLock, IsNotTheForkedChilds) {
  acquire();
  Child child([&] {
    lock.release(); // holds nothing
    CHILD_EXPECT(isExclusive());
    lock.close(); // nor does its copy
    CHILD_EXPECT(isExclusive());
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_TRUE(isExclusive());
  lock.release();
  EXPECT_TRUE(isFree());
}

TEST_F(DirectoryLock, IsTakenByAForkedChildForItself) {
  acquire();
  lock.release(); // its descriptor stays, and is inherited
  Event isHeld;
  Event isSeen;
  Child child([&] {
    acquire();
    CHILD_EXPECT(isExclusive());
    isHeld.raise();
    CHILD_EXPECT(isSeen.await());
    lock.release();
    CHILD_EXPECT(isFree());
    return 0;
  });
  ASSERT_TRUE(isHeld.await());
  lock.release();
  EXPECT_TRUE(isExclusive()) << "the parent does not give back its child's";
  isSeen.raise();
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DirectoryLock, IsOnTheDirectoryThatThePathLeadsToNow) {
  const std::string old = directory / "old";
  acquire();
  lock.release();
  fs::rename(path, old);
  fs::create_directory(path);
  acquire();
  EXPECT_TRUE(isExclusive());
  EXPECT_TRUE(admits(old, LOCK_EX));
  sprig::DirectoryIdentity now;
  ASSERT_TRUE(sprig::identify(path.c_str(), now));
  ASSERT_NE(lock.held(), nullptr);
  EXPECT_EQ(*lock.held(), now);
}

TEST_F(DirectoryLock, FollowsALinkThatIsExchanged) {
  const std::string link = directory / "link";
  const std::string other = directory / "other";
  fs::create_directory(other);
  fs::create_directory_symlink(path, link);
  lock.acquire(link.c_str(), Mode::exclusive);
  EXPECT_TRUE(isExclusive());
  lock.release();
  fs::remove(link);
  fs::create_directory_symlink(other, link);
  lock.acquire(link.c_str(), Mode::exclusive);
  EXPECT_TRUE(isFree());
  EXPECT_FALSE(admits(other, LOCK_SH));
}

TEST_F(DirectoryLock, IsFoundExchangedAfterHavingBeenWaitedFor) {
  acquire();
  Event begins;
  Event isHeld;
  Event isSeen;
  Child child([&] {
    begins.raise();
    acquire();
    isHeld.raise();
    CHILD_EXPECT(isSeen.await());
    return 0;
  });
  ASSERT_TRUE(begins.await());
  ASSERT_TRUE(test::await([&] { return sleeps(child.pid()); }));
  const std::string next = directory / "next";
  fs::create_directory(next);
  ASSERT_EQ(renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, next.c_str(), RENAME_EXCHANGE), 0);
  lock.release();
  ASSERT_TRUE(isHeld.await());
  EXPECT_TRUE(isExclusive());
  EXPECT_TRUE(admits(next, LOCK_EX));
  isSeen.raise();
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(DirectoryLock, IsCountedWhereThereIsNoDirectory) {
  const std::string file = directory / "file";
  test::writeFile(file, "");
  const std::string missing = directory / "missing";
  for (const char *nowhere : {missing.c_str(), file.c_str(), static_cast<const char *>(nullptr)}) {
    lock.acquire(nowhere, Mode::exclusive);
    acquire(); // the second holder, who takes nothing more
    EXPECT_EQ(lock.held(), nullptr);
    EXPECT_TRUE(isFree());
    lock.release();
    lock.release();
  }
  acquire();
  EXPECT_TRUE(isExclusive());
}

TEST_F(DirectoryLock, IsLostWithItsDirectoryAndHadAgainWithTheNext) {
  acquire();
  fs::remove(path);
  lock.release();
  acquire();
  lock.release();
  fs::create_directory(path);
  acquire();
  EXPECT_TRUE(isExclusive());
}

TEST_F(DirectoryLock, HasOneDescriptorThatNoOtherProgramInherits) {
  for (int i = 0; i < 3; ++i) {
    acquire();
    EXPECT_EQ(descriptorFlags(), std::vector<int>{FD_CLOEXEC});
    lock.release();
  }
  lock.close();
  EXPECT_EQ(descriptorFlags(), std::vector<int>{});
}

TEST_F(DirectoryLock, IdentifiesADirectoryByAnyOfItsPaths) {
  sprig::DirectoryIdentity one;
  sprig::DirectoryIdentity same;
  sprig::DirectoryIdentity other;
  EXPECT_TRUE(sprig::identify(path.c_str(), one));
  EXPECT_TRUE(sprig::identify((path + "/../locked/.").c_str(), same));
  EXPECT_TRUE(sprig::identify(directory.path().c_str(), other));
  EXPECT_EQ(one, same);
  EXPECT_FALSE(one == other);
  EXPECT_FALSE(sprig::identify((directory / "missing").c_str(), other));
  EXPECT_FALSE(sprig::identify(nullptr, other));
}

// Locks on directories, watches over them, and what the process is, where the system has none.
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "posix/directory_lock.h"
#include "posix/directory_watch.h"
#include "posix/process.h"
#include "support/process.h"
#include "support/temporary_directory.h"
#include "torture/faults.h"

using Mode = sprig::DirectoryLock::Mode;
using test::Fault;

namespace {

class DirectoryLockFaults : public test::DirectoryTest {
protected:
  void acquire() { lock.acquire(directory.path().c_str(), Mode::exclusive); }

  bool isLocked() const {
    const int descriptor = open(directory.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_NE(descriptor, -1);
    const bool isHad = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    close(descriptor);
    return !isHad;
  }

  sprig::DirectoryLock lock;
};

class Names final : public sprig::DirectoryWatch::Listener {
public:
  void changed(std::string_view name, sprig::DirectoryWatch::Change /*change*/) override {
    if (all.empty() || all.back() != name) {
      all.emplace_back(name);
    }
  }

  std::vector<std::string> all;
};

class DirectoryWatchFaults : public test::DirectoryTest {
protected:
  void SetUp() override {
    ASSERT_TRUE(start()) << "TMPDIR has to be on a file system of this machine";
  }

  bool start() { return watch.start(directory.path().c_str()); }

  sprig::DirectoryWatch watch;
  Names names;
};

long descriptors() {
  const std::filesystem::directory_iterator all("/proc/self/fd");
  return std::distance(begin(all), end(all));
}

} // namespace

TEST_F(DirectoryLockFaults, GoOnWhenASignalComes) {
  {
    const Fault fault("flock", EINTR);
    acquire();
    EXPECT_TRUE(fault.hasStruck());
  }
  EXPECT_TRUE(isLocked());
  {
    const Fault fault("flock", EINTR);
    lock.release();
    EXPECT_TRUE(fault.hasStruck());
  }
  EXPECT_FALSE(isLocked());
}

TEST_F(DirectoryLockFaults, LeaveTheDirectoryUnlockedWithItsHoldersCounted) {
  for (const int nativeError : {ENOLCK, EBADF, EOPNOTSUPP}) {
    {
      Fault fault("flock", nativeError);
      fault.lasting();
      acquire();
      acquire();
      EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_NE(lock.held(), nullptr);
    EXPECT_FALSE(isLocked());
    lock.release();
    EXPECT_NE(lock.held(), nullptr);
    lock.release();
    EXPECT_EQ(lock.held(), nullptr);
    acquire();
    EXPECT_TRUE(isLocked()) << "it is tried again";
    lock.release();
  }
}

TEST_F(DirectoryLockFaults, LeakNoDescriptor) {
  const long before = descriptors();
  for (const std::string function : {"open", "fstat", "stat", "malloc"}) {
    for (const bool isLasting : {false, true}) {
      Fault fault(function, EIO);
      if (isLasting) {
        fault.lasting();
      }
      acquire();
      EXPECT_TRUE(fault.hasStruck()) << function;
      lock.release();
      lock.close();
    }
    EXPECT_EQ(descriptors(), before) << function;
  }
  acquire();
  EXPECT_TRUE(isLocked());
}

TEST_F(DirectoryWatchFaults, StartNoWatch) {
  watch.stop();
  const long before = descriptors();
  for (const char *function : {"inotify_init1", "inotify_add_watch", "statfs", "malloc"}) {
    const Fault fault(function, ENOSPC);
    EXPECT_FALSE(start()) << function;
    EXPECT_FALSE(watch.isRunning());
    EXPECT_TRUE(fault.hasStruck()) << function;
    EXPECT_EQ(descriptors(), before) << function;
  }
  EXPECT_TRUE(start());
}

TEST_F(DirectoryWatchFaults, LetItTellWithoutHavingAsked) {
  Names nothing;
  const auto tellsUnasked = [&](Names &listener) {
    const Fault fault("ioctl", EINVAL);
    const bool isTold = watch.tell(listener);
    return isTold && fault.hasStruck();
  };
  EXPECT_TRUE(tellsUnasked(nothing));
  EXPECT_EQ(nothing.all, std::vector<std::string>{});
  test::writeFile(directory / "a", "");
  EXPECT_TRUE(tellsUnasked(names));
  EXPECT_EQ(names.all, std::vector<std::string>{"a"});
}

TEST_F(DirectoryWatchFaults, LetItReadAgainWhenASignalComes) {
  test::writeFile(directory / "a", "");
  const Fault fault("read", EINTR);
  EXPECT_TRUE(watch.tell(names));
  EXPECT_TRUE(fault.hasStruck());
  EXPECT_EQ(names.all, std::vector<std::string>{"a"});
}

TEST_F(DirectoryWatchFaults, TellThatSomethingMayBeLost) {
  test::writeFile(directory / "a", "");
  const Fault fault("read", EIO);
  EXPECT_FALSE(watch.tell(names));
}

// In a process of its own, as the tests are run, these are the first to ask.
class CurrentProcessFaults : public testing::TestWithParam<const char *> {};

TEST_P(CurrentProcessFaults, LeaveItTheSystems) {
  const Fault fault(GetParam(), EINVAL);
  EXPECT_EQ(sprig::currentProcess(), getpid());
  EXPECT_EQ(sprig::currentProcess(), getpid());
  test::Child child([] {
    CHILD_EXPECT(sprig::currentProcess() == getpid());
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(sprig::currentProcess(), getpid());
}

INSTANTIATE_TEST_SUITE_P(Calls, CurrentProcessFaults, testing::Values("mmap", "madvise"),
                         [](const auto &call) { return std::string(call.param); });

#include <csignal>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "posix/process.h"
#include "support/process.h"

using sprig::currentProcess;

TEST(CurrentProcess, IsTheSystems) {
  EXPECT_EQ(currentProcess(), getpid());
  EXPECT_EQ(currentProcess(), getpid()) << "asked again";
}

TEST(CurrentProcess, IsAnotherInAForkedChild) {
  const pid_t parent = currentProcess();
  test::Child child([&] {
    CHILD_EXPECT(currentProcess() == getpid());
    CHILD_EXPECT(currentProcess() != parent);
    test::Child grandchild([] {
      CHILD_EXPECT(currentProcess() == getpid());
      return 0;
    });
    CHILD_EXPECT(grandchild.wait() == 0);
    CHILD_EXPECT(currentProcess() == getpid());
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(currentProcess(), parent);
}

TEST(CurrentProcess, IsAnotherInAChildThatWasForkedBehindTheLibrarysBack) {
  currentProcess();
  const long child = syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr);
  if (child == 0) {
    _exit(currentProcess() == static_cast<pid_t>(syscall(SYS_getpid)) ? 0 : 1);
  }
  ASSERT_GT(child, 0);
  int status = -1;
  ASSERT_EQ(waitpid(static_cast<pid_t>(child), &status, 0), child);
  EXPECT_EQ(status, 0);
}

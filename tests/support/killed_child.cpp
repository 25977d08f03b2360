#include "support/killed_child.h"

#include <cerrno>
#include <csignal>

#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace test {
namespace {

constexpr int systemCallStop = SIGTRAP | 0x80; // with PTRACE_O_TRACESYSGOOD

// Waits for the child's next stop: its signal, or 0 when the child has ended.
int nextStop(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFSTOPPED(status) ? WSTOPSIG(status) : 0;
}

// Lets the child run to where it enters or leaves a system call.
bool runToSystemCall(pid_t child) {
  int signal = 0;
  do {
    EXPECT_EQ(ptrace(PTRACE_SYSCALL, child, 0, signal), 0);
    signal = nextStop(child);
  } while (signal != 0 && signal != systemCallStop);
  return signal != 0;
}

} // namespace

bool killAtSystemCall(int call, const std::function<void()> &prepare,
                      const std::function<void()> &act) {
  const pid_t child = fork();
  if (child == 0) {
    prepare();
    ptrace(PTRACE_TRACEME, 0, 0, 0);
    raise(SIGSTOP);
    act();
    _exit(0);
  }
  EXPECT_EQ(nextStop(child), SIGSTOP);
  EXPECT_EQ(ptrace(PTRACE_SETOPTIONS, child, 0, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL), 0);
  // The first stops are the way out of raise().
  for (int entered = 0;;) {
    if (!runToSystemCall(child)) {
      return false;
    }
    if (++entered == call) {
      EXPECT_EQ(kill(child, SIGKILL), 0);
      EXPECT_EQ(nextStop(child), 0);
      return true;
    }
    if (!runToSystemCall(child)) {
      return false;
    }
  }
}

} // namespace test

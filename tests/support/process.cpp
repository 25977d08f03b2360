#include "support/process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>

#include <poll.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace test {
namespace {

// A hang ends a test after this long; no test that holds comes near it.
constexpr std::chrono::minutes never{1};

} // namespace

Child::Child(const std::function<int()> &body) : pid_(fork()) {
  if (pid_ == 0) {
    _exit(body());
  }
  EXPECT_GT(pid_, 0) << "fork failed";
}

Child::~Child() {
  if (pid_ > 0) {
    kill();
  }
}

int Child::wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) == -1 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void Child::send(int signal) const { EXPECT_EQ(::kill(pid_, signal), 0); }

int Child::kill() {
  send(SIGKILL);
  return wait();
}

std::vector<std::unique_ptr<Child>> startChildren(size_t count, const std::function<int()> &body) {
  std::vector<std::unique_ptr<Child>> children(count);
  for (auto &child : children) {
    child = std::make_unique<Child>(body);
  }
  return children;
}

bool await(const std::function<bool()> &condition) {
  const auto deadline = std::chrono::steady_clock::now() + never;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    sched_yield();
  }
  return true;
}

Event::Event() {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  read_ = ends[0];
  write_ = ends[1];
}

Event::~Event() {
  close(read_);
  close(write_);
}

void Event::raise() const { EXPECT_EQ(write(write_, "!", 1), 1); }

bool Event::await() const {
  pollfd ready{read_, POLLIN, 0};
  const int patience = std::chrono::duration_cast<std::chrono::milliseconds>(never).count();
  char mark = 0;
  return poll(&ready, 1, patience) == 1 && read(read_, &mark, 1) == 1;
}

} // namespace test

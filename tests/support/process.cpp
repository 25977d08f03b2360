#include "support/process.h"

#include <csignal>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace test {

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
  char mark = 0;
  return read(read_, &mark, 1) == 1;
}

} // namespace test

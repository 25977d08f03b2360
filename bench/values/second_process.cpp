#include "values/second_process.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

struct Request {
  uint64_t maker;
  int64_t size, times;
};

// Messages are small enough for a local socket to take and give them whole.
template <class Message> bool transferred(ssize_t length) {
  return length == static_cast<ssize_t>(sizeof(Message));
}

double run(const Task &task, int64_t times) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  for (int64_t k = 0; k < times; ++k) {
    task();
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void serve(int socket, Tasks tasks) {
  Request request{};
  while (transferred<Request>(read(socket, &request, sizeof request))) {
    const double seconds = run(tasks.get(request.maker, request.size), request.times);
    if (!transferred<double>(write(socket, &seconds, sizeof seconds))) {
      return;
    }
  }
}

} // namespace

const Task &Tasks::get(size_t maker, int64_t size) {
  Task &task = tasks_[{maker, size}];
  if (!task) {
    task = makers_[maker](size);
  }
  return task;
}

SecondProcess::SecondProcess(const char *name, const char *value,
                             const std::vector<TaskMaker> &makers) {
  std::array<int, 2> sockets{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
    throw std::runtime_error("there is no socket");
  }
  process_ = fork();
  if (process_ == 0) {
    close(sockets[0]);
    setenv(name, value, 1);
    try {
      serve(sockets[1], Tasks(makers));
    } catch (const std::exception &error) {
      (void)fprintf(stderr, "%s=%s: %s\n", name, value, error.what());
    }
    _exit(0);
  }
  close(sockets[1]);
  socket_ = sockets[0];
}

SecondProcess::~SecondProcess() {
  close(socket_);
  waitpid(process_, nullptr, 0);
}

double SecondProcess::seconds(size_t maker, int64_t size, int64_t times) const {
  const Request request{maker, size, times};
  double seconds = 0;
  if (!transferred<Request>(send(socket_, &request, sizeof request, MSG_NOSIGNAL)) ||
      !transferred<double>(read(socket_, &seconds, sizeof seconds))) {
    throw std::runtime_error("the second process is gone");
  }
  return seconds;
}

} // namespace bench

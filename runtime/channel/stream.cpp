#include "channel/stream.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/socket.h>

#include "host/quiet_write.h"

using namespace sprig::runtime;

namespace {

// What is wrong with a descriptor shows when it is used. False with errno set: ETIME behind the
// deadline, which no connection reports by itself.
bool awaitReady(int fd, short events, const Deadline &deadline) {
  pollfd ready{fd, events, 0};
  int result = 0;
  do {
    result = poll(&ready, 1, deadline.remaining());
  } while (result == -1 && errno == EINTR);
  if (result == 0) {
    errno = ETIME;
  }
  return result > 0;
}

bool isToBeContinued(ssize_t result) { return result == -1 && (errno == EINTR || errno == EAGAIN); }

msghdr messageOf(iovec *parts, int count) {
  msghdr message{};
  message.msg_iov = parts;
  message.msg_iovlen = static_cast<size_t>(count);
  return message;
}

// A socket can be asked not to wait, whatever its mode; of anything else, only poll() knows.
ssize_t readBefore(const Deadline &deadline, int fd, iovec *parts, int count) {
  msghdr message = messageOf(parts, count);
  const ssize_t result = recvmsg(fd, &message, MSG_DONTWAIT);
  if (result != -1 || errno != ENOTSOCK) {
    return result;
  }
  return awaitReady(fd, POLLIN, deadline) ? readv(fd, parts, count) : -1;
}

} // namespace

Deadline::Deadline(int milliseconds) : isNever_(milliseconds < 0) {
  if (!isNever_) {
    end_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  }
}

// Rounded up: what is left of the last millisecond is waited for, too.
int Deadline::remaining() const {
  if (isNever_) {
    return -1;
  }
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(0, left.count()));
}

ssize_t sprig::runtime::readSome(int fd, iovec *parts, int count, const Deadline &deadline) {
  for (;;) {
    const ssize_t result =
        deadline.isNever() ? readv(fd, parts, count) : readBefore(deadline, fd, parts, count);
    if (!isToBeContinued(result)) {
      return result;
    }
    if (errno == EAGAIN && deadline.remaining() == 0) {
      errno = ETIME;
      return -1;
    }
    if (errno == EAGAIN && !awaitReady(fd, POLLIN, deadline)) {
      return -1;
    }
  }
}

ssize_t sprig::runtime::writeSome(int fd, iovec *parts, int count) {
  const msghdr message = messageOf(parts, count);
  for (;;) {
    ssize_t result = sendmsg(fd, &message, MSG_NOSIGNAL);
    if (result == -1 && errno == ENOTSOCK) {
      result = writeWithoutSignal(fd, parts, count);
    }
    if (!isToBeContinued(result)) {
      return result;
    }
    if (errno == EAGAIN && !awaitReady(fd, POLLOUT, Deadline(-1))) {
      return -1;
    }
  }
}

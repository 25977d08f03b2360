// Reading and writing streams of bytes: sockets, pipes, blocking or not. Interrupted calls are
// continued, and nothing raises SIGPIPE.
#ifndef SPRIG_RUNTIME_CHANNEL_STREAM_H
#define SPRIG_RUNTIME_CHANNEL_STREAM_H

#include <chrono>

#include <sys/types.h>
#include <sys/uio.h>

namespace sprig::runtime {

// Until when to wait.
class Deadline {
public:
  // Negative: for ever. 0: not at all.
  explicit Deadline(int milliseconds);

  bool isNever() const { return isNever_; }
  // For poll().
  int remaining() const;

private:
  bool isNever_;
  std::chrono::steady_clock::time_point end_;
};

// Reads what is there, once anything is. As readv(); -1 with ETIME behind the deadline.
ssize_t readSome(int fd, iovec *parts, int count, const Deadline &deadline);

// Writes some of it, once there is room. As writev().
ssize_t writeSome(int fd, iovec *parts, int count);

} // namespace sprig::runtime

#endif

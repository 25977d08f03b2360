// A descriptor that is closed when nobody took it over. Closing leaves errno alone.
#ifndef SPRIG_RUNTIME_CHANNEL_DESCRIPTOR_H
#define SPRIG_RUNTIME_CHANNEL_DESCRIPTOR_H

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace sprig::runtime {

class Descriptor {
public:
  // -1: none.
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor &&other) noexcept : fd_(other.release()) {}
  Descriptor &operator=(Descriptor &&) = delete;
  ~Descriptor() {
    if (fd_ != -1) {
      const int error = errno;
      close(fd_);
      errno = error;
    }
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ != -1; }
  int release() { return std::exchange(fd_, -1); }

private:
  int fd_;
};

} // namespace sprig::runtime

#endif

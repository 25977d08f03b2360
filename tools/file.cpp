#include "file.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace tool {
namespace {

// Opening a FIFO would wait for its other end.
int opened(const std::string &path, int flags, mode_t mode = 0) {
  const int descriptor = open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode);
  if (descriptor == -1) {
    throw systemFailure(path);
  }
  return descriptor;
}

struct stat statusOf(const std::string &path, int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) == -1) {
    throw systemFailure(path);
  }
  return status;
}

void refuseUnlessRegular(const std::string &path, int descriptor) {
  const struct stat status = statusOf(path, descriptor);
  if (S_ISDIR(status.st_mode)) {
    throw systemFailure(path, EISDIR);
  }
  if (!S_ISREG(status.st_mode)) {
    throw Failure(path + ": Not a regular file");
  }
}

} // namespace

Descriptor::Descriptor(Descriptor &&other) noexcept : descriptor_(other.release()) {}

Descriptor &Descriptor::operator=(Descriptor other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

Descriptor::~Descriptor() {
  if (descriptor_ >= 0) {
    ::close(descriptor_);
  }
}

int Descriptor::release() noexcept { return std::exchange(descriptor_, -1); }

InputFile::InputFile(const std::string &path, bool isLinkFollowed)
    : path_(path), descriptor_(opened(path, O_RDONLY | (isLinkFollowed ? 0 : O_NOFOLLOW))) {
  refuseUnlessRegular(path_, descriptor_.get());
}

size_t InputFile::read(void *buffer, size_t length) {
  ssize_t count = 0;
  do {
    count = ::read(descriptor_.get(), buffer, length);
  } while (count == -1 && errno == EINTR);
  if (count == -1) {
    throw systemFailure(path_);
  }
  return static_cast<size_t>(count);
}

void InputFile::seek(uint64_t offset) {
  if (lseek(descriptor_.get(), static_cast<off_t>(offset), SEEK_SET) == -1) {
    throw systemFailure(path_);
  }
}

uint64_t InputFile::size() const {
  return static_cast<uint64_t>(statusOf(path_, descriptor_.get()).st_size);
}

OutputFile::OutputFile(const std::string &path, Start start, mode_t mode)
    : path_(path),
      descriptor_(opened(
          path, O_WRONLY | O_CREAT | O_NOFOLLOW | (start == Start::empty ? O_TRUNC : O_APPEND),
          mode)) {
  refuseUnlessRegular(path_, descriptor_.get());
}

void OutputFile::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor_.get(), bytes.data(), bytes.size());
    if (count == -1 && errno != EINTR) {
      throw systemFailure(path_);
    }
    bytes.remove_prefix(count == -1 ? 0 : static_cast<size_t>(count));
  }
}

void OutputFile::truncate(uint64_t size) {
  if (ftruncate(descriptor_.get(), static_cast<off_t>(size)) == -1) {
    throw systemFailure(path_);
  }
}

void OutputFile::close() {
  if (::close(descriptor_.release()) == -1) {
    throw systemFailure(path_);
  }
}

} // namespace tool

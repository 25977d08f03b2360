#include "posix/directory_lock.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/local_path.h"
#include "posix/process.h"

namespace sprig {
namespace {

// How often a directory may be exchanged between opening and locking it before it stays unlocked.
// Nobody does that by accident.
constexpr int attempts = 8;

// Retried when a signal interrupts it. Other failures leave the directory unlocked.
void change(int descriptor, int operation) {
  while (flock(descriptor, operation) == -1 && errno == EINTR) {
  }
}

} // namespace

bool identify(const char *path, DirectoryIdentity &identity) {
  struct stat status;
  if (path == nullptr) {
    return false;
  }
  // Asked in every operation: a path that is in the system's form already is not copied.
  const bool isLocal = strchr(path, '\\') == nullptr && PalPathIsPrefixNative(path) != 0;
  if ((isLocal ? stat(path, &status) : LocalPath(path).status(status)) < 0) {
    return false;
  }
  identity = {status.st_dev, status.st_ino};
  return true;
}

void DirectoryLock::acquire(const char *path, Mode mode) {
  forgetInherited();
  if (holders_++ > 0) {
    return;
  }
  for (int attempt = 0; attempt < attempts; ++attempt) {
    if (!descriptor_ && !open(path)) {
      return;
    }
    change(descriptor_.get(), mode == Mode::shared ? LOCK_SH : LOCK_EX);
    // Only now does it count where the path leads: the directory may have been exchanged while this
    // process waited, or long ago.
    DirectoryIdentity now;
    if (identify(path, now) && now == identity_) {
      return;
    }
    close();
  }
}

void DirectoryLock::release() {
  if (holders_ == 0 || process_ != currentProcess()) {
    return; // a child that was forked by a holder holds nothing
  }
  if (--holders_ == 0 && descriptor_) {
    change(descriptor_.get(), LOCK_UN);
  }
}

void DirectoryLock::close() {
  descriptor_.reset();
  identity_ = {};
}

bool DirectoryLock::open(const char *path) {
  if (path == nullptr) {
    return false;
  }
  const LocalPath local(path);
  descriptor_.reset(local ? ::open(local.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1);
  struct stat status;
  if (!descriptor_ || fstat(descriptor_.get(), &status) < 0) {
    close();
    return false;
  }
  identity_ = {status.st_dev, status.st_ino};
  return true;
}

// What a child may have inherited where the fork could not be noticed. Closing its copy gives
// nothing back as long as the parent has its own.
void DirectoryLock::forgetInherited() {
  const pid_t process = currentProcess();
  if (process_ != process) {
    close();
    holders_ = 0;
    process_ = process;
  }
}

} // namespace sprig

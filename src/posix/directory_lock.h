// A kernel lock on a directory, which excludes other processes for as long as this one lives and
// holds it.
#ifndef SPRIG_POSIX_DIRECTORY_LOCK_H
#define SPRIG_POSIX_DIRECTORY_LOCK_H

#include <sys/types.h>

#include "posix/own_descriptor.h"

namespace sprig {

// Which directory a path leads to.
struct DirectoryIdentity {
  dev_t device = 0;
  ino_t inode = 0;

  bool operator==(const DirectoryIdentity &) const = default;
};

// Asks the system where a path leads; false when it leads to nothing.
bool identify(const char *path, DirectoryIdentity &identity);

class DirectoryLock {
public:
  enum class Mode { shared, exclusive };

  // Waits for the lock on the directory that a path leads to now. The first to take it chooses the
  // mode; a holder that takes it again is only counted. Where there is no such directory, or its
  // file system has no such locks, the holder is counted all the same and nobody is excluded.
  void acquire(const char *path, Mode mode);
  void release();

  // Where the path led when the lock was taken; none while it is not held.
  const DirectoryIdentity *held() const {
    return holders_ > 0 && descriptor_ ? &identity_ : nullptr;
  }

  // Lets go of the directory, for a handle that moves to another one. Holders are still counted.
  void close();

private:
  bool open(const char *path);
  void forgetInherited();

  pid_t process_ = 0; // whose descriptor and holders these are
  OwnDescriptor descriptor_;
  int holders_ = 0;
  DirectoryIdentity identity_; // of what the descriptor is open on
};

} // namespace sprig

#endif

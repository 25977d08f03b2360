// How every operation on a path begins: check it, copy it, bring the copy into the system's form.
#ifndef SPRIG_POSIX_LOCAL_PATH_H
#define SPRIG_POSIX_LOCAL_PATH_H

#include <sys/stat.h>

#include "posix/error.h"

namespace sprig {

// The system's form of a caller's path, owned; none for a foreign path or when memory runs out.
// What a call on it did to errno has to be read while the path lives.
class LocalPath {
public:
  explicit LocalPath(const char *path)
      : copy_(PalStringDup(path)), native_(PalPathLocalize(copy_)) {}
  ~LocalPath() { PalMemoryFree(copy_); }
  LocalPath(const LocalPath &) = delete;
  LocalPath &operator=(const LocalPath &) = delete;

  explicit operator bool() const { return native_ != nullptr; }
  const char *c_str() const { return native_; }

  // stat(); the system's answer to a path that it has no form for is EFAULT.
  int status(struct stat &result) const {
    if (native_ == nullptr) {
      errno = copy_ == nullptr ? ENOMEM : EFAULT;
      return -1;
    }
    return stat(native_, &result);
  }

  // Why there is no native form.
  PalError failure(int32_t location) const {
    return copy_ == nullptr ? outOfMemory(location) : invalidParameter(location);
  }

private:
  char *copy_;
  const char *native_;
};

// Calls `use` with the system's form of a path and returns its outcome; reports a null path at
// `nullLocation` and a foreign one at `foreignLocation`.
template <typename Use>
PalError withLocalPath(const char *path, int32_t nullLocation, int32_t foreignLocation, Use use) {
  if (path == nullptr) {
    return invalidParameter(nullLocation);
  }
  const LocalPath local(path);
  return local ? use(local.c_str()) : local.failure(foreignLocation);
}

} // namespace sprig

#endif

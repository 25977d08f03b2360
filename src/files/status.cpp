// Its own file, because the caller's record has the caller's widths.
#include <cerrno>

#include <sys/stat.h>

#include <sprig/files.h>

int stat_ex(const char *path, struct stat *statbuf) {
  if (path == nullptr || statbuf == nullptr) {
    errno = EFAULT; // as the system says it
    return -1;
  }
  return stat(path, statbuf);
}

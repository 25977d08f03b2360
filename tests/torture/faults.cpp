#include "torture/faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/vfs.h>

namespace {

const char *chosen = nullptr;
int remaining = 0;
int failure = 0;
int failureResult = -1;
bool isLasting = false;
bool isThoughClosed = false;

bool strikes(const char *function) {
  if (chosen == nullptr || strcmp(chosen, function) != 0) {
    return false;
  }
  --remaining;
  if (remaining > 0 || (remaining < 0 && !isLasting)) {
    return false;
  }
  errno = failure;
  return true;
}

// The result of a call that fails to close something.
template <typename Close, typename Closed> int failedToClose(Close close, Closed closed) {
  if (isThoughClosed) {
    close(closed);
    errno = failure;
  }
  return -1;
}

// The result of a call that moves fewer bytes than it was asked for, or none.
template <typename Move, typename Buffer> ssize_t movedShort(Move move, int fd, Buffer buffer) {
  return failureResult < 0 ? -1 : move(fd, buffer, static_cast<size_t>(failureResult));
}

std::string chosenName;

} // namespace

namespace test {

Fault::Fault(const std::string &function, int nativeError, int call) {
  chosenName = function;
  failure = nativeError;
  remaining = call;
  isLasting = false;
  isThoughClosed = false;
  chosen = chosenName.c_str();
}

Fault &Fault::returning(int result) {
  failureResult = result;
  return *this;
}

Fault &Fault::lasting() {
  isLasting = true;
  return *this;
}

Fault &Fault::thoughClosed() {
  isThoughClosed = true;
  return *this;
}

Fault::~Fault() {
  chosen = nullptr;
  failureResult = -1;
}

bool Fault::hasStruck() const { return remaining <= 0; }

} // namespace test

// Each wrapper stands between the library's call and the function itself. NOLINTBEGIN(*)
extern "C" {

#define WRAP_AS(kind, result, name, failed, parameters, arguments)                                 \
  result __real_##name parameters;                                                                 \
  result __wrap_##name parameters { return strikes(kind) ? (failed) : __real_##name arguments; }

#define WRAP(result, name, failed, parameters, arguments)                                          \
  WRAP_AS(#name, result, name, failed, parameters, arguments)

WRAP_AS("malloc", void *, malloc, nullptr, (size_t size), (size))
WRAP_AS("malloc", void *, calloc, nullptr, (size_t count, size_t size), (count, size))
WRAP_AS("malloc", void *, realloc, nullptr, (void *address, size_t size), (address, size))

#if __WORDSIZE == 32
WRAP_AS("fstat", int, __fstat64_time64, -1, (int fd, struct stat *status), (fd, status))
WRAP_AS("stat", int, __stat64_time64, -1, (const char *path, struct stat *status), (path, status))
WRAP_AS("lstat", int, __lstat64_time64, -1, (const char *path, struct stat *status), (path, status))
#else
WRAP_AS("fstat", int, fstat64, -1, (int fd, struct stat *status), (fd, status))
WRAP_AS("stat", int, stat64, -1, (const char *path, struct stat *status), (path, status))
WRAP_AS("lstat", int, lstat64, -1, (const char *path, struct stat *status), (path, status))
#endif
WRAP(int, name_to_handle_at, -1,
     (int directory, const char *path, struct file_handle *handle, int *mount, int flags),
     (directory, path, handle, mount, flags))
WRAP_AS("statfs", int, statfs64, -1, (const char *path, struct statfs *status), (path, status))
WRAP(int, close, failedToClose(__real_close, fd), (int fd), (fd))
WRAP_AS("open", int, open64, -1, (const char *path, int flags, mode_t mode), (path, flags, mode))
WRAP(int, unlink, -1, (const char *path), (path))
WRAP(char *, tempnam, nullptr, (const char *directory, const char *prefix), (directory, prefix))
WRAP(int, remove, -1, (const char *path), (path))
WRAP(ssize_t, read, movedShort(__real_read, fd, buffer), (int fd, void *buffer, size_t size),
     (fd, buffer, size))
WRAP(ssize_t, write, movedShort(__real_write, fd, buffer),
     (int fd, const void *buffer, size_t size), (fd, buffer, size))
WRAP_AS("lseek", off64_t, lseek64, -1, (int fd, off64_t offset, int whence), (fd, offset, whence))
WRAP(int, flock, -1, (int fd, int operation), (fd, operation))
WRAP(int, mkdir, -1, (const char *path, mode_t mode), (path, mode))
WRAP(DIR *, opendir, nullptr, (const char *path), (path))
WRAP(int, closedir, failedToClose(__real_closedir, stream), (DIR * stream), (stream))
WRAP_AS("readdir", struct dirent *, readdir64, nullptr, (DIR * stream), (stream))

WRAP(int, getpwnam_r, failureResult,
     (const char *key, struct passwd *record, char *text, size_t size, struct passwd **found),
     (key, record, text, size, found))
WRAP(int, getpwuid_r, failureResult,
     (uid_t key, struct passwd *record, char *text, size_t size, struct passwd **found),
     (key, record, text, size, found))
WRAP(int, getgrnam_r, failureResult,
     (const char *key, struct group *record, char *text, size_t size, struct group **found),
     (key, record, text, size, found))
WRAP(int, getgrgid_r, failureResult,
     (gid_t key, struct group *record, char *text, size_t size, struct group **found),
     (key, record, text, size, found))

WRAP(int, inotify_init1, -1, (int flags), (flags))
WRAP(int, inotify_add_watch, -1, (int fd, const char *path, uint32_t mask), (fd, path, mask))
// What ioctl is given behind its request is a pointer.
WRAP(int, ioctl, -1, (int fd, unsigned long request, void *argument), (fd, request, argument))

WRAP_AS("mmap", void *, mmap64, reinterpret_cast<void *>(-1),
        (void *address, size_t size, int protection, int flags, int fd, off64_t offset),
        (address, size, protection, flags, fd, offset))
WRAP(int, madvise, -1, (void *address, size_t size, int advice), (address, size, advice))

WRAP(int, semget, -1, (key_t key, int count, int flags), (key, count, flags))
WRAP(int, semop, -1, (int set, struct sembuf *operations, size_t count), (set, operations, count))

// What semctl is given behind its command is a union no larger than a pointer.
int __real_semctl(int semid, int number, int command, ...);
int __wrap_semctl(int semid, int number, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void *value = va_arg(arguments, void *);
  va_end(arguments);
  return strikes("semctl") ? -1 : __real_semctl(semid, number, command, value);
}

} // extern "C" NOLINTEND(*)

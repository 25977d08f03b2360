#include "torture/faults.h"

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

namespace {

const char *chosen = nullptr;
int remaining = 0;
int failure = 0;
int failureResult = -1;

bool strikes(const char *function) {
  if (chosen == nullptr || strcmp(chosen, function) != 0 || --remaining != 0) {
    return false;
  }
  errno = failure;
  return true;
}

std::string chosenName;

} // namespace

namespace test {

Fault::Fault(const std::string &function, int nativeError, int call) {
  chosenName = function;
  failure = nativeError;
  remaining = call;
  chosen = chosenName.c_str();
}

Fault &Fault::returning(int result) {
  failureResult = result;
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
#else
WRAP_AS("fstat", int, fstat64, -1, (int fd, struct stat *status), (fd, status))
#endif
WRAP(int, close, -1, (int fd), (fd))
WRAP_AS("open", int, open64, -1, (const char *path, int flags, mode_t mode), (path, flags, mode))
WRAP(int, unlink, -1, (const char *path), (path))
WRAP(char *, tempnam, nullptr, (const char *directory, const char *prefix), (directory, prefix))
WRAP(int, closedir, -1, (DIR * stream), (stream))
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

WRAP(int, semget, -1, (key_t key, int count, int flags), (key, count, flags))

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

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/local_path.h"

struct PalNativeDirHandle {
  DIR *handle; // null after a failed open
};

using namespace sprig;

namespace {

constexpr size_t nameSize = 1024;
constexpr mode_t newDirectoryMode = 0700;
constexpr mode_t directoryBit = 0040000;

// Paths of directory operations are checked and localised at location 0.
template <typename Use> PalError withDirPath(const char *path, Use use) {
  return withLocalPath(path, 0, 0, use);
}

} // namespace

int PalDirIsDirectory(const char *path) {
  if (path == nullptr) {
    return 0;
  }
  const LocalPath local(path);
  struct stat status;
  if (local.status(status) < 0) {
    (void)fprintf(stderr, "get info failure: %s\n", strerror(errno));
    return 0;
  }
  return (status.st_mode & directoryBit) != 0;
}

PalError PalDirCreateDirectory(const char *path) {
  return withDirPath(path,
                     [](const char *local) { return outcome(mkdir(local, newDirectoryMode), 1); });
}

PalError PalDirOpen(PalDirHandle *handle, const char *path) {
  if (handle == nullptr) {
    return invalidParameter(0);
  }
  return withDirPath(path, [&](const char *local) {
    auto *record = static_cast<PalNativeDirHandle *>(PalMemoryMalloc(sizeof(PalNativeDirHandle)));
    if (record == nullptr) {
      return systemCallFailed(1);
    }
    record->handle = opendir(local);
    handle->handle = record;
    return record->handle == nullptr ? systemCallFailed(2) : success;
  });
}

PalError PalDirClose(PalDirHandle handle) {
  if (handle.handle == nullptr) {
    return success;
  }
  DIR *stream = handle.handle->handle;
  const PalError result = stream == nullptr ? PalError{PAL_SYSTEM_CALL_FAILED, EINVAL, 2}
                                            : outcome(closedir(stream), 2);
  PalMemoryFree(handle.handle);
  return result;
}

PalError PalDirReadDirectory(char *fname, PalDirHandle handle) {
  if (fname == nullptr || handle.handle == nullptr) {
    return invalidParameter(0);
  }
  const dirent *entry = handle.handle->handle == nullptr ? nullptr : readdir(handle.handle->handle);
  if (entry == nullptr) {
    return {PAL_NOT_FOUND, 0, 3};
  }
  strncpy(fname, entry->d_name, nameSize);
  return success;
}

PalError PalDirRemoveDirectory(const char *path) {
  return withDirPath(path, [](const char *local) { return outcome(rmdir(local), 1); });
}

PalError PalDirGetCurrentDirectory(char *fname) {
  if (fname == nullptr) {
    return invalidParameter(0);
  }
  return getcwd(fname, nameSize) == nullptr ? systemCallFailed(0) : success;
}

PalError PalDirSetCurrentDirectory(const char *path) {
  return withDirPath(path, [](const char *local) { return outcome(chdir(local), 1); });
}

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/account.h"
#include "posix/file.h"
#include "posix/file_mode.h"
#include "posix/local_path.h"

static_assert(sizeof(off_t) == sizeof(int64_t), "files are 64-bit on every system");
static_assert(sizeof(PalFileHandle) == sizeof(void *));
static_assert(sizeof(PalFileInfoT) == 2096);

using namespace sprig;

namespace {

constexpr mode_t newFileMode = 0600;
constexpr mode_t temporaryFileMode = 0700;

// The STREAMS flush request, which the system's headers no longer name.
constexpr unsigned long flushRequest = 0x5305;
constexpr int flushBothDirections = 3;

// Paths of file operations are checked at location 1 and localised at location 2.
template <typename Use> PalError withFilePath(const char *path, Use use) {
  return withLocalPath(path, 1, 2, use);
}

// Stores a new handle on a descriptor, which need not be a good one.
bool makeHandle(PalFileHandle *handle, int descriptor) {
  handle->handle = static_cast<int *>(PalMemoryMalloc(sizeof(int)));
  if (handle->handle == nullptr) {
    return false;
  }
  *handle->handle = descriptor;
  return true;
}

// Opens into a new handle. The handle comes first, so that no descriptor is lost without memory.
PalError openInto(PalFileHandle *handle, const char *path, int flags, mode_t mode,
                  int32_t location) {
  if (!makeHandle(handle, -1)) {
    return outOfMemory(location);
  }
  *handle->handle = open(path, flags, mode);
  return outcome(*handle->handle, location);
}

PalError makeStandardHandle(PalFileHandle *file, int descriptor) {
  if (file == nullptr) {
    return invalidParameter(1);
  }
  return makeHandle(file, descriptor) ? success : outOfMemory(0);
}

// Reports what read or write returned and hands out the count when it is one.
PalError transferred(ssize_t result, size_t *count) {
  if (result >= 0) {
    *count = static_cast<size_t>(result);
  }
  return outcome(result, 2);
}

// Gives a file to a named account. The account is looked up before the path is localised; one that
// is not found changes nothing.
PalError setOwnership(int (*find)(const char *, Ownership &), const char *name, const char *path) {
  if (name == nullptr || path == nullptr) {
    return invalidParameter(1);
  }
  Ownership owner;
  if (find(name, owner) < 0) {
    return systemCallFailed(2);
  }
  return withLocalPath(path, 1, 3, [&](const char *local) {
    return owner.isKnown ? outcome(chown(local, owner.user, owner.group), 4) : success;
  });
}

// Copies the name of a file's account, told from its status by `copyName`.
template <typename CopyName>
PalError getAccount(const char *name, const char *path, CopyName copyName) {
  if (name == nullptr) {
    return invalidParameter(1);
  }
  return withFilePath(path, [&](const char *local) {
    struct stat status;
    return stat(local, &status) < 0 ? systemCallFailed(3) : outcome(copyName(status), 4);
  });
}

uint64_t milliseconds(time_t seconds) {
  return static_cast<uint64_t>(static_cast<int64_t>(seconds)) * 1000;
}

void GetCanonicalStat(const struct stat &status, PalFileInfoT *info) {
  info->ctime = milliseconds(status.st_ctime);
  info->atime = milliseconds(status.st_atime);
  info->mtime = milliseconds(status.st_mtime);
  info->mode = GetPalPMode(status.st_mode);
  info->nlink = static_cast<int32_t>(status.st_nlink);
  info->size = status.st_size;
  info->dev = static_cast<int32_t>(status.st_dev);
  info->rdev = static_cast<int32_t>(status.st_rdev);
  info->user[0] = '\0';
  info->group[0] = '\0';
  copyUserName(info->user, status.st_uid, sizeof(info->user));
  copyGroupName(info->group, status.st_gid, sizeof(info->group));
}

bool identifyAt(int directory, const char *path, int flags, FileIdentity &identity) {
  alignas(file_handle) char memory[sizeof(file_handle) + sizeof identity.handle];
  auto *handle = reinterpret_cast<file_handle *>(memory);
  handle->handle_bytes = sizeof identity.handle;
  identity = {};
  if (name_to_handle_at(directory, path, handle, &identity.mount, flags) != 0) {
    return false;
  }
  identity.type = handle->handle_type;
  identity.size = handle->handle_bytes;
  memcpy(identity.handle.data(), handle->f_handle, handle->handle_bytes);
  return true;
}

// Tells something about a file, taken from its status by `tell`.
template <typename Tell> PalError withStatus(const char *path, const void *result, Tell tell) {
  if (path == nullptr || result == nullptr) {
    return invalidParameter(1);
  }
  const LocalPath local(path);
  struct stat status;
  if (local.status(status) < 0) {
    return systemCallFailed(2);
  }
  tell(status);
  return success;
}

} // namespace

PalError PalFileOpen(PalFileHandle *handle_ptr, const char *path, uint32_t oflag) {
  if (handle_ptr == nullptr) {
    return invalidParameter(1);
  }
  return withFilePath(path, [&](const char *local) {
    return openInto(handle_ptr, local, GetNativeOFlag(oflag), newFileMode, 3);
  });
}

bool sprig::identify(PalFileHandle handle, FileIdentity &identity) {
  return handle.handle != nullptr && identifyAt(*handle.handle, "", AT_EMPTY_PATH, identity);
}

bool sprig::identify(const char *path, FileIdentity &identity) {
  const LocalPath local(path);
  return local && identifyAt(AT_FDCWD, local.c_str(), AT_SYMLINK_FOLLOW, identity);
}

bool sprig::isGone(const char *path) {
  const LocalPath local(path);
  struct stat status;
  return local && lstat(local.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

PalError sprig::openWithoutWaiting(PalFileHandle *handle, const char *path) {
  return withFilePath(path, [&](const char *local) {
    return openInto(handle, local, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, newFileMode, 3);
  });
}

PalError sprig::openSoleName(PalFileHandle *handle, const char *path) {
  const PalError result = withFilePath(path, [&](const char *local) {
    constexpr int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | O_NOFOLLOW;
    return openInto(handle, local, flags, newFileMode, 3);
  });
  struct stat status;
  const bool isSole = result.palError == PAL_OK && fstat(*handle->handle, &status) == 0 &&
                      S_ISREG(status.st_mode) && status.st_nlink == 1;
  return result.palError != PAL_OK || isSole ? result : invalidParameter(4);
}

PalError PalFileClose(PalFileHandle handle) {
  if (handle.handle == nullptr) {
    return invalidParameter(1);
  }
  const PalError result = outcome(close(*handle.handle), 2);
  PalMemoryFree(handle.handle);
  return result;
}

PalError PalFileRemove(const char *path) {
  return withFilePath(path, [](const char *local) { return outcome(remove(local), 3); });
}

PalError PalFileFlushBuffers(PalFileHandle handle) {
  if (handle.handle == nullptr) {
    return invalidParameter(1);
  }
  return ioctl(*handle.handle, flushRequest, flushBothDirections) == 0 ? success
                                                                       : systemCallFailed(2);
}

PalError PalFileGetSize(PalFileHandle handle, int64_t *size) {
  if (handle.handle == nullptr || size == nullptr) {
    return invalidParameter(1);
  }
  struct stat status;
  const PalError result = outcome(fstat(*handle.handle, &status), 2);
  *size = result.palError == PAL_OK ? status.st_size : -1;
  return result;
}

PalError PalFileSetSize(PalFileHandle handle, int64_t size) {
  return handle.handle == nullptr ? invalidParameter(1)
                                  : outcome(ftruncate(*handle.handle, size), 2);
}

PalError PalFileRead(PalFileHandle handle, void *buffer, size_t size, size_t *count) {
  if (handle.handle == nullptr || count == nullptr) {
    return invalidParameter(1);
  }
  return transferred(read(*handle.handle, buffer, size), count);
}

PalError PalFileWrite(PalFileHandle handle, const void *buffer, size_t size, size_t *count) {
  if (handle.handle == nullptr || count == nullptr) {
    return invalidParameter(1);
  }
  return transferred(write(*handle.handle, buffer, size), count);
}

PalError PalFileRename(const char *oldPath, const char *newPath) {
  if (oldPath == nullptr || newPath == nullptr) {
    return invalidParameter(1);
  }
  return withFilePath(oldPath, [&](const char *oldLocal) {
    return withFilePath(newPath,
                        [&](const char *local) { return outcome(rename(oldLocal, local), 3); });
  });
}

PalError PalFileSetOwner(const char *owner, const char *path) {
  return setOwnership(findUser, owner, path);
}

PalError PalFileGetOwner(char *owner, const char *path, size_t n) {
  return getAccount(owner, path, [&](const struct stat &status) {
    return copyUserName(owner, status.st_uid, n);
  });
}

PalError PalFileSetGroup(const char *group, const char *path) {
  return setOwnership(findGroup, group, path);
}

PalError PalFileGetGroup(char *group, const char *path, size_t n) {
  return getAccount(group, path, [&](const struct stat &status) {
    return copyGroupName(group, status.st_gid, n);
  });
}

PalError PalFileSetPermissions(uint32_t permission, const char *path) {
  return withFilePath(path, [&](const char *local) {
    PalError result = outcome(chmod(local, GetNativePMode(permission)), 3);
    result.palError = PAL_OK; // callers carry on without the permissions they asked for
    return result;
  });
}

PalError PalFileGetPermissions(uint32_t *permission, const char *path) {
  if (permission == nullptr) {
    return invalidParameter(1);
  }
  PalFileInfoT info;
  const PalError result = PalFileGetInfo(path, &info);
  if (result.palError == PAL_OK) {
    *permission = info.mode;
  }
  return result;
}

PalError PalFileGetInfo(const char *path, PalFileInfoT *info) {
  return withStatus(path, info, [&](const struct stat &status) { GetCanonicalStat(status, info); });
}

PalError sprig::sizeOfFile(const char *path, uint64_t *size) {
  return withStatus(path, size, [&](const struct stat &status) {
    *size = static_cast<uint64_t>(status.st_size);
  });
}

PalError PalFileOpenTemporary(const char *directory, PalFileHandle *handle) {
  if (directory == nullptr || handle == nullptr) {
    return invalidParameter(1);
  }
  char name[1024];
  const PalError named = PalFileTempFilename(directory, name, sizeof(name));
  if (named.palError != PAL_OK) {
    return named;
  }
  if (name[sizeof(name) - 1] != '\0') { // cut short it would name another file
    return makeHandle(handle, -1) ? PalError{PAL_SYSTEM_CALL_FAILED, ENAMETOOLONG, 2}
                                  : outOfMemory(2);
  }
  // Exclusive: nobody may have put a file or a link of that name there in the meantime.
  const PalError opened = openInto(handle, name, O_RDWR | O_CREAT | O_EXCL, temporaryFileMode, 2);
  return opened.palError == PAL_OK ? outcome(unlink(name), 3) : opened;
}

PalError PalFileTempFilename(const char *directory, char *name, size_t n) {
  if (name == nullptr) {
    return invalidParameter(1);
  }
  return withLocalPath(directory, 1, 1, [&](const char *local) {
    char *made = tempnam(local, nullptr);
    if (made == nullptr) {
      return PalError{PAL_NOT_FOUND, 0, 2};
    }
    strncpy(name, made, n);
    PalMemoryFree(made);
    return success;
  });
}

PalError PalFileSetLocation(PalFileHandle handle, int64_t offset, int origin) {
  constexpr int whence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  if (handle.handle == nullptr || origin < 1 || origin > 3) {
    return invalidParameter(1);
  }
  return outcome(lseek(*handle.handle, offset, whence[origin - 1]), 2);
}

PalError PalFileGetLocation(PalFileHandle handle, int64_t *offset) {
  if (handle.handle == nullptr || offset == nullptr) {
    return invalidParameter(1);
  }
  const off_t position = lseek(*handle.handle, 0, SEEK_CUR);
  if (position >= 0) {
    *offset = position;
  }
  return outcome(position, 1);
}

PalError PalFileGetStdIn(PalFileHandle *file) { return makeStandardHandle(file, STDIN_FILENO); }

PalError PalFileGetStdOut(PalFileHandle *file) { return makeStandardHandle(file, STDOUT_FILENO); }

PalError PalFileGetStdErr(PalFileHandle *file) { return makeStandardHandle(file, STDERR_FILENO); }

PalError PalFilePrintf(PalFileHandle handle, size_t *n, const char *format, ...) {
  constexpr size_t textSize = 4096;
  auto *text = static_cast<char *>(PalMemoryMalloc(textSize));
  if (text == nullptr) {
    return outOfMemory(0);
  }
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, textSize, format, arguments);
  va_end(arguments);
  const bool isWhole = length >= 0 && static_cast<size_t>(length) < textSize;
  const PalError result = isWhole ? PalFileWrite(handle, text, static_cast<size_t>(length), n)
                                  : PalError{PAL_TEXT_TOO_LONG, 0, 0};
  PalMemoryFree(text);
  return result;
}

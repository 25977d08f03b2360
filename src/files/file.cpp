#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/file.h"
#include "files/pathname.h"
#include "framework/message.h"
#include "framework/new_record.h"

using sprig::MessageId;
using sprig::throwMessage;

namespace {

constexpr int32_t closedDescriptor = -1;

void release(void *file) {
  mg_free(static_cast<File *>(file)->path);
  mg_free(file);
}

// A file's record; closed, with errno set, where it cannot be opened.
File *openFile(const char *path, int flags, int mode) {
  return sprig::newRecord<File>(release, [&](File *file) {
    file->descriptor = closedDescriptor;
    file->path = mg_strdup(path);
    if (path == nullptr || !sprig::isPathName(path)) {
      errno = path == nullptr ? EFAULT : ENAMETOOLONG;
    } else {
      file->descriptor = open(path, flags, mode);
    }
  });
}

void mustNotBeNull(const File *file, MessageId message) {
  if (file == nullptr) {
    throwMessage(message);
  }
}

// The system may take a negative length for a large one.
bool isLength(int32_t length) {
  if (length < 0) {
    errno = EINVAL;
  }
  return length >= 0;
}

} // namespace

void sprig::closeAndRelease(void *block) {
  auto *file = static_cast<File *>(block);
  if (file == nullptr) {
    return;
  }
  char path[pathSize]; // outlives the record
  static_cast<void>(snprintf(path, sizeof path, "%s", file->path));
  const bool isClosed = file_is_open(file) == 0 || close(file->descriptor) == 0;
  release(file);
  if (!isClosed) {
    throwMessage(MessageId::fileNotClosed, path);
  }
}

File *file_open(const char *path, int flags) {
  File *file = openFile(path, flags, 0);
  if (file_is_open(file) == 0) {
    release(file);
    throwMessage(MessageId::fileNotOpened, path);
  }
  return file;
}

File *file_create(const char *path, int flags, int mode) {
  File *file = openFile(path, flags | O_CREAT, mode);
  if (file_is_open(file) == 0) {
    const int error = errno;
    release(file);
    throwMessage(MessageId::fileNotCreated, path, error);
  }
  return file;
}

int file_is_open(const File *file) {
  return file != nullptr && file->descriptor != closedDescriptor ? 1 : 0;
}

void file_close(File *file) {
  mustNotBeNull(file, MessageId::closedFileIsNull);
  if (close(file->descriptor) != 0) {
    throwMessage(MessageId::fileNotClosed, file->path);
  }
  file->descriptor = closedDescriptor;
}

void file_remove(File *file) {
  mustNotBeNull(file, MessageId::removedFileIsNull);
  if (remove(file->path) != 0) {
    throwMessage(MessageId::fileNotRemoved, file->path);
  }
}

void file_delete(File *file) {
  mustNotBeNull(file, MessageId::deletedFileIsNull);
  if (file_is_open(file) != 0) {
    file_close(file);
  }
  release(file);
}

int32_t file_read(File *file, void *buffer, int32_t length) {
  mustNotBeNull(file, MessageId::readFileIsNull);
  const ssize_t count =
      isLength(length) ? read(file->descriptor, buffer, static_cast<size_t>(length)) : -1;
  if (count == -1) {
    throwMessage(MessageId::fileNotRead, file->path, length, errno);
  }
  return static_cast<int32_t>(count);
}

int32_t file_write(File *file, const void *buffer, int32_t length) {
  mustNotBeNull(file, MessageId::writtenFileIsNull);
  if (!isLength(length) || write(file->descriptor, buffer, static_cast<size_t>(length)) != length) {
    throwMessage(MessageId::fileNotWritten, file->path, length);
  }
  return length;
}

int32_t file_seek(File *file, int32_t offset) {
  mustNotBeNull(file, MessageId::soughtFileIsNull);
  const off_t place = lseek(file->descriptor, offset, SEEK_SET);
  if (place == -1) {
    throwMessage(MessageId::fileNotSought, file->path, errno);
  }
  return static_cast<int32_t>(place);
}

int32_t file_get_size(const char *path) {
  struct stat status {};
  if (path == nullptr || stat(path, &status) != 0 || status.st_size > INT32_MAX) {
    throwMessage(MessageId::fileStatusUnknown, path);
  }
  return static_cast<int32_t>(status.st_size);
}

int file_access(const char *path, int mode) {
  if (path == nullptr || access(path, mode) != 0) {
    throwMessage(MessageId::fileNotAccessible, path, mode);
  }
  return 0;
}

int32_t file_get_mtime(const char *path) {
  struct stat status {};
  if (path == nullptr || stat(path, &status) != 0) {
    return -1;
  }
  return static_cast<int32_t>(std::clamp<int64_t>(status.st_mtime, INT32_MIN, INT32_MAX));
}

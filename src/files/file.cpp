#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/pathname.h"
#include "framework/message.h"
#include "framework/new_record.h"

using sprig::Message;
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

void mustNotBeNull(const File *file, Message message) {
  if (file == nullptr) {
    throwMessage(message);
  }
}

} // namespace

File *file_open(const char *path, int flags) {
  File *file = openFile(path, flags, 0);
  if (file_is_open(file) == 0) {
    release(file);
    throwMessage(Message::fileNotOpened, path);
  }
  return file;
}

File *file_create(const char *path, int flags, int mode) {
  File *file = openFile(path, flags | O_CREAT, mode);
  if (file_is_open(file) == 0) {
    const int error = errno;
    release(file);
    throwMessage(Message::fileNotCreated, path, error);
  }
  return file;
}

int file_is_open(const File *file) {
  return file != nullptr && file->descriptor != closedDescriptor ? 1 : 0;
}

void file_close(File *file) {
  mustNotBeNull(file, Message::closedFileIsNull);
  if (close(file->descriptor) != 0) {
    throwMessage(Message::fileNotClosed, file->path);
  }
  file->descriptor = closedDescriptor;
}

void file_remove(File *file) {
  mustNotBeNull(file, Message::removedFileIsNull);
  if (remove(file->path) != 0) {
    throwMessage(Message::fileNotRemoved, file->path);
  }
}

void file_delete(File *file) {
  mustNotBeNull(file, Message::deletedFileIsNull);
  if (file_is_open(file) != 0) {
    file_close(file);
  }
  release(file);
}

int32_t file_read(File *file, void *buffer, int32_t length) {
  mustNotBeNull(file, Message::readFileIsNull);
  const ssize_t count = read(file->descriptor, buffer, static_cast<size_t>(length));
  if (count == -1) {
    throwMessage(Message::fileNotRead, file->path, length, errno);
  }
  return static_cast<int32_t>(count);
}

int32_t file_write(File *file, const void *buffer, int32_t length) {
  mustNotBeNull(file, Message::writtenFileIsNull);
  const ssize_t count = write(file->descriptor, buffer, static_cast<size_t>(length));
  if (count == -1 || count != length) { // a length of -1 is none
    throwMessage(Message::fileNotWritten, file->path, length);
  }
  return length;
}

int32_t file_seek(File *file, int32_t offset) {
  mustNotBeNull(file, Message::soughtFileIsNull);
  const off_t place = lseek(file->descriptor, offset, SEEK_SET);
  if (place == -1) {
    throwMessage(Message::fileNotSought, file->path, errno);
  }
  return static_cast<int32_t>(place);
}

int32_t file_get_size(const char *path) {
  struct stat status {};
  if (stat(path, &status) != 0 || status.st_size > INT32_MAX) {
    throwMessage(Message::fileStatusUnknown, path);
  }
  return static_cast<int32_t>(status.st_size);
}

int file_access(const char *path, int mode) {
  if (access(path, mode) != 0) {
    throwMessage(Message::fileNotAccessible, path, mode);
  }
  return 0;
}

int32_t file_get_mtime(const char *path) {
  struct stat status {};
  if (stat(path, &status) != 0) {
    return -1;
  }
  return static_cast<int32_t>(std::clamp<int64_t>(status.st_mtime, INT32_MIN, INT32_MAX));
}

#include "streams/file_list.h"

#include <cstring>
#include <utility>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "framework/new_record.h"

namespace {

// What could not be closed cannot be closed again.
void releaseRecord(void *block) {
  auto *file = static_cast<File *>(block);
  file->descriptor = -1;
  file_delete(file);
}

void releaseNames(void *block) {
  auto *files = static_cast<FileList *>(block);
  mg_free(files->list);
  mg_free(files);
}

} // namespace

FileList *sprig::newFileList(const char *text) {
  return newRecord<FileList>(releaseNames, [&](FileList *files) {
    files->list = mg_strdup(text);
    files->cursor = files->list;
  });
}

void sprig::releaseFileList(void *block) {
  if (block == nullptr) {
    return;
  }
  inTryFrame([&] {
    ex_delegate(block, releaseNames);
    closeAndRelease(std::exchange(static_cast<FileList *>(block)->current, nullptr));
  });
}

void sprig::closeAndRelease(File *file) {
  if (file == nullptr) {
    return;
  }
  inTryFrame([&] {
    ex_delegate(file, releaseRecord);
    if (file_is_open(file) != 0) {
      file_close(file);
    }
  });
}

char *get_next_file(FileList *files) {
  char *name = files->cursor;
  if (name != nullptr) {
    char *comma = strchr(name, ',');
    files->cursor = comma == nullptr ? nullptr : comma + 1;
    if (comma != nullptr) {
      *comma = '\0';
    }
  }
  return name;
}

#include "streams/file_list.h"

#include <cstring>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/file.h"
#include "framework/new_record.h"

namespace {

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
  if (block != nullptr) {
    File *current = static_cast<FileList *>(block)->current;
    releaseNames(block);
    closeAndRelease(current);
  }
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

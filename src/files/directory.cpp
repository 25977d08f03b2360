#include <cerrno>
#include <cstring>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/pathname.h"
#include "framework/message.h"
#include "framework/new_record.h"

using sprig::MessageId;
using sprig::throwMessage;

namespace {

void releaseDir(void *dir) { dir_delete(static_cast<Dir *>(dir)); }

void releaseEntries(void *entries) { dir_entry_enum_delete(static_cast<DirEntryEnum *>(entries)); }

constexpr mode_t directoryMode = 0700;

} // namespace

Dir *dir_new(const char *path) {
  return sprig::newRecord<Dir>(releaseDir, [&](Dir *dir) { dir->path = pathname_clone(path); });
}

void dir_delete(Dir *dir) {
  if (dir != nullptr) {
    pathname_delete(dir->path);
    mg_free(dir);
  }
}

char *dir_get_pathname(Dir *dir) { return dir->path; }

DirEntryEnum *dir_entry_enum_new(Dir *dir, const char *pattern) {
  auto *entries = sprig::newRecord<DirEntryEnum>(releaseEntries, [&](DirEntryEnum *made) {
    made->pattern = mg_strdup(pattern);
    made->name =
        static_cast<char *>(mg_calloc(1, static_cast<size_t>(pathname_max_component_length())));
    made->stream = opendir(dir->path);
    made->flag = 1;
  });
  if (entries->stream == nullptr) {
    dir_entry_enum_delete(entries);
    return nullptr;
  }
  return entries;
}

DirEntryEnum *dir_entries(Dir *dir, const char *pattern) {
  return dir_entry_enum_new(dir, pattern);
}

int dir_entry_enum_has_more_elements(DirEntryEnum *entries) {
  if (entries == nullptr) {
    return 0;
  }
  while (const dirent *entry = readdir(entries->stream)) {
    const char *name = entry->d_name;
    const bool isOwnOrParent = strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
    if (!isOwnOrParent && sprig::isPathName(name) && match(entries->pattern, name) == 0) {
      memcpy(entries->name, name, strlen(name) + 1);
      return 1;
    }
  }
  return 0;
}

char *dir_entry_enum_next_element(DirEntryEnum *entries) { return entries->name; }

void dir_entry_enum_delete(DirEntryEnum *entries) {
  if (entries == nullptr) {
    return;
  }
  if (entries->stream != nullptr) {
    closedir(entries->stream);
  }
  mg_free(entries->pattern);
  mg_free(entries->name);
  mg_free(entries);
}

int dir_create_directory(const char *path) {
  if (path == nullptr) {
    throwMessage(MessageId::directoryIsNull);
  }
  if (!sprig::isPathName(path) || mkdir(path, directoryMode) != 0) {
    throwMessage(MessageId::directoryNotCreated, path);
  }
  return 0;
}

int dir_is_directory(const char *path) {
  if (path != nullptr && !sprig::isPathName(path)) {
    return 0;
  }
  char *plain = pathname_clone(path);
  pathname_remove_separator(plain);
  struct stat status {};
  const bool isDirectory = stat(plain, &status) == 0 && S_ISDIR(status.st_mode);
  pathname_delete(plain);
  return isDirectory ? 1 : 0;
}

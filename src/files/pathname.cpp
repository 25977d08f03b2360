// Path names: text in buffers of a fixed size, in which nothing is ever cut.
#include "files/pathname.h"

#include <cstring>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "framework/message.h"
#include "framework/new_record.h"

using sprig::MessageId;
using sprig::throwMessage;

int pathname_max_length(void) { return sprig::pathSize; }
int pathname_max_component_length(void) { return sprig::pathSize; }

char *pathname_new(void) { return static_cast<char *>(mg_calloc(1, sprig::pathSize)); }

char *pathname_clone(const char *path) {
  char *copy = pathname_new();
  if (path == nullptr || !sprig::isPathName(path)) {
    pathname_delete(copy);
    throwMessage(MessageId::clonedPathIsUnusable);
  }
  return strcpy(copy, path);
}

void pathname_delete(char *path) { mg_free(path); }

void pathname_append_separator(char *path) {
  if (path == nullptr) {
    return;
  }
  const size_t length = strlen(path);
  const bool isThere = length > 0 && path[length - 1] == '/';
  if (!isThere && length + 1 < sprig::pathSize) {
    path[length] = '/';
    path[length + 1] = '\0';
  }
}

void pathname_remove_separator(char *path) {
  if (path == nullptr) {
    return;
  }
  for (size_t length = strlen(path); length > 1 && path[length - 1] == '/'; --length) {
    path[length - 1] = '\0';
  }
}

char *pathname_append(char *path, const char *name) {
  const size_t nameLength = name == nullptr ? 0 : strlen(name); // it may be a part of the path
  pathname_append_separator(path);
  const size_t length = strlen(path);
  const bool isSeparated = length > 0 && path[length - 1] == '/';
  if (name == nullptr || !isSeparated || nameLength >= sprig::pathSize - length) {
    throwMessage(MessageId::appendedNameIsUnusable);
  }
  memmove(path + length, name, nameLength);
  path[length + nameLength] = '\0';
  return path;
}

char *pathname_clone_and_append(const char *path, const char *name) {
  char *copy = nullptr;
  sprig::inTryFrame([&] {
    copy = pathname_clone(path);
    ex_delegate(copy, mg_free);
    pathname_append(copy, name);
    ex_undelegate(copy, 0);
  });
  return copy;
}

char *pathname_get_name(char *path) {
  char *separator = strrchr(path, '/');
  if (separator == nullptr) {
    separator = strrchr(path, '\\');
  }
  return separator == nullptr ? path : separator + 1;
}

char *pathname_build_filename(const char *a, const char *b, const char *c) {
  if (a == nullptr || b == nullptr || c == nullptr) {
    return nullptr;
  }
  const size_t size = strlen(a) + strlen(b) + strlen(c) + 1;
  char *name = static_cast<char *>(mg_calloc(1, size));
  return strcat(strcat(strcpy(name, a), b), c);
}

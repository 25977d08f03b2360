#include <cstring>
#include <unistd.h>

#include <sprig/pal.h>

namespace {

constexpr const char *serverMark = "\\\\";
constexpr const char *driveMark = ":\\";

bool beginsWith(const char *path, const char *start) {
  return strncmp(path, start, strlen(start)) == 0;
}

// An empty path counts as beginning with a slash.
bool isRooted(const char *path) { return *path == '\0' || *path == '/'; }

// The root part of an absolute path: through the first component, the server or the drive letter.
size_t prefixLength(const char *path) {
  if (*path == '\0') {
    return 0;
  }
  if (*path == '/') {
    return 1 + strcspn(path + 1, "/");
  }
  const size_t start = beginsWith(path, serverMark) ? strlen(serverMark) : 0;
  return start + strcspn(path + start, "\\");
}

// The last separator in the first `length` bytes of a path, or null.
const char *lastSeparator(const char *path, size_t length) {
  for (const char *at = path + length; at != path; --at) {
    if (at[-1] == '/' || at[-1] == '\\') {
      return at - 1;
    }
  }
  return nullptr;
}

} // namespace

int PalPathIsPathAbsolute(const char *path) {
  return path != nullptr &&
         (isRooted(path) || beginsWith(path, serverMark) || strstr(path, driveMark) != nullptr);
}

char *PalPathGetPrefix(char *prefix, const char *path, size_t prefix_len) {
  if (prefix == nullptr || !PalPathIsPathAbsolute(path)) {
    return nullptr;
  }
  if (prefix_len > 0) {
    *prefix = '\0';
    strncat(prefix, path, prefixLength(path) < prefix_len ? prefixLength(path) : prefix_len - 1);
  }
  return prefix;
}

int PalPathIsPrefixNative(const char *path) {
  return !PalPathIsPathAbsolute(path) || isRooted(path);
}

char *PalPathMakeAbsolute(char *absolute_path, const char *relative_path, size_t length) {
  if (absolute_path == nullptr) {
    return nullptr;
  }
  if (PalPathIsPathAbsolute(relative_path)) {
    return strncpy(absolute_path, relative_path, length);
  }
  if (getcwd(absolute_path, length) == nullptr) {
    if (length > 0) {
      *absolute_path = '\0';
    }
    return nullptr;
  }
  strcat(absolute_path, "/");
  return PalStringNCat(absolute_path, relative_path, length);
}

char *PalPathGetName(char *name, const char *path, size_t name_len) {
  const char *separator = path == nullptr ? nullptr : lastSeparator(path, strlen(path));
  return PalStringNCpy(name, separator == nullptr ? "Failure" : separator + 1, name_len);
}

char *PalPathGetParent(char *name, const char *path, size_t name_len) {
  if (name == nullptr || name_len == 0) {
    return name;
  }
  PalStringNCpy(name, path, name_len);
  const char *separator = lastSeparator(name, strnlen(name, name_len));
  if (separator != nullptr) {
    name[separator - name] = '\0';
  }
  return name;
}

char *PalPathLocalize(char *path) {
  if (path == nullptr || !PalPathIsPrefixNative(path)) {
    return nullptr;
  }
  for (char *at = strchr(path, '\\'); at != nullptr; at = strchr(at, '\\')) {
    *at = '/';
  }
  return path;
}

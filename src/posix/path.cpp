#include <algorithm>
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

constexpr size_t none = static_cast<size_t>(-1);

// Where the last separator in the first `length` bytes of a path stands, or none.
size_t lastSeparator(const char *path, size_t length) {
  while (length > 0 && path[length - 1] != '/' && path[length - 1] != '\\') {
    --length;
  }
  return length > 0 ? length - 1 : none;
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
    const size_t length = std::min(prefixLength(path), prefix_len - 1);
    memcpy(prefix, path, length);
    prefix[length] = '\0';
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
  const size_t separator = path == nullptr ? none : lastSeparator(path, strlen(path));
  return PalStringNCpy(name, separator == none ? "Failure" : path + separator + 1, name_len);
}

char *PalPathGetParent(char *name, const char *path, size_t name_len) {
  if (name == nullptr || name_len == 0) {
    return name;
  }
  PalStringNCpy(name, path, name_len);
  const size_t separator = lastSeparator(name, strnlen(name, name_len));
  if (separator != none) {
    name[separator] = '\0';
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

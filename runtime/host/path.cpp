#include <algorithm>
#include <cstring>
#include <string_view>

#include <sprig/framework.h>

char *CorrectPath(const char *path, int /*style*/) {
  if (path == nullptr) {
    return nullptr;
  }
  const bool isAbsolute = *path == '/';
  char *const corrected = static_cast<char *>(mg_malloc(strlen(path) + sizeof "."));
  char *end = corrected;
  if (isAbsolute) {
    *end++ = '/';
  }
  char *const first = end;
  std::string_view rest = path;
  while (!rest.empty()) {
    const std::string_view component = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(rest.size(), component.size() + 1));
    if (component.empty() || component == ".") {
      continue;
    }
    if (end != first) {
      *end++ = '/';
    }
    end += component.copy(end, component.size());
  }
  if (end == corrected && *path != '\0') { // nothing but "." is where one is
    *end++ = '.';
  }
  *end = '\0';
  return corrected;
}

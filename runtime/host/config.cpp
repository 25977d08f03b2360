// Configuration files: lines "key=value".
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/framework.h>

#include "exceptions/frame.h"

namespace {

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(blanks);
  return first == std::string_view::npos
             ? std::string_view{}
             : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

char *copyOf(std::string_view text) {
  char *copy = static_cast<char *>(mg_malloc(text.size() + 1));
  copy[text.copy(copy, text.size())] = '\0';
  return copy;
}

void readLine(std::string_view line, ConfigKey *table, int count) {
  line = trimmed(line);
  const size_t sign = line.find('=');
  if (line.empty() || line.front() == '#' || sign == std::string_view::npos) {
    return;
  }
  const std::string_view key = trimmed(line.substr(0, sign));
  const std::string_view value = trimmed(line.substr(sign + 1));
  for (int i = 0; i < count; ++i) {
    if (table[i].name != nullptr && key == table[i].name) {
      mg_free(std::exchange(table[i].value, copyOf(value)));
    }
  }
}

void forget(ConfigKey *table, int count) {
  for (int i = 0; i < count; ++i) {
    mg_free(std::exchange(table[i].value, nullptr));
  }
}

// Without waiting for a writer where it is a pipe; that is no configuration file.
FILE *openFile(const char *path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor == -1) {
    return nullptr;
  }
  struct stat status {};
  FILE *file = nullptr;
  if (fstat(descriptor, &status) == 0) {
    errno = EINVAL;
    file = S_ISREG(status.st_mode) ? fdopen(descriptor, "r") : nullptr;
  }
  if (file == nullptr) {
    const int nativeError = errno;
    close(descriptor);
    errno = nativeError;
  }
  return file;
}

} // namespace

int mrt_get_config_from_file(const char *path, ConfigKey *table, int count) {
  FILE *file = path == nullptr ? (errno = EINVAL, nullptr) : openFile(path);
  if (file == nullptr) {
    return -1;
  }
  char *line = nullptr;
  size_t room = 0;
  void *exception = nullptr;
  sprig::runtime::inTryFrame(
      [&] {
        ssize_t length = 0;
        while ((length = getline(&line, &room, file)) >= 0) {
          readLine({line, static_cast<size_t>(length)}, table, count);
        }
      },
      [&](void *thrown) { exception = thrown; });
  const bool isWhole = feof(file) != 0;
  const int nativeError = errno;
  free(line);
  (void)fclose(file);
  if (exception != nullptr || !isWhole) {
    forget(table, count);
  }
  if (exception != nullptr) {
    sprig::runtime::throwRecord(exception);
  }
  errno = nativeError;
  return isWhole ? 0 : -1;
}

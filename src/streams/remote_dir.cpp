// The list of directories that are searched for segments.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/streams.h>

#include "framework/message.h"
#include "framework/try_frame.h"
#include "streams/search.h"

namespace {

constexpr const char *listName = "remote.dir";
constexpr size_t lineSize = 4096; // with the NUL

// Null where it cannot be read, or where reading it would wait for somebody.
FILE *openForReading(const char *path) {
  const int descriptor = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  struct stat status {};
  if (descriptor != -1 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
    if (FILE *file = fdopen(descriptor, "r")) {
      return file;
    }
  }
  if (descriptor != -1) {
    close(descriptor);
  }
  return nullptr;
}

enum class Line { read, tooLong, none };

// Reads a line without its end, of which as much as there is room for is kept.
Line readLine(FILE *file, char (&line)[lineSize]) {
  size_t length = 0;
  int byte = getc(file);
  if (byte == EOF) {
    return Line::none;
  }
  for (; byte != EOF && byte != '\n'; byte = getc(file)) {
    if (length < lineSize - 1) {
      line[length] = static_cast<char>(byte);
    }
    ++length;
  }
  if (length >= lineSize) {
    line[lineSize - 1] = '\0';
    return Line::tooLong;
  }
  line[length] = '\0';
  if (length > 0 && line[length - 1] == '\r') {
    line[length - 1] = '\0';
  }
  return Line::read;
}

} // namespace

char *sprig::inDataDirectory(const char *name) {
  const char *directory = cpl_getenv("KRT_DATDIR");
  return pathname_build_filename(directory, "/", name);
}

void sprig::searchRemoteDirectories(Toc *toc, StringList *foundPaths) {
  inTryFrame([&] {
    char *path = inDataDirectory(listName);
    ex_delegate(path, mg_free);
    FILE *file = path == nullptr ? nullptr : openForReading(path);
    if (file == nullptr) {
      throwMessage(MessageId::remoteDirMissing, path == nullptr ? listName : path);
    }
    ex_delegate(file, [](void *opened) { static_cast<void>(fclose(static_cast<FILE *>(opened))); });
    char line[lineSize];
    while (hasUnfound(toc)) {
      const Line outcome = readLine(file, line);
      if (outcome == Line::none) {
        break;
      }
      if (outcome == Line::tooLong) {
        LogQ("sprig: A line of %s is too long.", path);
      } else if (line[0] != '#' && line[0] != '\0') {
        net_stream_search_endpoint_depot(toc, line, foundPaths);
      }
    }
  });
}

#include "files/work_directory.h"

#include <cerrno>

#include <sys/stat.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "framework/try_frame.h"

namespace {

constexpr mode_t directoryMode = 0775;

// A block, or null.
char *workDirectory() {
  char *directory = mrt_get_work_dir();
  if (directory != nullptr && *directory != '\0') {
    return directory;
  }
  mg_free(directory);
  return mg_strdup(cpl_tmpdir());
}

void makeDirectory(const char *path) {
  struct stat status {};
  if (stat(path, &status) != 0 && errno == ENOENT) {
    static_cast<void>(mkdir(path, directoryMode));
  }
}

} // namespace

char *sprig::directoryInWorkDirectory(const char *name) {
  char *path = nullptr;
  inTryFrame([&] {
    char *work = workDirectory();
    ex_delegate(work, mg_free);
    char *corrected = CorrectPath(work, 1);
    ex_delegate(corrected, mg_free);
    if (corrected != nullptr) {
      path = pathname_clone_and_append(corrected, name);
      makeDirectory(path);
    }
  });
  return path;
}

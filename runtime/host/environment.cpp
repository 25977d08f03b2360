// Where a process finds its directories and its configuration file.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>

#include <sprig/framework.h>

namespace {

// An environment variable; null also where it is empty.
const char *setting(const char *name) {
  const char *value = getenv(name);
  return value == nullptr || *value == '\0' ? nullptr : value;
}

} // namespace

const char *cpl_getenv(const char *name) { return name == nullptr ? nullptr : getenv(name); }

const char *cpl_tmpdir() {
  const char *directory = setting("TMPDIR");
  return directory == nullptr ? "/tmp" : directory;
}

char *mrt_get_work_dir() { return mg_strdup(setting("KRT_WORKDIR")); }

char *mrt_get_config_filespec() {
  if (const char *file = setting("KRT_CONFIG")) {
    return mg_strdup(file);
  }
  const char *directory = setting("KRT_DATDIR");
  if (directory == nullptr) {
    return nullptr;
  }
  const size_t size = strlen(directory) + sizeof "/krt.cfg";
  char *file = static_cast<char *>(mg_malloc(size));
  (void)snprintf(file, size, "%s/krt.cfg", directory);
  struct stat status {};
  if (stat(file, &status) != 0) {
    mg_free(file);
    return nullptr;
  }
  return file;
}

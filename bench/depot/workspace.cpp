#include "depot/workspace.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <sys/ipc.h>
#include <sys/sem.h>

namespace bench {
namespace {

void removeSemaphore(const std::string &lockFile) {
  const key_t key = ftok(lockFile.c_str(), 1);
  const int set = key == -1 ? -1 : semget(key, 1, 0);
  if (set != -1) {
    semctl(set, 0, IPC_RMID);
  }
}

} // namespace

Workspace::Workspace()
    : path_(std::filesystem::absolute(std::filesystem::temp_directory_path()) /
            "sprig-bench-XXXXXX") {
  require(mkdtemp(path_.data()) != nullptr, path_);
  std::filesystem::current_path(path_);
  std::filesystem::create_directory(*this / "buried");
}

Workspace::~Workspace() {
  for (const char *lockFile : {"depot.lk", "entry.lk", "enum.lk"}) {
    removeSemaphore(*this / lockFile);
  }
  std::error_code error;
  std::filesystem::current_path("/", error);
  std::filesystem::remove_all(path_, error);
  if (error) {
    (void)fprintf(stderr, "%s: %s\n", path_.c_str(), error.message().c_str());
  }
}

bool Workspace::bury(const std::string &path) {
  const std::string grave = *this / ("buried/" + std::to_string(buried_++));
  return rename(path.c_str(), grave.c_str()) == 0;
}

void require(bool condition, const std::string &what) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

} // namespace bench

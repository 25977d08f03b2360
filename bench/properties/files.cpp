#include "properties/files.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace bench {
namespace {

void require(bool condition, const std::string &path) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category(), path);
  }
}

} // namespace

void writeFile(const std::string &path, const std::string &bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const auto length = static_cast<uint32_t>(bytes.size());
  require(write(file, &length, sizeof length) == sizeof length, path);
  require(write(file, bytes.data(), length) == static_cast<ssize_t>(length), path);
  require(close(file) == 0, path);
}

std::string readFile(const std::string &path) {
  const int file = open(path.c_str(), O_RDONLY);
  uint32_t length = 0;
  require(read(file, &length, sizeof length) == sizeof length, path);
  struct stat status {};
  require(stat(path.c_str(), &status) == 0, path);
  std::string bytes(static_cast<size_t>(status.st_size) - sizeof length, '\0');
  require(read(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(length), path);
  require(close(file) == 0, path);
  return bytes;
}

Directory::Directory() : path_(std::filesystem::temp_directory_path() / "sprig-bench-XXXXXX") {
  require(mkdtemp(path_.data()) != nullptr, path_);
}

Directory::~Directory() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
}

} // namespace bench

#include "support/temporary_directory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace test {

TemporaryDirectory::TemporaryDirectory()
    : path_(std::filesystem::temp_directory_path() / "sprig-test-XXXXXX") {
  if (mkdtemp(path_.data()) == nullptr) {
    ADD_FAILURE() << "no temporary directory: " << path_;
  }
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code error;
  std::filesystem::remove_all(path_, error);
  EXPECT_FALSE(error) << path_ << ": " << error.message();
}

std::string readFile(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string &path, const std::string &content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  EXPECT_TRUE(file.good()) << path;
}

} // namespace test

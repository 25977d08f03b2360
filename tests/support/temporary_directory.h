// A directory for one test, gone with everything in it when the test ends.
#ifndef SPRIG_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H
#define SPRIG_TESTS_SUPPORT_TEMPORARY_DIRECTORY_H

#include <string>

#include <gtest/gtest.h>

namespace test {

class TemporaryDirectory {
public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory &) = delete;
  TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

  const std::string &path() const { return path_; }
  std::string operator/(const std::string &name) const { return path_ + '/' + name; }

private:
  std::string path_;
};

// A test with a directory of its own.
class DirectoryTest : public testing::Test {
protected:
  TemporaryDirectory directory;
};

// The whole of a small file, and a file with given content.
std::string readFile(const std::string &path);
void writeFile(const std::string &path, const std::string &content);

} // namespace test

#endif

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/files.h>

#include "files/failure.h"
#include "support/temporary_directory.h"

namespace {

class TimeOfAFile : public test::DirectoryTest {
protected:
  TimeOfAFile() { test::writeFile(path, ""); }

  // What is told of a file that was modified then.
  int32_t toldOf(time_t seconds) const {
    const timespec times[] = {{0, UTIME_OMIT}, {seconds, 0}};
    EXPECT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    return file_get_mtime(path.c_str());
  }

  const std::string path = directory / "f";
};

} // namespace

TEST_F(TimeOfAFile, IsWhenItWasModified) {
  EXPECT_EQ(toldOf(0), 0);
  EXPECT_EQ(toldOf(1700000000), 1700000000);
  EXPECT_EQ(toldOf(-5), -5) << "before the epoch";
  EXPECT_EQ(toldOf(INT32_MAX), INT32_MAX);
}

TEST_F(TimeOfAFile, IsTheLastThereIsFrom2038On) {
  constexpr time_t in2038 = time_t{1} << 31;
  EXPECT_EQ(toldOf(in2038), INT32_MAX);
  EXPECT_EQ(toldOf(in2038 + 1000), INT32_MAX);
  EXPECT_EQ(toldOf(3 * in2038), INT32_MAX);
}

TEST_F(TimeOfAFile, IsThatOfTheFileThatALinkLeadsTo) {
  const std::string link = directory / "link";
  ASSERT_EQ(symlink("f", link.c_str()), 0);
  EXPECT_EQ(toldOf(1234), 1234);
  EXPECT_EQ(file_get_mtime(link.c_str()), 1234);
}

TEST_F(TimeOfAFile, IsFoundByAPathOf1023Bytes) {
  EXPECT_EQ(toldOf(1234), 1234);
  EXPECT_EQ(file_get_mtime(test::stretched(directory.path(), "f", 1023).c_str()), 1234);
}

TEST_F(TimeOfAFile, IsMinusOneWhereItCannotBeFound) {
  for (const std::string &other : {directory / "missing", path + "/x", std::string()}) {
    errno = 0;
    EXPECT_EQ(file_get_mtime(other.c_str()), -1);
    EXPECT_NE(errno, 0);
  }
  EXPECT_EQ(file_get_mtime(nullptr), -1);
}

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/pal_error.h"
#include "support/temporary_directory.h"

using test::failed;
using test::invalid;
using test::ok;

namespace {

namespace fs = std::filesystem;

class TemporaryFile : public test::DirectoryTest {
protected:
  TemporaryFile() { unsetenv("TMPDIR"); }
  ~TemporaryFile() override {
    if (!environment.empty()) {
      setenv("TMPDIR", environment.c_str(), 1);
    } else {
      unsetenv("TMPDIR");
    }
  }

  const char *wanted() const { return directory.path().c_str(); }

private:
  const std::string environment = getenv("TMPDIR") == nullptr ? "" : getenv("TMPDIR");
};

} // namespace

TEST_F(TemporaryFile, HasANameThatIsFree) {
  char name[1024];
  EXPECT_EQ(PalFileTempFilename(wanted(), name, sizeof(name)), ok);
  EXPECT_EQ(fs::path(name).parent_path(), directory.path());
  EXPECT_FALSE(fs::exists(name));
}

TEST_F(TemporaryFile, HasItsNameInTheEnvironmentsDirectoryFirst) {
  const test::TemporaryDirectory other;
  setenv("TMPDIR", other.path().c_str(), 1);
  char name[1024];
  EXPECT_EQ(PalFileTempFilename(wanted(), name, sizeof(name)), ok);
  EXPECT_EQ(fs::path(name).parent_path(), other.path());
}

TEST_F(TemporaryFile, HasItsNameInTheSystemsDirectoryWhereTheWantedOneIsMissing) {
  char name[1024];
  EXPECT_EQ(PalFileTempFilename((directory / "missing").c_str(), name, sizeof(name)), ok);
  EXPECT_EQ(fs::path(name).parent_path(), P_tmpdir);
}

TEST_F(TemporaryFile, HasItsNameInADirectoryWrittenWithBackslashes) {
  fs::create_directory(directory / "d");
  char name[1024];
  EXPECT_EQ(PalFileTempFilename((directory.path() + "\\d").c_str(), name, sizeof(name)), ok);
  EXPECT_EQ(fs::path(name).parent_path(), directory / "d");
}

TEST_F(TemporaryFile, HasANameCutToTheBuffer) {
  char name[] = "zzzzzz";
  EXPECT_EQ(PalFileTempFilename(wanted(), name, 3), ok);
  EXPECT_EQ(std::string(name), directory.path().substr(0, 3) + "zzz");
}

TEST_F(TemporaryFile, HasNoNameWithoutANativeDirectoryOrABuffer) {
  char name[16] = "before";
  EXPECT_EQ(PalFileTempFilename("c:\\tmp", name, sizeof(name)), invalid(1));
  EXPECT_EQ(PalFileTempFilename(nullptr, name, sizeof(name)), invalid(1));
  EXPECT_EQ(PalFileTempFilename(wanted(), nullptr, 16), invalid(1));
  EXPECT_STREQ(name, "before");
}

TEST_F(TemporaryFile, IsOpenWithoutAName) {
  const mode_t mask = umask(0);
  PalFileHandle handle{};
  ASSERT_EQ(PalFileOpenTemporary(wanted(), &handle), ok);
  umask(mask);
  EXPECT_TRUE(fs::is_empty(directory.path()));
  struct stat status {};
  ASSERT_EQ(fstat(*handle.handle, &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  EXPECT_EQ(status.st_nlink, 0U);

  char buffer[4] = "";
  size_t count = 0;
  EXPECT_EQ(PalFileWrite(handle, "abc", 3, &count), ok);
  EXPECT_EQ(PalFileSetLocation(handle, 0, 1), ok);
  EXPECT_EQ(PalFileRead(handle, buffer, 3, &count), ok);
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(PalFileClose(handle), ok);
}

TEST_F(TemporaryFile, IsNotOpenedWithoutANativeDirectoryOrAHandle) {
  PalFileHandle handle{};
  EXPECT_EQ(PalFileOpenTemporary(nullptr, &handle), invalid(1));
  EXPECT_EQ(PalFileOpenTemporary(wanted(), nullptr), invalid(1));
  EXPECT_EQ(PalFileOpenTemporary("\\\\server\\tmp", &handle), invalid(1));
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(TemporaryFile, IsNeverOpenedUnderANameThatWasCut) {
  std::string deep = directory.path();
  while (deep.size() < 1020) {
    deep += '/' + std::string(std::min<size_t>(200, 1021 - deep.size()), 'd');
  }
  fs::create_directories(deep);
  PalFileHandle handle{};
  EXPECT_EQ(PalFileOpenTemporary(deep.c_str(), &handle), failed(ENAMETOOLONG, 2));
  ASSERT_NE(handle.handle, nullptr);
  EXPECT_EQ(PalFileClose(handle), failed(EBADF, 2));
}

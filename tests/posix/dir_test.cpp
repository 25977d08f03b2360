#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/pal_error.h"
#include "support/temporary_directory.h"

using test::failed;
using test::invalid;
using test::ok;

namespace {

namespace fs = std::filesystem;

constexpr const char *drivePath = "c:\\dir";
constexpr PalError atEnd{PAL_NOT_FOUND, 0, 3};

class Dir : public test::DirectoryTest {
protected:
  ~Dir() override { fs::current_path("/"); }

  // What PalDirIsDirectory() answers and prints.
  int isDirectory(const std::string &name) {
    testing::internal::CaptureStderr();
    const int answer = PalDirIsDirectory((directory / name).c_str());
    printed = testing::internal::GetCapturedStderr();
    return answer;
  }

  PalError openAndClose(const std::string &path) {
    PalDirHandle handle{};
    const PalError result = PalDirOpen(&handle, path.c_str());
    EXPECT_EQ(PalDirClose(handle), result.palError == PAL_OK ? ok : failed(EINVAL, 2));
    return result;
  }

  std::string printed;
};

} // namespace

TEST_F(Dir, IsToldFromAFile) {
  test::writeFile(directory / "f", "");
  EXPECT_EQ(isDirectory("."), 1);
  EXPECT_EQ(isDirectory("f"), 0);
  EXPECT_EQ(printed, "");
  EXPECT_EQ(PalDirIsDirectory(nullptr), 0);
}

TEST_F(Dir, IsToldByOneBitThatSocketsHaveToo) {
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  strncpy(address.sun_path, (directory / "s").c_str(), sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
  EXPECT_EQ(isDirectory("s"), 1);
  close(socket);

  ASSERT_EQ(mkfifo((directory / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(isDirectory("fifo"), 0);
  EXPECT_EQ(PalDirIsDirectory("/dev/null"), 0);
}

TEST_F(Dir, IsToldByTheBitThatBlockDevicesHaveToo) {
  // Only the superuser may make one; without it there is nothing of that name.
  const bool isMade = mknod((directory / "b").c_str(), S_IFBLK | 0600, makedev(7, 0)) == 0;
  EXPECT_EQ(isMade, geteuid() == 0);
  EXPECT_EQ(isDirectory("b"), isMade ? 1 : 0);
}

TEST_F(Dir, IsTheOneThatALinkLeadsTo) {
  fs::create_directory(directory / "d");
  fs::create_symlink("d", directory / "link");
  EXPECT_EQ(isDirectory("link"), 1);
}

TEST_F(Dir, IsReachedByAPathWithBackslashesWhateverIsDoneToIt) {
  const std::string path = directory.path() + "\\d";
  PalDirHandle handle{};
  EXPECT_EQ(PalDirCreateDirectory(path.c_str()), ok);
  EXPECT_TRUE(fs::is_directory(directory / "d"));
  EXPECT_EQ(PalDirOpen(&handle, path.c_str()), ok);
  EXPECT_EQ(PalDirClose(handle), ok);
}

TEST_F(Dir, SaysOnStandardErrorWhatItCannotTell) {
  EXPECT_EQ(isDirectory("missing"), 0);
  EXPECT_EQ(printed, "get info failure: No such file or directory\n");
  testing::internal::CaptureStderr();
  EXPECT_EQ(PalDirIsDirectory(drivePath), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "get info failure: Bad address\n");
}

TEST_F(Dir, IsFoundByAPathWithBackslashes) {
  fs::create_directories(directory / "a/b");
  EXPECT_EQ(isDirectory("a\\b"), 1);
}

TEST_F(Dir, IsCreatedForItsOwnerOnly) {
  const mode_t mask = umask(0);
  EXPECT_EQ(PalDirCreateDirectory((directory / "d").c_str()), ok);
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat((directory / "d").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  EXPECT_EQ(PalDirCreateDirectory((directory / "d").c_str()), failed(EEXIST, 1));
  EXPECT_EQ(PalDirCreateDirectory((directory / "x/y").c_str()), failed(ENOENT, 1));
}

TEST_F(Dir, IsRemovedWhenItIsEmpty) {
  fs::create_directories(directory / "d/sub");
  EXPECT_EQ(PalDirRemoveDirectory((directory / "d").c_str()), failed(ENOTEMPTY, 1));
  EXPECT_EQ(PalDirRemoveDirectory((directory / "d\\sub").c_str()), ok);
  EXPECT_FALSE(fs::exists(directory / "d/sub"));
}

TEST_F(Dir, IsReadEntryByEntryWithItselfAndItsParent) {
  const std::string odd = "\xff\xfe";
  test::writeFile(directory / "f", "");
  test::writeFile(directory / odd, "");
  PalDirHandle handle{};
  ASSERT_EQ(PalDirOpen(&handle, directory.path().c_str()), ok);
  std::set<std::string> names;
  char name[1024];
  PalError result = PalDirReadDirectory(name, handle);
  for (; result == ok; result = PalDirReadDirectory(name, handle)) {
    names.insert(name);
  }
  EXPECT_EQ(result, atEnd);
  EXPECT_EQ(PalDirReadDirectory(name, handle), atEnd);
  EXPECT_EQ(names, (std::set<std::string>{".", "..", "f", odd}));
  EXPECT_EQ(PalDirClose(handle), ok);
}

TEST_F(Dir, FillsTheWholeNameBuffer) {
  PalDirHandle handle{};
  ASSERT_EQ(PalDirOpen(&handle, directory.path().c_str()), ok);
  char name[1025];
  memset(name, 'z', sizeof(name));
  EXPECT_EQ(PalDirReadDirectory(name, handle), ok);
  EXPECT_EQ(std::string(name + 2, 1022), std::string(1022, '\0').replace(0, 1, 1, name[2]));
  EXPECT_EQ(name[1023], '\0');
  EXPECT_EQ(name[1024], 'z');
  EXPECT_EQ(PalDirClose(handle), ok);
}

TEST_F(Dir, LeavesAHandleWhenItCannotBeOpened) {
  PalDirHandle handle{};
  EXPECT_EQ(PalDirOpen(&handle, (directory / "missing").c_str()), failed(ENOENT, 2));
  ASSERT_NE(handle.handle, nullptr);
  char name[1024];
  EXPECT_EQ(PalDirReadDirectory(name, handle), atEnd);
  EXPECT_EQ(PalDirClose(handle), failed(EINVAL, 2));
}

TEST_F(Dir, IsNotOpenedWhereThereIsAFileOrTooLongAPath) {
  test::writeFile(directory / "f", "");
  EXPECT_EQ(openAndClose(directory / "f"), failed(ENOTDIR, 2));
  EXPECT_EQ(openAndClose(directory / std::string(5000, 'n')), failed(ENAMETOOLONG, 2));
  EXPECT_EQ(openAndClose(""), failed(ENOENT, 2));
  EXPECT_EQ(openAndClose(directory.path()), ok);
}

TEST_F(Dir, NeedsAHandleAndABuffer) {
  PalDirHandle handle{};
  char name[1024];
  EXPECT_EQ(PalDirOpen(nullptr, "/"), invalid(0));
  EXPECT_EQ(PalDirOpen(&handle, nullptr), invalid(0));
  EXPECT_EQ(PalDirOpen(&handle, drivePath), invalid(0));
  EXPECT_EQ(handle.handle, nullptr);
  EXPECT_EQ(PalDirReadDirectory(name, handle), invalid(0));
  EXPECT_EQ(PalDirClose(handle), ok);
  ASSERT_EQ(PalDirOpen(&handle, "/"), ok);
  EXPECT_EQ(PalDirReadDirectory(nullptr, handle), invalid(0));
  EXPECT_EQ(PalDirClose(handle), ok);
}

TEST_F(Dir, NeedsANativePath) {
  for (auto *operate : {PalDirCreateDirectory, PalDirRemoveDirectory, PalDirSetCurrentDirectory}) {
    EXPECT_EQ(operate(nullptr), invalid(0));
    EXPECT_EQ(operate(drivePath), invalid(0));
    EXPECT_EQ(operate("\\\\server\\dir"), invalid(0));
    EXPECT_EQ(operate(std::string(5000, 'n').c_str()), failed(ENAMETOOLONG, 1));
  }
}

TEST_F(Dir, BecomesTheCurrentOne) {
  fs::create_directory(directory / "d");
  EXPECT_EQ(PalDirSetCurrentDirectory((directory.path() + "\\d").c_str()), ok);
  char name[1024];
  EXPECT_EQ(PalDirGetCurrentDirectory(name), ok);
  EXPECT_EQ(name, directory / "d");
  EXPECT_EQ(PalDirSetCurrentDirectory("missing"), failed(ENOENT, 1));
}

TEST_F(Dir, IsNotToldWhenItIsGoneOrTooLongForTheBuffer) {
  char name[1024];
  EXPECT_EQ(PalDirGetCurrentDirectory(nullptr), invalid(0));
  fs::current_path(directory.path());
  for (int depth = 0; depth < 6; ++depth) {
    const std::string component(200, 'd');
    fs::create_directory(component);
    fs::current_path(component);
  }
  EXPECT_EQ(PalDirGetCurrentDirectory(name), failed(ERANGE, 0));
  fs::create_directory("gone");
  fs::current_path("gone");
  fs::remove("../gone");
  EXPECT_EQ(PalDirGetCurrentDirectory(name), failed(ENOENT, 0));
}

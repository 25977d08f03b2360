#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/pal_error.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using test::failed;
using test::invalid;
using test::ok;
using test::readFile;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

constexpr const char *drivePath = "c:\\file";
constexpr const char *serverPath = "\\\\server\\file";

class File : public test::DirectoryTest {
protected:
  ~File() override {
    if (handle.handle != nullptr) {
      PalFileClose(handle);
    }
  }

  void open(const std::string &name, uint32_t flags) {
    ASSERT_EQ(PalFileOpen(&handle, (directory / name).c_str(), flags), ok);
  }
  void openNew(const std::string &name) { open(name, PAL_FILE_CREATE | PAL_FILE_READWRITE); }

  void close() {
    EXPECT_EQ(PalFileClose(handle), ok);
    handle.handle = nullptr;
  }

  // A handle whose descriptor the system does not know.
  void breakHandle() {
    openNew("broken");
    ::close(*handle.handle);
    *handle.handle = -1;
  }

  void write(const std::string &text) {
    size_t count = 0;
    ASSERT_EQ(PalFileWrite(handle, text.data(), text.size(), &count), ok);
    ASSERT_EQ(count, text.size());
  }

  void closeBroken() {
    EXPECT_EQ(PalFileClose(handle), failed(EBADF, 2));
    handle.handle = nullptr;
  }

  PalFileHandle handle{};
};

const PalFileHandle noHandle{};

} // namespace

TEST_F(File, IsCreatedForItsOwnerOnly) {
  const mode_t mask = umask(0);
  openNew("new");
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat((directory / "new").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(File, IsOpenedAsItsFlagsSay) {
  writeFile(directory / "f", "content");
  size_t count = 0;
  char buffer[16] = "";
  open("f", PAL_FILE_READ);
  EXPECT_EQ(PalFileWrite(handle, "x", 1, &count), failed(EBADF, 2));
  close();
  open("f", PAL_FILE_WRITE);
  EXPECT_EQ(PalFileRead(handle, buffer, 1, &count), failed(EBADF, 2));
  close();
  open("f", PAL_FILE_READWRITE | PAL_FILE_APPEND | 0x8000);
  write("+");
  close();
  EXPECT_EQ(readFile(directory / "f"), "content+");
  open("f", PAL_FILE_WRITE | PAL_FILE_TRUNCATE);
  close();
  EXPECT_EQ(readFile(directory / "f"), "");
}

TEST_F(File, CannotBeReadOrWrittenWithBothWriteFlags) {
  open("f", PAL_FILE_CREATE | PAL_FILE_READWRITE);
  close();
  PalFileOpen(&handle, (directory / "f").c_str(), PAL_FILE_WRITE | PAL_FILE_READWRITE);
  size_t count = 0;
  char buffer[1];
  EXPECT_EQ(PalFileRead(handle, buffer, 1, &count), failed(EBADF, 2));
  EXPECT_EQ(PalFileWrite(handle, buffer, 1, &count), failed(EBADF, 2));
}

TEST_F(File, IsNotOpenedExclusivelyWhereItExists) {
  writeFile(directory / "f", "");
  EXPECT_EQ(PalFileOpen(&handle, (directory / "f").c_str(),
                        PAL_FILE_WRITE | PAL_FILE_CREATE | PAL_FILE_EXCLUSIVE),
            failed(EEXIST, 3));
}

TEST_F(File, LeavesAHandleThatHoldsNothingWhenItCannotBeOpened) {
  EXPECT_EQ(PalFileOpen(&handle, (directory / "missing").c_str(), PAL_FILE_READ),
            failed(ENOENT, 3));
  ASSERT_NE(handle.handle, nullptr);
  EXPECT_EQ(*handle.handle, -1);
  closeBroken();
}

TEST_F(File, IsNotOpenedWithoutAPathOrAHandle) {
  EXPECT_EQ(PalFileOpen(&handle, nullptr, PAL_FILE_READ), invalid(1));
  EXPECT_EQ(PalFileOpen(nullptr, "/", PAL_FILE_READ), invalid(1));
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(File, IsNotOpenedByAForeignPath) {
  EXPECT_EQ(PalFileOpen(&handle, drivePath, PAL_FILE_READ), invalid(2));
  EXPECT_EQ(PalFileOpen(&handle, serverPath, PAL_FILE_READ), invalid(2));
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(File, IsFoundByAPathWithBackslashes) {
  fs::create_directory(directory / "d");
  writeFile(directory / "d/f", "x");
  const std::string path = directory.path() + "\\d\\f";
  EXPECT_EQ(PalFileOpen(&handle, path.c_str(), PAL_FILE_READ), ok);
  EXPECT_NE(path.find('\\'), std::string::npos) << "the caller's path stays as it is";
}

TEST_F(File, IsReachedByAPathWithBackslashesWhateverIsDoneToIt) {
  fs::create_directory(directory / "d");
  writeFile(directory / "d/f", "x");
  const std::string path = directory.path() + "\\d\\f";
  const std::string renamed = directory.path() + "\\d\\g";
  PalFileInfoT info;
  uint32_t permission = 0;
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), ok);
  EXPECT_EQ(PalFileSetPermissions(0x111, path.c_str()), ok);
  EXPECT_EQ(PalFileGetPermissions(&permission, path.c_str()), ok);
  EXPECT_EQ(permission, 0x111U);
  EXPECT_EQ(PalFileGetOwner(info.user, path.c_str(), sizeof(info.user)), ok);
  EXPECT_EQ(PalFileSetOwner(info.user, path.c_str()), ok);
  EXPECT_EQ(PalFileGetGroup(info.group, path.c_str(), sizeof(info.group)), ok);
  EXPECT_EQ(PalFileSetGroup(info.group, path.c_str()), ok);
  EXPECT_EQ(PalFileRename(path.c_str(), renamed.c_str()), ok);
  EXPECT_EQ(readFile(directory / "d/g"), "x");
  EXPECT_EQ(PalFileRemove(renamed.c_str()), ok);
  EXPECT_TRUE(fs::is_empty(directory / "d"));
}

TEST_F(File, IsNotOpenedByPathsThatAreTooLongOrEmpty) {
  for (const size_t length : {size_t{256}, size_t{4096}, size_t{70000}}) {
    EXPECT_EQ(PalFileOpen(&handle, (directory / std::string(length, 'n')).c_str(), PAL_FILE_READ),
              failed(ENAMETOOLONG, 3));
    closeBroken();
  }
  EXPECT_EQ(PalFileOpen(&handle, "", PAL_FILE_READ), failed(ENOENT, 3));
}

TEST_F(File, MayHaveANameThatIsNotUtf8) {
  const std::string name = "\xff\xfe\x80 name\n";
  openNew(name);
  close();
  EXPECT_TRUE(fs::exists(directory / name));
  EXPECT_EQ(PalFileRemove((directory / name).c_str()), ok);
  EXPECT_FALSE(fs::exists(directory / name));
}

TEST_F(File, IsClosedOnceAndItsHandleReleased) {
  openNew("f");
  const int descriptor = *handle.handle;
  close();
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
  EXPECT_EQ(PalFileClose(noHandle), invalid(1));
}

TEST_F(File, IsRemoved) {
  writeFile(directory / "f", "");
  EXPECT_EQ(PalFileRemove((directory / "f").c_str()), ok);
  EXPECT_FALSE(fs::exists(directory / "f"));
  EXPECT_EQ(PalFileRemove((directory / "f").c_str()), failed(ENOENT, 3));
  EXPECT_EQ(PalFileRemove(nullptr), invalid(1));
  EXPECT_EQ(PalFileRemove(drivePath), invalid(2));
}

TEST_F(File, RemovesAnEmptyDirectoryToo) {
  fs::create_directories(directory / "d/sub");
  EXPECT_EQ(PalFileRemove((directory / "d").c_str()), failed(ENOTEMPTY, 3));
  EXPECT_EQ(PalFileRemove((directory / "d/sub").c_str()), ok);
}

TEST_F(File, DoesNotKnowTheStreamsFlushRequest) {
  openNew("f");
  EXPECT_EQ(PalFileFlushBuffers(handle), failed(ENOTTY, 2));
  EXPECT_EQ(PalFileFlushBuffers(noHandle), invalid(1));
}

TEST_F(File, TellsItsSize) {
  openNew("f");
  write("12345");
  int64_t size = 0;
  EXPECT_EQ(PalFileGetSize(handle, &size), ok);
  EXPECT_EQ(size, 5);
  EXPECT_EQ(PalFileGetSize(noHandle, &size), invalid(1));
  EXPECT_EQ(PalFileGetSize(handle, nullptr), invalid(1));
}

TEST_F(File, HasTheSizeMinusOneWhenTheSystemRefuses) {
  breakHandle();
  int64_t size = 5;
  EXPECT_EQ(PalFileGetSize(handle, &size), failed(EBADF, 2));
  EXPECT_EQ(size, -1);
}

TEST_F(File, IsReadInPiecesUpToItsEnd) {
  writeFile(directory / "f", "12345");
  open("f", PAL_FILE_READ);
  char buffer[8] = "zzzzzzz";
  size_t count = 99;
  EXPECT_EQ(PalFileRead(handle, buffer, 3, &count), ok);
  EXPECT_EQ(count, 3U);
  EXPECT_STREQ(buffer, "123zzzz");
  EXPECT_EQ(PalFileRead(handle, buffer, 8, &count), ok);
  EXPECT_EQ(count, 2U);
  EXPECT_EQ(PalFileRead(handle, buffer, 8, &count), ok);
  EXPECT_EQ(count, 0U);
}

TEST_F(File, CannotBeReadOrWrittenWithoutAHandleOrACount) {
  openNew("f");
  char buffer[1] = "";
  size_t count = 99;
  EXPECT_EQ(PalFileRead(noHandle, buffer, 1, &count), invalid(1));
  EXPECT_EQ(PalFileWrite(noHandle, buffer, 1, &count), invalid(1));
  EXPECT_EQ(PalFileRead(handle, buffer, 1, nullptr), invalid(1));
  EXPECT_EQ(PalFileWrite(handle, buffer, 1, nullptr), invalid(1));
  EXPECT_EQ(PalFileRead(handle, nullptr, 1, &count), ok) << "nothing there to read";
  EXPECT_EQ(PalFileWrite(handle, nullptr, 1, &count), failed(EFAULT, 2));
}

TEST_F(File, LeavesTheCountAloneWhenReadingOrWritingFails) {
  breakHandle();
  char buffer[1] = "";
  size_t count = 99;
  EXPECT_EQ(PalFileRead(handle, buffer, 1, &count), failed(EBADF, 2));
  EXPECT_EQ(PalFileWrite(handle, buffer, 1, &count), failed(EBADF, 2));
  EXPECT_EQ(count, 99U);
}

TEST_F(File, IsADirectoryThatCannotBeRead) {
  open(".", PAL_FILE_READ);
  char buffer[1];
  size_t count = 0;
  EXPECT_EQ(PalFileRead(handle, buffer, 1, &count), failed(EISDIR, 2));
}

TEST_F(File, ReportsWhereSpaceRunsOut) {
  test::Child child([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    CHILD_EXPECT(setrlimit(RLIMIT_FSIZE, &limit) == 0);
    PalFileHandle file{};
    CHILD_EXPECT(PalFileOpen(&file, (directory / "f").c_str(), PAL_FILE_CREATE | PAL_FILE_WRITE) ==
                 ok);
    const std::string text(1500, 'x');
    size_t count = 0;
    CHILD_EXPECT(PalFileWrite(file, text.data(), text.size(), &count) == ok);
    CHILD_EXPECT(count == 1000); // a short write is no error
    CHILD_EXPECT(PalFileWrite(file, text.data(), text.size(), &count) == failed(EFBIG, 2));
    CHILD_EXPECT(PalFileSetSize(file, 2000) == failed(EFBIG, 2));
    return PalFileClose(file) == ok ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(File, ReportsWhereDescriptorsRunOut) {
  test::Child child([&] {
    const rlimit limit{0, 0};
    CHILD_EXPECT(setrlimit(RLIMIT_NOFILE, &limit) == 0);
    PalFileHandle file{};
    CHILD_EXPECT(PalFileOpen(&file, "/", PAL_FILE_READ) == failed(EMFILE, 3));
    return PalFileClose(file) == failed(EBADF, 2) ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(File, IsCutAndExtended) {
  openNew("f");
  write("12345");
  EXPECT_EQ(PalFileSetSize(handle, 2), ok);
  EXPECT_EQ(readFile(directory / "f"), "12");
  EXPECT_EQ(PalFileSetSize(handle, 4), ok);
  EXPECT_EQ(readFile(directory / "f"), std::string("12\0\0", 4));
  EXPECT_EQ(PalFileSetSize(handle, -1), failed(EINVAL, 2));
  EXPECT_EQ(PalFileSetSize(noHandle, 1), invalid(1));
}

TEST_F(File, MayBeLargerThanFourGibibytes) {
  constexpr int64_t offset = (int64_t{5} << 30) + 3;
  openNew("large");
  EXPECT_EQ(PalFileSetSize(handle, offset), ok);
  int64_t number = 0;
  EXPECT_EQ(PalFileGetSize(handle, &number), ok);
  EXPECT_EQ(number, offset);
  EXPECT_EQ(PalFileSetLocation(handle, 0, 3), ok);
  EXPECT_EQ(PalFileGetLocation(handle, &number), ok);
  EXPECT_EQ(number, offset);
  write("end");
  EXPECT_EQ(PalFileSetLocation(handle, offset + 1, 1), ok);
  char buffer[4] = "";
  size_t count = 0;
  EXPECT_EQ(PalFileRead(handle, buffer, 3, &count), ok);
  EXPECT_STREQ(buffer, "nd");
  EXPECT_EQ(PalFileSetLocation(handle, -(offset + 1), 2), ok);
  EXPECT_EQ(PalFileGetLocation(handle, &number), ok);
  EXPECT_EQ(number, 2);
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo((directory / "large").c_str(), &info), ok);
  EXPECT_EQ(info.size, offset + 3);
}

TEST_F(File, MovesToPlacesCountedFromThreeOrigins) {
  openNew("f");
  write("123456789");
  int64_t place = 0;
  EXPECT_EQ(PalFileSetLocation(handle, 2, 1), ok);
  EXPECT_EQ(PalFileSetLocation(handle, 3, 2), ok);
  EXPECT_EQ(PalFileGetLocation(handle, &place), ok);
  EXPECT_EQ(place, 5);
  EXPECT_EQ(PalFileSetLocation(handle, -1, 3), ok);
  EXPECT_EQ(PalFileGetLocation(handle, &place), ok);
  EXPECT_EQ(place, 8);
}

TEST_F(File, DoesNotMoveFromOtherOriginsOrBeforeItsStart) {
  openNew("f");
  for (const int origin : {-1, 0, 4, 1000}) {
    EXPECT_EQ(PalFileSetLocation(handle, 0, origin), invalid(1));
  }
  EXPECT_EQ(PalFileSetLocation(handle, -1, 1), failed(EINVAL, 2));
  EXPECT_EQ(PalFileSetLocation(noHandle, 0, 1), invalid(1));
}

TEST_F(File, TellsNoPlaceWithoutOne) {
  int64_t place = 99;
  EXPECT_EQ(PalFileGetLocation(noHandle, &place), invalid(1));
  breakHandle();
  EXPECT_EQ(PalFileGetLocation(handle, nullptr), invalid(1));
  EXPECT_EQ(PalFileGetLocation(handle, &place), failed(EBADF, 1));
  EXPECT_EQ(place, 99);
}

TEST_F(File, IsRenamedOverAnother) {
  writeFile(directory / "old", "content");
  writeFile(directory / "new", "replaced");
  EXPECT_EQ(PalFileRename((directory / "old").c_str(), (directory / "new").c_str()), ok);
  EXPECT_FALSE(fs::exists(directory / "old"));
  EXPECT_EQ(readFile(directory / "new"), "content");
  EXPECT_EQ(PalFileRename((directory / "old").c_str(), (directory / "new").c_str()),
            failed(ENOENT, 3));
}

TEST_F(File, IsNotRenamedWithoutTwoNativePaths) {
  EXPECT_EQ(PalFileRename(nullptr, "a"), invalid(1));
  EXPECT_EQ(PalFileRename("a", nullptr), invalid(1));
  EXPECT_EQ(PalFileRename(drivePath, nullptr), invalid(1));
  EXPECT_EQ(PalFileRename(drivePath, "a"), invalid(2));
  EXPECT_EQ(PalFileRename("a", serverPath), invalid(2));
}

TEST_F(File, GetsAndTellsPermissions) {
  const std::string path = directory / "f";
  writeFile(path, "");
  EXPECT_EQ(PalFileSetPermissions(0x017, path.c_str()), ok);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
  uint32_t permission = 0;
  EXPECT_EQ(PalFileGetPermissions(&permission, path.c_str()), ok);
  EXPECT_EQ(permission, 0x017U);
}

TEST_F(File, ReportsPermissionsThatCannotBeSetAsASuccess) {
  EXPECT_EQ(PalFileSetPermissions(0x001, (directory / "missing").c_str()),
            (PalError{PAL_OK, ENOENT, 3}));
  EXPECT_EQ(PalFileSetPermissions(0x001, nullptr), invalid(1));
  EXPECT_EQ(PalFileSetPermissions(0x001, drivePath), invalid(2));
}

TEST_F(File, TellsNoPermissionsOfAFileThatIsNotThere) {
  uint32_t permission = 99;
  EXPECT_EQ(PalFileGetPermissions(&permission, (directory / "missing").c_str()), failed(ENOENT, 2));
  EXPECT_EQ(PalFileGetPermissions(&permission, nullptr), invalid(1));
  EXPECT_EQ(PalFileGetPermissions(nullptr, "/"), invalid(1));
  EXPECT_EQ(PalFileGetPermissions(&permission, drivePath), failed(EFAULT, 2));
  EXPECT_EQ(permission, 99U);
}

TEST_F(File, TellsWhatTheSystemKnows) {
  const std::string path = directory / "f";
  writeFile(path, "12345");
  fs::create_hard_link(path, directory / "second");
  const timespec times[2] = {{1234567890, 999999999}, {987654321, 500000000}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);

  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), ok);
  EXPECT_EQ(info.atime, 1234567890000U);
  EXPECT_EQ(info.mtime, 987654321000U);
  EXPECT_EQ(info.ctime, static_cast<uint64_t>(status.st_ctime) * 1000);
  EXPECT_EQ(info.mode & 0x11U, 0x11U);
  EXPECT_EQ(info.nlink, 2);
  EXPECT_EQ(info.size, 5);
  EXPECT_EQ(info.dev, static_cast<int32_t>(status.st_dev));
  EXPECT_EQ(info.rdev, 0);
}

TEST_F(File, IsTheOneThatALinkLeadsTo) {
  writeFile(directory / "f", "12345");
  fs::create_symlink("f", directory / "link");
  fs::create_symlink("nowhere", directory / "broken");
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo((directory / "link").c_str(), &info), ok);
  EXPECT_EQ(info.size, 5);
  EXPECT_EQ(PalFileGetInfo((directory / "broken").c_str(), &info), failed(ENOENT, 2));
}

TEST_F(File, MayBeDatedAfter2038) {
  constexpr int64_t seconds = 4102444800; // the year 2100
  const std::string path = directory / "f";
  writeFile(path, "12345");
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), ok);
  EXPECT_EQ(info.mtime, static_cast<uint64_t>(seconds) * 1000);
  open("f", PAL_FILE_READ);
  int64_t size = 0;
  EXPECT_EQ(PalFileGetSize(handle, &size), ok);
  EXPECT_EQ(size, 5);
}

TEST_F(File, MayBeOlderThanTheEpoch) {
  writeFile(directory / "f", "");
  const timespec times[2] = {{-2, 0}, {-1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, (directory / "f").c_str(), times, 0), 0);
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo((directory / "f").c_str(), &info), ok);
  EXPECT_EQ(info.atime, static_cast<uint64_t>(-2000));
  EXPECT_EQ(info.mtime, static_cast<uint64_t>(-1000));
}

TEST_F(File, IsADeviceWithItsNumber) {
  struct stat status {};
  ASSERT_EQ(stat("/dev/null", &status), 0);
  PalFileInfoT info;
  EXPECT_EQ(PalFileGetInfo("/dev/null", &info), ok);
  EXPECT_EQ(info.rdev, static_cast<int32_t>(status.st_rdev));
  EXPECT_NE(info.rdev, 0);
}

TEST_F(File, TellsNothingWithoutAFile) {
  PalFileInfoT info;
  info.size = 99;
  EXPECT_EQ(PalFileGetInfo(nullptr, &info), invalid(1));
  EXPECT_EQ(PalFileGetInfo("/", nullptr), invalid(1));
  EXPECT_EQ(PalFileGetInfo(drivePath, &info), failed(EFAULT, 2));
  EXPECT_EQ(PalFileGetInfo(serverPath, &info), failed(EFAULT, 2));
  EXPECT_EQ(PalFileGetInfo((directory / "missing").c_str(), &info), failed(ENOENT, 2));
  EXPECT_EQ(info.size, 99);
}

TEST(StandardFile, HasAHandleOfItsOwn) {
  const struct {
    PalError (*get)(PalFileHandle *);
    int descriptor;
  } files[] = {{PalFileGetStdIn, 0}, {PalFileGetStdOut, 1}, {PalFileGetStdErr, 2}};
  for (const auto &file : files) {
    PalFileHandle handle{};
    EXPECT_EQ(file.get(&handle), ok);
    ASSERT_NE(handle.handle, nullptr);
    EXPECT_EQ(*handle.handle, file.descriptor);
    PalMemoryFree(handle.handle);
    EXPECT_EQ(file.get(nullptr), invalid(1));
  }
}

TEST(FileAccess, IsNotSupportedBeyondPermissionBits) {
  constexpr PalError notSupported{PAL_NOT_SUPPORTED, 0, 0};
  PalFileAclEntryT entry{};
  int32_t count = 7;
  EXPECT_EQ(PalFileGrantPermission("root", 1, "/"), notSupported);
  EXPECT_EQ(PalFileRevokePermission("root", 1, "/"), notSupported);
  EXPECT_EQ(PalFileGetAcl(&entry, "/", &count), notSupported);
  EXPECT_EQ(PalFileSetAcl(&entry, "/", 1), notSupported);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(PalFileAccessType("/"), 2);
  EXPECT_EQ(PalFileAccessType(nullptr), 2);
}

TEST_F(File, TakesFormattedText) {
  openNew("f");
  size_t count = 0;
  EXPECT_EQ(PalFilePrintf(handle, &count, "%s-%d", "a", 7), ok);
  EXPECT_EQ(count, 3U);
  EXPECT_EQ(readFile(directory / "f"), "a-7");
}

TEST_F(File, TakesFormattedTextOfUpTo4095Characters) {
  openNew("f");
  size_t count = 99;
  const std::string text(4095, 'x');
  EXPECT_EQ(PalFilePrintf(handle, &count, "%s", text.c_str()), ok);
  EXPECT_EQ(count, 4095U);
  EXPECT_EQ(readFile(directory / "f"), text);
}

TEST_F(File, TakesNoFormattedTextThatIsTooLong) {
  openNew("f");
  for (const size_t length : {size_t{4096}, size_t{5000}, size_t{1000000}}) {
    size_t count = 99;
    EXPECT_EQ(PalFilePrintf(handle, &count, "%s", std::string(length, 'x').c_str()),
              (PalError{PAL_TEXT_TOO_LONG, 0, 0}));
    EXPECT_EQ(count, 99U);
  }
  EXPECT_EQ(readFile(directory / "f"), "");
}

TEST_F(File, TakesFormattedTextOfNoCharacters) {
  openNew("f");
  size_t count = 99;
  EXPECT_EQ(PalFilePrintf(handle, &count, "%s", ""), ok);
  EXPECT_EQ(count, 0U);
}

TEST_F(File, ReportsFormattedTextThatItCannotWriteAsAWriteDoes) {
  size_t count = 0;
  openNew("f");
  EXPECT_EQ(PalFilePrintf(handle, nullptr, "x"), invalid(1));
  close();
  EXPECT_EQ(PalFilePrintf(noHandle, &count, "%s", std::string(5000, 'x').c_str()),
            (PalError{PAL_TEXT_TOO_LONG, 0, 0}));
  EXPECT_EQ(PalFilePrintf(noHandle, &count, "x"), invalid(1));
  breakHandle();
  EXPECT_EQ(PalFilePrintf(handle, &count, "x"), failed(EBADF, 2));
}

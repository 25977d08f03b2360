#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>

#include "files/failure.h"
#include "support/frames.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using test::cannotClose;
using test::cannotCreate;
using test::cannotGetStatus;
using test::cannotOpen;
using test::cannotRead;
using test::cannotWrite;
using test::Failure;
using test::failureOf;
using test::readFile;
using test::stretched;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

constexpr off_t twoGiB = off_t{1} << 31;

long openDescriptors() {
  return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator{});
}

// What errno is where the exception arrives.
template <typename Body> int errnoThrownWith(Body body) {
  int nativeError = 0;
  test::inFrame(body, [&nativeError](EhFrame *frame) {
    nativeError = errno;
    eh_catch_all(frame);
    eh_pop_try(frame);
  });
  return nativeError;
}

class FileHelpers : public test::DirectoryTest {
protected:
  ~FileHelpers() override {
    if (file != nullptr) {
      file_delete(file);
    }
  }

  std::string at(const std::string &name) const { return directory / name; }

  void open(const std::string &path, int flags) {
    release();
    file = file_open(path.c_str(), flags);
    ASSERT_NE(file, nullptr);
  }

  void create(const std::string &name, int flags = O_RDWR) {
    release();
    file = file_create(at(name).c_str(), flags, 0600);
    ASSERT_NE(file, nullptr);
  }

  // A file whose descriptor the system does not know.
  void createBroken() {
    create("f");
    ::close(file->descriptor);
  }

  // Forgets the descriptor of such a file, so that it can be released.
  void forget() const { file->descriptor = -1; }

  void release() {
    if (file != nullptr) {
      file_delete(file);
      file = nullptr;
    }
  }

  void expectNotOpened(const std::string &path, int flags = O_RDONLY) {
    EXPECT_EQ(failureOf([&] { file = file_open(path.c_str(), flags); }), cannotOpen(path));
    EXPECT_EQ(file, nullptr);
  }

  void expectNotCreated(const std::string &path, int nativeError, int flags = O_RDWR) {
    EXPECT_EQ(failureOf([&] { file = file_create(path.c_str(), flags, 0600); }),
              cannotCreate(path, nativeError));
    EXPECT_EQ(file, nullptr);
  }

  void expectNotRead(int32_t length, int nativeError) const {
    std::array<char, 16> buffer{};
    EXPECT_EQ(failureOf([&] { file_read(file, buffer.data(), length); }),
              cannotRead(file->path, length, nativeError));
  }

  void expectNotWritten(const std::string &text) const {
    EXPECT_EQ(failureOf([&] { file_write(file, text.data(), static_cast<int32_t>(text.size())); }),
              cannotWrite(file->path, static_cast<int64_t>(text.size())));
  }

  void expectNotSought(int32_t offset, int nativeError) const {
    EXPECT_EQ(failureOf([&] { file_seek(file, offset); }),
              (Failure{23,
                       "A seek operation failed on the file %1$s. The error code is errno=%2$d.\n",
                       {file->path, std::to_string(nativeError)}}));
  }

  void expectNotRemoved() const {
    EXPECT_EQ(failureOf([&] { file_remove(file); }),
              (Failure{16, "Cannot remove the file %1$s.\n", {file->path}}));
  }

  static void expectNoAccess(const std::string &path, int mode) {
    EXPECT_EQ(failureOf([&] { file_access(path.c_str(), mode); }),
              (Failure{25,
                       "Failed to access the file %1$s with the mode %2$d.\n",
                       {path, std::to_string(mode)}}));
  }

  static void expectNoSize(const std::string &path) {
    EXPECT_EQ(failureOf([&] { file_get_size(path.c_str()); }), cannotGetStatus(path));
  }

  std::string read(int32_t length) const {
    std::string buffer(static_cast<size_t>(length), '\0');
    const int32_t count = file_read(file, buffer.data(), length);
    buffer.resize(static_cast<size_t>(count));
    return buffer;
  }

  std::string sparse(const std::string &name, off_t size) const {
    writeFile(at(name), "");
    EXPECT_EQ(truncate(at(name).c_str(), size), 0);
    return at(name);
  }

  File *file = nullptr;
};

} // namespace

TEST_F(FileHelpers, OpenAFileWithACopyOfItsPath) {
  writeFile(at("f"), "content");
  std::string path = at("f");
  open(path, O_RDONLY);
  path[0] = 'x';
  EXPECT_EQ(file->path, at("f"));
  EXPECT_GE(file->descriptor, 0);
  EXPECT_EQ(read(100), "content");
}

TEST_F(FileHelpers, OpenWithTheCallersFlags) {
  writeFile(at("f"), "content");
  open(at("f"), O_RDWR | O_APPEND | O_NONBLOCK);
  EXPECT_EQ(fcntl(file->descriptor, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK),
            O_RDWR | O_APPEND | O_NONBLOCK);
  EXPECT_EQ(file_write(file, "+", 1), 1);
  EXPECT_EQ(readFile(at("f")), "content+");
  open(at("f"), O_WRONLY | O_TRUNC);
  EXPECT_EQ(readFile(at("f")), "");
}

TEST_F(FileHelpers, OpenNoFileThatTheyCannot) {
  writeFile(at("f"), "");
  fs::create_symlink("loop", at("loop"));
  const long before = openDescriptors();
  expectNotOpened(at("missing"));
  expectNotOpened(at("f/x"));
  expectNotOpened(at("loop"));
  expectNotOpened(directory.path(), O_WRONLY);
  expectNotOpened(at(std::string(256, 'a')));
  expectNotOpened("");
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(fs::exists(at("missing")));
}

TEST_F(FileHelpers, OpenPathsOfUpTo1023Bytes) {
  writeFile(at("f"), "content");
  expectNotOpened(stretched(directory.path(), "f", 1024));
  expectNotOpened(stretched(directory.path(), "f", 2000));
  open(stretched(directory.path(), "f", 1023), O_RDONLY);
  EXPECT_EQ(strlen(file->path), 1023U);
  EXPECT_EQ(read(100), "content");
}

TEST_F(FileHelpers, OpenAndCreateNothingWithoutAPath) {
  EXPECT_EQ(failureOf([] { file_open(nullptr, O_RDONLY); }), cannotOpen("(null)"));
  EXPECT_EQ(failureOf([] { file_create(nullptr, O_RDWR, 0600); }), cannotCreate("(null)", EFAULT));
}

TEST_F(FileHelpers, LeaveTheSystemsErrorNumber) {
  const std::string missing = at("missing/f");
  const char *path = missing.c_str();
  EXPECT_EQ(errnoThrownWith([path] { file_open(path, O_RDONLY); }), ENOENT);
  EXPECT_EQ(errnoThrownWith([path] { file_create(path, O_RDWR, 0600); }), ENOENT);
  EXPECT_EQ(errnoThrownWith([path] { file_get_size(path); }), ENOENT);
  EXPECT_EQ(errnoThrownWith([path] { file_access(path, F_OK); }), ENOENT);
}

TEST_F(FileHelpers, CreateAFileWithAMode) {
  const mode_t mask = umask(0);
  file = file_create(at("a").c_str(), O_RDWR, 0640);
  release();
  umask(027);
  file = file_create(at("b").c_str(), O_RDWR, 0666);
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat_ex(at("a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  ASSERT_EQ(stat_ex(at("b").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
}

TEST_F(FileHelpers, CreateNothingInPlaceOfAFile) {
  writeFile(at("f"), "content");
  create("f", O_RDONLY);
  EXPECT_EQ(read(100), "content");
  create("f", O_WRONLY | O_TRUNC);
  EXPECT_EQ(readFile(at("f")), "");
}

TEST_F(FileHelpers, CreateNoFileThatTheyCannot) {
  writeFile(at("f"), "");
  fs::create_symlink("loop", at("loop"));
  const long before = openDescriptors();
  expectNotCreated(at("missing/f"), ENOENT);
  expectNotCreated(at("f/x"), ENOTDIR);
  expectNotCreated(at("loop"), ELOOP);
  expectNotCreated(directory.path(), EISDIR);
  expectNotCreated(at("f"), EEXIST, O_RDWR | O_EXCL);
  expectNotCreated(at(std::string(256, 'a')), ENAMETOOLONG);
  expectNotCreated("", ENOENT);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileHelpers, CreatePathsOfUpTo1023Bytes) {
  for (const size_t length : {1024, 1025, 2000, 5000}) {
    expectNotCreated(stretched(directory.path(), "f", length), ENAMETOOLONG);
  }
  EXPECT_TRUE(fs::is_empty(directory.path()));
  file = file_create(stretched(directory.path(), "f", 1023).c_str(), O_RDWR, 0600);
  EXPECT_TRUE(fs::exists(at("f")));
}

TEST_F(FileHelpers, KnowWhetherAFileIsOpen) {
  EXPECT_EQ(file_is_open(nullptr), 0);
  create("f");
  EXPECT_EQ(file_is_open(file), 1);
  file_close(file);
  EXPECT_EQ(file_is_open(file), 0);
  char path[] = "path";
  const File standardInput{path, 0};
  EXPECT_EQ(file_is_open(&standardInput), 1);
}

TEST_F(FileHelpers, CloseAFile) {
  const long before = openDescriptors();
  create("f");
  const int descriptor = file->descriptor;
  EXPECT_EQ(openDescriptors(), before + 1);
  file_close(file);
  EXPECT_EQ(file->descriptor, -1);
  EXPECT_EQ(file->path, at("f"));
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(FileHelpers, CloseNoFileThatIsNotOpen) {
  EXPECT_EQ(failureOf([] { file_close(nullptr); }),
            (Failure{13, "Cannot close the file because the file handle is NULL.\n"}));
  create("f");
  file_close(file);
  EXPECT_EQ(failureOf([&] { file_close(file); }), cannotClose(at("f")));
  EXPECT_EQ(file->descriptor, -1);
}

TEST_F(FileHelpers, KeepADescriptorThatCannotBeClosed) {
  createBroken();
  const int descriptor = file->descriptor;
  EXPECT_EQ(failureOf([&] { file_close(file); }), cannotClose(at("f")));
  EXPECT_EQ(file->descriptor, descriptor);
  EXPECT_EQ(failureOf([&] { file_delete(file); }), cannotClose(at("f")));
  EXPECT_EQ(file->descriptor, descriptor);
  EXPECT_EQ(file->path, at("f")) << "the record is still there";
  forget();
}

TEST_F(FileHelpers, RemoveAFileThatStaysOpen) {
  writeFile(at("f"), "content");
  open(at("f"), O_RDONLY);
  file_remove(file);
  EXPECT_FALSE(fs::exists(at("f")));
  EXPECT_EQ(file->path, at("f"));
  EXPECT_EQ(read(100), "content");
  expectNotRemoved();
}

TEST_F(FileHelpers, RemoveAFileThatIsClosed) {
  create("f");
  file_close(file);
  file_remove(file);
  EXPECT_FALSE(fs::exists(at("f")));
}

TEST_F(FileHelpers, RemoveAnEmptyDirectory) {
  fs::create_directory(at("d"));
  writeFile(at("d/f"), "");
  open(at("d"), O_RDONLY);
  expectNotRemoved();
  fs::remove(at("d/f"));
  file_remove(file);
  EXPECT_FALSE(fs::exists(at("d")));
}

TEST_F(FileHelpers, RemoveNothingWithoutAFile) {
  EXPECT_EQ(failureOf([] { file_remove(nullptr); }),
            (Failure{15, "Cannot remove the file because the file handle is NULL.\n"}));
}

TEST_F(FileHelpers, DeleteTheRecordAndNotTheFile) {
  const long before = openDescriptors();
  create("f");
  release();
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_TRUE(fs::exists(at("f")));
}

TEST_F(FileHelpers, DeleteAClosedFileWithoutClosingItAgain) {
  create("f");
  const int descriptor = file->descriptor;
  file_close(file);
  const int other = ::open("/dev/null", O_RDONLY);
  ASSERT_EQ(other, descriptor);
  release();
  EXPECT_NE(fcntl(other, F_GETFD), -1);
  ::close(other);
}

TEST_F(FileHelpers, DeleteNothingWithoutAFile) {
  EXPECT_EQ(failureOf([] { file_delete(nullptr); }),
            (Failure{17, "Cannot delete the file because the file handle is NULL.\n"}));
}

TEST_F(FileHelpers, ReadWhatThereIs) {
  writeFile(at("f"), std::string("a\0bcd", 5));
  open(at("f"), O_RDONLY);
  EXPECT_EQ(read(0), "");
  EXPECT_EQ(read(3), std::string("a\0b", 3));
  EXPECT_EQ(read(3), "cd");
  EXPECT_EQ(read(3), "") << "the end is no failure";
  EXPECT_EQ(read(3), "");
}

TEST_F(FileHelpers, ReadFromAPipeWhatHasArrived) {
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  open(at("fifo"), O_RDWR | O_NONBLOCK);
  EXPECT_EQ(file_write(file, "abc", 3), 3);
  EXPECT_EQ(read(10), "abc");
  expectNotRead(10, EAGAIN);
}

TEST_F(FileHelpers, ReadNothingThatTheyCannot) {
  EXPECT_EQ(failureOf([] { file_read(nullptr, nullptr, 0); }),
            (Failure{18, "Cannot read from the file because the file handle is NULL.\n"}));
  open(directory.path(), O_RDONLY);
  expectNotRead(16, EISDIR);
  create("f", O_WRONLY);
  expectNotRead(1, EBADF);
  file_close(file);
  expectNotRead(2, EBADF);
  createBroken();
  expectNotRead(3, EBADF);
  forget();
}

TEST_F(FileHelpers, WriteEverything) {
  create("f");
  EXPECT_EQ(file_write(file, "a\0b", 3), 3);
  EXPECT_EQ(file_write(file, nullptr, 0), 0);
  EXPECT_EQ(file_write(file, "cd", 2), 2);
  EXPECT_EQ(readFile(at("f")), std::string("a\0bcd", 5));
  const std::string large(1 << 20, 'x');
  EXPECT_EQ(file_write(file, large.data(), 1 << 20), 1 << 20);
}

TEST_F(FileHelpers, WriteNothingThatTheyCannot) {
  EXPECT_EQ(failureOf([] { file_write(nullptr, "a", 1); }),
            (Failure{20, "Cannot write to the file because the file handle is NULL.\n"}));
  open("/dev/full", O_WRONLY);
  expectNotWritten("text");
  create("f", O_RDONLY);
  expectNotWritten("a");
  file_close(file);
  expectNotWritten("ab");
  createBroken();
  expectNotWritten("abc");
  forget();
}

TEST_F(FileHelpers, WriteNoNegativeNumberOfBytes) {
  create("f");
  const char byte = 'x';
  EXPECT_EQ(failureOf([&] { file_write(file, &byte, -1); }), cannotWrite(at("f"), -1));
  EXPECT_EQ(readFile(at("f")), "");
}

TEST_F(FileHelpers, ReadNoNegativeNumberOfBytes) {
  writeFile(at("f"), "text");
  open(at("f"), O_RDONLY);
  char byte = 'x';
  EXPECT_EQ(failureOf([&] { file_read(file, &byte, -1); }), cannotRead(at("f"), -1, EINVAL));
  EXPECT_EQ(byte, 'x');
}

TEST_F(FileHelpers, ThrowWhenSomeOfTheBytesWereWritten) {
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  open(at("fifo"), O_RDWR | O_NONBLOCK);
  expectNotWritten(std::string(size_t{16} << 20, 'x'));
  EXPECT_EQ(read(10), "xxxxxxxxxx") << "what was written is there";
}

TEST_F(FileHelpers, ThrowWhereSpaceRunsOut) {
  test::Child child([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{1000, 1000};
    CHILD_EXPECT(setrlimit(RLIMIT_FSIZE, &limit) == 0);
    create("f");
    const std::string text(600, 'x');
    CHILD_EXPECT(file_write(file, text.data(), 600) == 600);
    CHILD_EXPECT(failureOf([&] { file_write(file, text.data(), 600); }) ==
                 cannotWrite(at("f"), 600));
    CHILD_EXPECT(failureOf([&] { file_write(file, text.data(), 1); }) == cannotWrite(at("f"), 1));
    return HasFailure() ? 1 : 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(readFile(at("f")), std::string(1000, 'x'));
}

TEST_F(FileHelpers, SeekFromTheBeginning) {
  writeFile(at("f"), "0123456789");
  open(at("f"), O_RDONLY);
  EXPECT_EQ(file_seek(file, 7), 7);
  EXPECT_EQ(read(1), "7");
  EXPECT_EQ(file_seek(file, 2), 2);
  EXPECT_EQ(read(1), "2");
  EXPECT_EQ(file_seek(file, 0), 0);
  EXPECT_EQ(read(1), "0");
  EXPECT_EQ(file_seek(file, 100), 100);
  EXPECT_EQ(read(1), "");
}

TEST_F(FileHelpers, SeekNowhereThatTheyCannot) {
  EXPECT_EQ(failureOf([] { file_seek(nullptr, 0); }),
            (Failure{22, "Cannot seek the file because the file handle is NULL.\n"}));
  create("f");
  expectNotSought(-1, EINVAL);
  expectNotSought(INT32_MIN, EINVAL);
  file_close(file);
  expectNotSought(0, EBADF);
  ASSERT_EQ(mkfifo(at("fifo").c_str(), 0600), 0);
  open(at("fifo"), O_RDWR);
  expectNotSought(0, ESPIPE);
  createBroken();
  expectNotSought(0, EBADF);
  forget();
}

TEST_F(FileHelpers, GetTheSizeOfAFile) {
  writeFile(at("f"), "");
  EXPECT_EQ(file_get_size(at("f").c_str()), 0);
  writeFile(at("f"), "content");
  EXPECT_EQ(file_get_size(at("f").c_str()), 7);
  fs::create_symlink("f", at("link"));
  EXPECT_EQ(file_get_size(at("link").c_str()), 7);
  EXPECT_EQ(file_get_size(stretched(directory.path(), "f", 1023).c_str()), 7);
}

TEST_F(FileHelpers, GetNoSizeOfWhatCannotBeFound) {
  writeFile(at("f"), "");
  fs::create_symlink("loop", at("loop"));
  fs::create_symlink("missing", at("dangling"));
  for (const char *name : {"missing", "f/x", "loop", "dangling"}) {
    expectNoSize(at(name));
  }
}

TEST_F(FileHelpers, GetNoSizeThatIsTooLarge) {
  EXPECT_EQ(file_get_size(sparse("f", twoGiB - 1).c_str()), INT32_MAX);
  expectNoSize(sparse("f", twoGiB));
  expectNoSize(sparse("f", twoGiB + 7));
  expectNoSize(sparse("f", 2 * twoGiB));
  expectNoSize(sparse("f", 2 * twoGiB + 7));
}

TEST_F(FileHelpers, ReadAndWriteLargeFiles) {
  open(sparse("f", 2 * twoGiB), O_RDWR);
  EXPECT_EQ(file_seek(file, INT32_MAX), INT32_MAX);
  EXPECT_EQ(file_write(file, "abc", 3), 3);
  EXPECT_EQ(read(1), std::string(1, '\0'));
  EXPECT_EQ(lseek(file->descriptor, 0, SEEK_CUR), twoGiB + 3);
  EXPECT_EQ(file_seek(file, INT32_MAX), INT32_MAX);
  EXPECT_EQ(read(3), "abc");
  EXPECT_EQ(lseek(file->descriptor, -2, SEEK_END), 2 * twoGiB - 2);
  EXPECT_EQ(file_write(file, "text", 4), 4);
  expectNoSize(at("f"));
}

TEST_F(FileHelpers, TellWhatTheProcessMayDo) {
  writeFile(at("f"), "");
  EXPECT_EQ(file_access(at("f").c_str(), F_OK), 0);
  EXPECT_EQ(file_access(at("f").c_str(), R_OK | W_OK), 0);
  EXPECT_EQ(file_access(directory.path().c_str(), R_OK | W_OK | X_OK), 0);
  EXPECT_EQ(file_access(stretched(directory.path(), "f", 1023).c_str(), R_OK), 0);
}

TEST_F(FileHelpers, ThrowWhereTheProcessMayNot) {
  writeFile(at("f"), "");
  fs::create_symlink("loop", at("loop"));
  expectNoAccess(at("f"), X_OK);
  expectNoAccess(at("f"), 99);
  expectNoAccess(at("f"), -1);
  expectNoAccess(at("missing"), F_OK);
  expectNoAccess(at("f/x"), R_OK);
  expectNoAccess(at("loop"), R_OK | W_OK);
}

TEST_F(FileHelpers, FindNothingWithoutAPath) {
  EXPECT_EQ(failureOf([] { file_get_size(nullptr); }), cannotGetStatus("(null)"));
  EXPECT_EQ(failureOf([] { file_access(nullptr, R_OK); }),
            (Failure{25, "Failed to access the file %1$s with the mode %2$d.\n", {"(null)", "4"}}));
  EXPECT_EQ(file_get_mtime(nullptr), -1);
  struct stat status {};
  errno = 0;
  EXPECT_EQ(stat_ex(nullptr, &status), -1);
  EXPECT_EQ(errno, EFAULT);
  errno = 0;
  EXPECT_EQ(stat_ex(directory.path().c_str(), nullptr), -1);
  EXPECT_EQ(errno, EFAULT);
}

TEST_F(FileHelpers, GetTheStatusAsTheSystemDoes) {
  writeFile(at("f"), "content");
  fs::create_symlink("f", at("link"));
  struct stat expected {};
  struct stat status {};
  ASSERT_EQ(stat(at("f").c_str(), &expected), 0);
  EXPECT_EQ(stat_ex(at("link").c_str(), &status), 0);
  EXPECT_EQ(status.st_ino, expected.st_ino);
  EXPECT_EQ(status.st_size, 7);
  EXPECT_EQ(status.st_mtime, expected.st_mtime);
  EXPECT_EQ(stat_ex(sparse("large", 2 * twoGiB).c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 2 * twoGiB);
  errno = 0;
  EXPECT_EQ(stat_ex(at("f/x").c_str(), &status), -1);
  EXPECT_EQ(errno, ENOTDIR);
}

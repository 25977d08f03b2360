// What the portable runtime reports when memory runs out or the system fails where it hardly does.
#include <cerrno>
#include <cstring>
#include <string>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/key_file.h"
#include "support/pal_error.h"
#include "support/temporary_directory.h"
#include "torture/faults.h"

using test::failed;
using test::Fault;
using test::ok;

namespace {

constexpr PalError outOfMemory(int32_t location) { return {PAL_OUT_OF_MEMORY, 0, location}; }

class OutOfMemory : public test::DirectoryTest {};
class FailingSystem : public test::DirectoryTest {};

} // namespace

TEST_F(OutOfMemory, GivesNoBlocksAndNoCopies) {
  for (const int kind : {0, 1, 2, 3}) {
    const Fault fault("malloc", ENOMEM);
    void *block = kind == 0   ? PalMemoryMalloc(1)
                  : kind == 1 ? PalMemoryCalloc(1, 1)
                  : kind == 2 ? PalMemoryRealloc(nullptr, 1)
                              : PalStringDup("text");
    EXPECT_EQ(block, nullptr);
    EXPECT_TRUE(fault.hasStruck());
  }
}

TEST_F(OutOfMemory, IsNotAskedForNoBytes) {
  char block = 'x';
  const Fault fault("malloc", ENOMEM);
  EXPECT_EQ(PalMemoryMalloc(0), nullptr);
  EXPECT_EQ(PalMemoryCalloc(0, 1), nullptr);
  EXPECT_EQ(PalMemoryCalloc(1, 0), nullptr);
  EXPECT_EQ(PalMemoryRealloc(&block, 0), nullptr);
  EXPECT_FALSE(fault.hasStruck());
}

TEST_F(OutOfMemory, LeavesABlockThatCannotGrow) {
  void *block = PalMemoryCalloc(1, 1);
  {
    const Fault fault("malloc", ENOMEM);
    EXPECT_EQ(PalMemoryRealloc(block, 1000), nullptr);
  }
  PalMemoryFree(block);
}

TEST_F(OutOfMemory, CreatesNoList) {
  for (const int allocation : {1, 2}) {
    auto *list = reinterpret_cast<PalList1>(this);
    const Fault fault("malloc", ENOMEM, allocation);
    EXPECT_EQ(PalList1Create(&list, 4, 4), -1);
    EXPECT_EQ(list, nullptr);
  }
}

TEST_F(OutOfMemory, LeavesAListThatCannotGrow) {
  PalList1 list = nullptr;
  ASSERT_EQ(PalList1Create(&list, 1, 1), 0);
  PalList1Add(&list, 7);
  {
    const Fault fault("malloc", ENOMEM);
    EXPECT_EQ(PalList1Add(&list, 8), -1);
  }
  EXPECT_EQ(PalList1GetSize(&list), 1);
  EXPECT_EQ(PalList1Access(&list, 0), 7);
  EXPECT_EQ(PalList1Add(&list, 8), 1);
  PalList1Destroy(&list);
}

TEST_F(OutOfMemory, BeginsNoIteration) {
  PalList1 list = nullptr;
  ASSERT_EQ(PalList1Create(&list, 1, 1), 0);
  PalList1Iterator iterator{};
  {
    const Fault fault("malloc", ENOMEM);
    EXPECT_EQ(PalList1IteratorCreate(&list, &iterator), outOfMemory(3));
  }
  EXPECT_EQ(iterator.state, nullptr);
  PalList1Destroy(&list);
}

TEST_F(OutOfMemory, CreatesNoLock) {
  const test::KeyFile key(directory / "key");
  PalSemHandle handle{};
  const Fault fault("malloc", ENOMEM);
  EXPECT_EQ(PalInitSem(&handle, key.path()), outOfMemory(1));
  EXPECT_EQ(handle.handle, nullptr);
  EXPECT_EQ(key.set(), -1);
}

TEST_F(OutOfMemory, OpensNoFile) {
  const std::string path = directory / "f";
  PalFileHandle handle{};
  {
    const Fault fault("malloc", ENOMEM, 1); // the copy of the path
    EXPECT_EQ(PalFileOpen(&handle, path.c_str(), PAL_FILE_CREATE), outOfMemory(2));
  }
  {
    const Fault fault("malloc", ENOMEM, 2); // the handle
    EXPECT_EQ(PalFileOpen(&handle, path.c_str(), PAL_FILE_CREATE), outOfMemory(3));
  }
  EXPECT_EQ(handle.handle, nullptr);
  EXPECT_NE(access(path.c_str(), F_OK), 0) << "nothing was created";
}

TEST_F(OutOfMemory, ReportsPathsThatItCannotCopy) {
  PalFileInfoT info;
  const std::string path = directory.path();
  const Fault remove("malloc", ENOMEM);
  EXPECT_EQ(PalFileRemove(path.c_str()), outOfMemory(2));
  const Fault rename("malloc", ENOMEM, 2);
  EXPECT_EQ(PalFileRename(path.c_str(), path.c_str()), outOfMemory(2));
  const Fault getInfo("malloc", ENOMEM);
  EXPECT_EQ(PalFileGetInfo(path.c_str(), &info), failed(ENOMEM, 2));
  const Fault setOwner("malloc", ENOMEM);
  EXPECT_EQ(PalFileSetOwner("no such account", path.c_str()), outOfMemory(3));
  const Fault removeDirectory("malloc", ENOMEM);
  EXPECT_EQ(PalDirRemoveDirectory(path.c_str()), outOfMemory(0));
  const Fault tempFilename("malloc", ENOMEM);
  EXPECT_EQ(PalFileTempFilename(path.c_str(), info.user, sizeof(info.user)), outOfMemory(1));
}

TEST_F(OutOfMemory, SaysSoWhereADirectoryCannotBeTold) {
  testing::internal::CaptureStderr();
  {
    const Fault fault("malloc", ENOMEM);
    EXPECT_EQ(PalDirIsDirectory("/"), 0);
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "get info failure: Cannot allocate memory\n");
}

TEST_F(OutOfMemory, OpensNoDirectory) {
  PalDirHandle handle{};
  {
    const Fault fault("malloc", ENOMEM, 1); // the copy of the path
    EXPECT_EQ(PalDirOpen(&handle, "/"), outOfMemory(0));
  }
  {
    const Fault fault("malloc", ENOMEM, 2); // the handle
    EXPECT_EQ(PalDirOpen(&handle, "/"), failed(ENOMEM, 1));
  }
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(OutOfMemory, MakesNoStandardHandles) {
  for (auto *get : {PalFileGetStdIn, PalFileGetStdOut, PalFileGetStdErr}) {
    PalFileHandle handle{};
    const Fault fault("malloc", ENOMEM);
    EXPECT_EQ(get(&handle), outOfMemory(0));
    EXPECT_EQ(handle.handle, nullptr);
  }
}

TEST_F(OutOfMemory, WritesNoFormattedText) {
  int descriptor = -1;
  const PalFileHandle handle{&descriptor};
  size_t count = 99;
  const Fault fault("malloc", ENOMEM);
  EXPECT_EQ(PalFilePrintf(handle, &count, "x"), outOfMemory(0));
  EXPECT_EQ(count, 99U);
}

TEST_F(FailingSystem, CreatesNoLockWhereItRefusesTheSet) {
  const test::KeyFile key(directory / "key");
  PalSemHandle handle{};
  {
    const Fault fault("semget", ENOSPC);
    EXPECT_EQ(PalInitSem(&handle, key.path()), (PalError{PAL_WAIT_TIMEOUT, ENOSPC, 1}));
  }
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(FailingSystem, AttachesToNoLockThatVanishesMeanwhile) {
  const test::KeyFile key(directory / "key");
  PalSemHandle creator{};
  ASSERT_EQ(PalInitSem(&creator, key.path()), ok);
  PalSemHandle handle{};
  {
    const Fault fault("semget", ENOENT, 2);
    EXPECT_EQ(PalInitSem(&handle, key.path()), (PalError{PAL_WAIT_TIMEOUT, ENOENT, 1}));
  }
  EXPECT_EQ(handle.handle, nullptr);
  PalCloseSem(&creator);
}

TEST_F(FailingSystem, LeavesNoLockThatCouldNotBeFreed) {
  const test::KeyFile key(directory / "key");
  PalSemHandle handle{};
  {
    const Fault fault("semctl", ERANGE);
    EXPECT_EQ(PalInitSem(&handle, key.path()), (PalError{PAL_WAIT_TIMEOUT, ERANGE, 1}));
  }
  EXPECT_EQ(handle.handle, nullptr);
  EXPECT_EQ(key.set(), -1);
}

TEST_F(FailingSystem, ReleasesAHandleThatItCannotClose) {
  PalFileHandle handle{};
  ASSERT_EQ(PalFileOpen(&handle, "/", PAL_FILE_READ), ok);
  const int descriptor = *handle.handle;
  {
    const Fault fault("close", EIO);
    EXPECT_EQ(PalFileClose(handle), failed(EIO, 2));
  }
  close(descriptor);
}

TEST_F(FailingSystem, GivesMinusOneForASize) {
  PalFileHandle handle{};
  ASSERT_EQ(PalFileOpen(&handle, "/", PAL_FILE_READ), ok);
  int64_t size = 0;
  {
    const Fault fault("fstat", EOVERFLOW);
    EXPECT_EQ(PalFileGetSize(handle, &size), failed(EOVERFLOW, 2));
  }
  EXPECT_EQ(size, -1);
  PalFileClose(handle);
}

TEST_F(FailingSystem, LooksUpNoAccounts) {
  char name[8] = "before";
  const std::string path = directory.path();
  const Fault setOwner("getpwnam_r", EIO);
  EXPECT_EQ(PalFileSetOwner("root", path.c_str()), failed(EIO, 2));
  const Fault setGroup("getgrnam_r", EIO);
  EXPECT_EQ(PalFileSetGroup("root", path.c_str()), failed(EIO, 2));
  const Fault getOwner("getpwuid_r", EIO);
  EXPECT_EQ(PalFileGetOwner(name, path.c_str(), sizeof(name)), failed(EIO, 4));
  const Fault getGroup("getgrgid_r", EIO);
  EXPECT_EQ(PalFileGetGroup(name, path.c_str(), sizeof(name)), failed(EIO, 4));
}

TEST_F(FailingSystem, LooksUpAccountsBeforeItLooksAtThePath) {
  const Fault setOwner("getpwnam_r", EIO);
  EXPECT_EQ(PalFileSetOwner("root", "c:\\file"), failed(EIO, 2));
  const Fault setGroup("getgrnam_r", EIO);
  EXPECT_EQ(PalFileSetGroup("root", "c:\\file"), failed(EIO, 2));
}

TEST_F(FailingSystem, LeavesTheBufferOfAnAccountThatItCannotLookUp) {
  char name[8] = "before";
  const std::string path = directory.path();
  const Fault getOwner("getpwuid_r", EIO);
  PalFileGetOwner(name, path.c_str(), sizeof(name));
  const Fault getGroup("getgrgid_r", EIO);
  PalFileGetGroup(name, path.c_str(), sizeof(name));
  EXPECT_STREQ(name, "before");
}

TEST_F(FailingSystem, HasNoSuchAccountWhereALookupReturnsAPositiveNumber) {
  const std::string path = directory.path();
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  {
    Fault fault("getpwnam_r", ERANGE);
    fault.returning(ERANGE);
    EXPECT_EQ(PalFileSetOwner("nobody", path.c_str()), ok);
    EXPECT_TRUE(fault.hasStruck());
  }
  {
    Fault fault("getgrnam_r", ERANGE);
    fault.returning(ERANGE);
    EXPECT_EQ(PalFileSetGroup("daemon", path.c_str()), ok);
    EXPECT_TRUE(fault.hasStruck());
  }
  struct stat after {};
  ASSERT_EQ(stat(path.c_str(), &after), 0);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);

  char name[8] = "before";
  {
    Fault fault("getpwuid_r", ERANGE);
    fault.returning(ERANGE);
    EXPECT_EQ(PalFileGetOwner(name, path.c_str(), sizeof(name)), ok);
  }
  EXPECT_STREQ(name, "");
  strcpy(name, "before");
  {
    Fault fault("getgrgid_r", ERANGE);
    fault.returning(ERANGE);
    EXPECT_EQ(PalFileGetGroup(name, path.c_str(), sizeof(name)), ok);
  }
  EXPECT_STREQ(name, "");
}

TEST_F(FailingSystem, LeavesAccountsEmptyInAFilesInformation) {
  PalFileInfoT info;
  {
    const Fault fault("getpwuid_r", EIO);
    EXPECT_EQ(PalFileGetInfo(directory.path().c_str(), &info), ok);
    EXPECT_STREQ(info.user, "");
    EXPECT_STRNE(info.group, "");
  }
  const Fault fault("getgrgid_r", EIO);
  EXPECT_EQ(PalFileGetInfo(directory.path().c_str(), &info), ok);
  EXPECT_STRNE(info.user, "");
  EXPECT_STREQ(info.group, "");
}

TEST_F(FailingSystem, GivesAHandleThatHoldsNothingForATemporaryFileThatItCannotOpen) {
  PalFileHandle handle{};
  {
    const Fault fault("open", EROFS);
    EXPECT_EQ(PalFileOpenTemporary(directory.path().c_str(), &handle), failed(EROFS, 2));
  }
  ASSERT_NE(handle.handle, nullptr);
  EXPECT_EQ(PalFileClose(handle), failed(EBADF, 2));
}

TEST_F(FailingSystem, ReleasesADirectoryThatItCannotClose) {
  PalDirHandle handle{};
  ASSERT_EQ(PalDirOpen(&handle, "/"), ok);
  DIR *stream = *reinterpret_cast<DIR **>(handle.handle); // the record's one member
  {
    const Fault fault("closedir", EIO);
    EXPECT_EQ(PalDirClose(handle), failed(EIO, 2));
  }
  closedir(stream);
}

TEST_F(FailingSystem, HasNoTemporaryNames) {
  char name[8] = "before";
  PalFileHandle handle{};
  {
    const Fault fault("tempnam", EEXIST);
    EXPECT_EQ(PalFileTempFilename("/", name, sizeof(name)), (PalError{PAL_NOT_FOUND, 0, 2}));
  }
  EXPECT_STREQ(name, "before");
  const Fault fault("tempnam", EEXIST);
  EXPECT_EQ(PalFileOpenTemporary("/", &handle), (PalError{PAL_NOT_FOUND, 0, 2}));
  EXPECT_EQ(handle.handle, nullptr);
}

TEST_F(FailingSystem, GivesATemporaryFileWhoseNameStays) {
  unsetenv("TMPDIR");
  PalFileHandle handle{};
  {
    const Fault fault("unlink", EBUSY);
    EXPECT_EQ(PalFileOpenTemporary(directory.path().c_str(), &handle), failed(EBUSY, 3));
  }
  ASSERT_NE(handle.handle, nullptr);
  EXPECT_GE(fcntl(*handle.handle, F_GETFD), 0);
  EXPECT_EQ(PalFileClose(handle), ok);
}

TEST_F(FailingSystem, EndsADirectoryThatItCannotRead) {
  PalDirHandle handle{};
  char name[1024];
  ASSERT_EQ(PalDirOpen(&handle, "/"), ok);
  {
    const Fault fault("readdir", EIO);
    EXPECT_EQ(PalDirReadDirectory(name, handle), (PalError{PAL_NOT_FOUND, 0, 3}));
  }
  EXPECT_EQ(PalDirReadDirectory(name, handle), ok);
  EXPECT_EQ(PalDirClose(handle), ok);
}

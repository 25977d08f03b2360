// The search of the CD drive. In this program its directory is another one, of the test's: paths
// that begin with it lead there.
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/streams.h>

#include "files/failure.h"
#include "streams/local_data.h"
#include "support/log.h"
#include "support/temporary_directory.h"

using test::dataAt;
using test::Failure;
using test::failureOf;
using test::Found;
using test::notFound;
using test::opened;
using test::OpenStream;
using test::putSegment;
using test::SegmentInfo;
using test::SegmentList;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

using Segments = std::vector<SegmentInfo>;

std::string drive; // what stands for the directory

std::string placeOf(const char *path) {
  constexpr const char *cdrom = "/cdrom";
  const size_t length = strlen(cdrom);
  const bool isOnDrive =
      strncmp(path, cdrom, length) == 0 && (path[length] == '/' || path[length] == '\0');
  return isOnDrive ? drive + (path + length) : path;
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the system's are reserved names
int stat(const char *path, struct stat *status) noexcept {
  return fstatat(AT_FDCWD, placeOf(path).c_str(), status, 0);
}

int open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return openat(AT_FDCWD, placeOf(path).c_str(), flags, mode);
}

DIR *opendir(const char *path) {
  const int descriptor = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  return descriptor == -1 ? nullptr : fdopendir(descriptor);
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

class CdDrive : public test::DirectoryTest {
protected:
  CdDrive() {
    sprig_init();
    drive = directory / "drive";
    fs::create_directory(drive);
    fs::create_directory(other);
    setenv("KRT_DATDIR", directory.path().c_str(), 1);
  }
  ~CdDrive() override { unsetenv("KRT_DATDIR"); }

  // What a stream finds: the files that it will read.
  static std::string taken(int type, const Segments &segments) {
    const OpenStream stream = opened(type);
    const SegmentList list(segments);
    EXPECT_EQ(failureOf([&] { net_stream_save_modified_toc(stream.get(), list.get()); }),
              std::nullopt);
    return test::filesLeft(stream);
  }
  static std::optional<Failure> failure(int type, const Segments &segments) {
    const OpenStream stream = opened(type);
    const SegmentList list(segments);
    return failureOf([&] { net_stream_save_modified_toc(stream.get(), list.get()); });
  }
  // What is said of a segment's data in advance.
  static Found sizeFound(int type) {
    const OpenStream stream = opened(type);
    const SegmentList list{{.id = "s1"}};
    EXPECT_EQ(failureOf([&] { net_stream_get_size(stream.get(), list.get()); }), std::nullopt);
    return test::foundOf(list[0]);
  }

  const std::string other = directory / "other";
  const std::string remoteList = directory / "remote.dir";
  test::Log log;
};

} // namespace

TEST_F(CdDrive, IsSearched) {
  putSegment(drive, "s1", "twelve bytes");
  const SegmentList list{{.id = "s1"}, {.id = "s2"}};
  Toc *toc = toc_from_properties(list.get());
  test::Texts paths;
  EXPECT_EQ(net_stream_search_cd_drives(toc, &paths), 0);
  EXPECT_EQ(test::foundOf(list[0]), dataAt("/cdrom/s1.dat", 12));
  EXPECT_EQ(test::foundOf(list[1]), Found{});
  EXPECT_EQ(toc->found_count, 1);
  EXPECT_EQ(paths.all(), std::vector<std::string>{"/cdrom/s1.dat"});

  putSegment(drive, "s2");
  EXPECT_EQ(net_stream_search_cd_drives(toc, nullptr), 0);
  EXPECT_EQ(test::foundOf(list[1]), dataAt("/cdrom/s2.dat", 4));
  EXPECT_EQ(toc->found_count, 2);
  toc_free_buffer(toc);
  mg_free(toc);
}

TEST_F(CdDrive, MayBeMissing) {
  drive = directory / "missing";
  EXPECT_EQ(failure(6, {{.id = "s1"}}), notFound("s1", "1"));
  writeFile(remoteList, "");
  EXPECT_EQ(failure(8, {{.id = "s1"}}), notFound("s1", "1"));
  EXPECT_TRUE(test::notices(log).empty());
}

TEST_F(CdDrive, SuppliesStreamsOfTypeSix) {
  putSegment(drive, "s1", "twelve bytes");
  EXPECT_EQ(taken(6, {{.id = "s1"}}), "/cdrom/s1.dat");
  EXPECT_EQ(taken(6, {{.id = "s1"}, {.id = "s2", .dataFile = "/a"}}), "/a,/cdrom/s1.dat");
  EXPECT_EQ(failure(6, {{.id = "s1"}, {.id = "s2"}}), notFound("s2", "1"));
  EXPECT_EQ(sizeFound(6), dataAt("/cdrom/s1.dat", 12));
}

TEST_F(CdDrive, SuppliesStreamsOfTypeEightAfterTheDirectories) {
  putSegment(drive, "s1", "twelve bytes");
  putSegment(drive, "s2");
  const std::string found = putSegment(other, "s2");
  writeFile(remoteList, other + "\n");
  EXPECT_EQ(taken(8, {{.id = "s1"}, {.id = "s2"}}), found + ",/cdrom/s1.dat");
  EXPECT_EQ(sizeFound(8), dataAt("/cdrom/s1.dat", 12));
  EXPECT_EQ(failure(8, {{.id = "s1"}, {.id = "s3"}}), notFound("s3", "1"));
}

TEST_F(CdDrive, IsNotLookedAtWhereTheDirectoriesHaveAll) {
  const std::string found = putSegment(other, "s1");
  writeFile(drive + "/damaged.toc", "no list");
  writeFile(remoteList, other + "\n");
  EXPECT_EQ(taken(8, {{.id = "s1"}}), found);
  EXPECT_EQ(sizeFound(8), dataAt(found, 4));
  EXPECT_TRUE(test::notices(log).empty());
}

TEST_F(CdDrive, NeedsNoDirectoriesForTypeSixOnly) {
  putSegment(drive, "s1");
  EXPECT_EQ(taken(6, {{.id = "s1"}}), "/cdrom/s1.dat");
  EXPECT_EQ(failure(8, {{.id = "s1"}}), test::notInDepot(remoteList));
}

TEST_F(CdDrive, IsNotForOtherTypes) {
  putSegment(drive, "s1");
  writeFile(remoteList, other + "\n");
  for (const int type : {7, 9, 10}) {
    EXPECT_EQ(failure(type, {{.id = "s1"}}), notFound("s1", "1")) << type;
  }
}

TEST_F(CdDrive, IsRead) {
  putSegment(drive, "s1", "twelve bytes");
  const OpenStream stream = opened(6);
  net_stream_save_modified_toc(stream.get(), SegmentList{{.id = "s1", .offset = 7}}.get());
  unsigned char *buffer = nullptr;
  ASSERT_EQ(file_stream_read(stream.get(), &buffer), 5);
  EXPECT_EQ(std::string(buffer, buffer + 5), "bytes");
  net_stream_free_buffer(stream.get(), buffer);
  EXPECT_EQ(file_stream_read(stream.get(), &buffer), 0);
}

// Property files that somebody made on purpose, and what stands in their place. Nothing may be left
// behind: no descriptor, no record, no block.
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/runtime.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/channel.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using test::cannotCreate;
using test::cannotDecode;
using test::cannotGetStatus;
using test::cannotOpen;
using test::cannotRead;
using test::encodingOf;
using test::expectNothingLost;
using test::Failure;
using test::failureOf;
using test::fileOf;
using test::headerOf;
using test::Layout;
using test::List;
using test::openDescriptors;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

constexpr off_t oneGiB = off_t{1} << 30;

class HostilePropertyFile : public test::DirectoryTest, public testing::WithParamInterface<Layout> {
protected:
  HostilePropertyFile() { test::registerTypes(); }

  std::optional<Failure> loadFrom(const std::string &other) const {
    const long before = openDescriptors();
    List list;
    auto failure = failureOf([&] { layout.load(&list, other.c_str()); });
    EXPECT_EQ(openDescriptors(), before);
    return failure;
  }
  std::optional<Failure> load() const { return loadFrom(path); }

  std::optional<Failure> load(const std::string &content) const {
    writeFile(path, content);
    return load();
  }

  void makeSparse(const std::string &start, off_t size) const {
    writeFile(path, start);
    ASSERT_EQ(truncate(path.c_str(), size), 0);
  }

  // What a file is refused with whose size is not what its header says.
  std::optional<Failure> refused(int64_t length) const { return cannotRead(path, length, 0); }

  const Layout &layout = GetParam();
  const std::string path = directory / "f";
};

class HostilePropertyFileWithLength : public HostilePropertyFile {};

std::string nameOf(const testing::TestParamInfo<Layout> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Layouts, HostilePropertyFile, testing::ValuesIn(test::layouts), nameOf);
INSTANTIATE_TEST_SUITE_P(Layouts, HostilePropertyFileWithLength,
                         testing::ValuesIn(test::layoutsWithLength), nameOf);

std::string someEncoding() { return encodingOf(List(test::someProperties())); }

} // namespace

TEST_P(HostilePropertyFileWithLength, IsRefusedAtEveryShorterSize) {
  const std::string encoding = someEncoding();
  const std::string content = fileOf(layout, encoding);
  for (size_t size = 0; size < content.size(); ++size) {
    const bool isLengthKnown = size >= layout.headerSize();
    EXPECT_EQ(load(content.substr(0, size)),
              refused(isLengthKnown ? static_cast<int64_t>(encoding.size()) : 0))
        << size;
  }
}

TEST_P(HostilePropertyFile, IsRefusedWhereverItsEncodingEnds) {
  const std::string encoding = someEncoding();
  for (size_t size = 0; size < encoding.size(); ++size) {
    const auto failure = load(fileOf(layout, encoding.substr(0, size)));
    ASSERT_TRUE(failure) << size;
    EXPECT_EQ(failure->id, 35) << size;
  }
}

TEST_P(HostilePropertyFile, IsLoadedOrRefusedWithAnyByteChanged) {
  const std::string encoding = someEncoding();
  for (size_t at = 0; at < encoding.size(); ++at) {
    for (const int mask : {0x01, 0xff}) {
      std::string changed = encoding;
      changed[at] = static_cast<char>(changed[at] ^ mask);
      const auto failure = load(fileOf(layout, changed));
      EXPECT_TRUE(!failure || failure->id == 35) << at << ": " << *failure;
    }
  }
}

TEST_P(HostilePropertyFileWithLength, IsRefusedWithALengthThatItDoesNotHave) {
  const std::string encoding = someEncoding();
  const auto size = static_cast<uint32_t>(encoding.size());
  for (const uint32_t length : {0U, 1U, size - 1, size + 1, size + 4, size + 8, 0x7fffffffU,
                                0x80000000U, 0xfffffff8U, 0xfffffffcU, 0xffffffffU}) {
    EXPECT_EQ(load(headerOf(layout, length) + encoding), refused(static_cast<int32_t>(length)))
        << length;
  }
}

// Lengths that would be small numbers again with the header added to them.
TEST_P(HostilePropertyFileWithLength, IsRefusedWithALengthThatOverflows) {
  for (uint32_t length = 0xffffffff; length >= 0xfffffff0; --length) {
    EXPECT_EQ(load(headerOf(layout, length)), refused(static_cast<int32_t>(length)));
    EXPECT_EQ(load(headerOf(layout, length) + "abc"), refused(static_cast<int32_t>(length)));
  }
}

TEST_P(HostilePropertyFile, IsRefusedAsAHeaderOnly) {
  EXPECT_EQ(load(headerOf(layout, 0)), cannotDecode(RUNTIME_ADR_TRUNCATED));
}

TEST_P(HostilePropertyFile, IsRefusedFrom2GiBOn) {
  for (const off_t size : {2 * oneGiB, 2 * oneGiB + 4, 4 * oneGiB, 4 * oneGiB + 8}) {
    makeSparse(headerOf(layout, static_cast<uint32_t>(size - 8)), size);
    EXPECT_EQ(load(), cannotGetStatus(path));
  }
}

TEST_P(HostilePropertyFileWithLength, IsRefusedBeforeThereIsMemoryForAWrongLength) {
  makeSparse(headerOf(layout, 0x7ffffff0), oneGiB);
  const test::LittleMemory limit;
  EXPECT_EQ(load(), refused(0x7ffffff0));
}

TEST_P(HostilePropertyFile, IsRefusedWhereMemoryRunsOut) {
  const off_t header = static_cast<off_t>(layout.headerSize());
  makeSparse(headerOf(layout, static_cast<uint32_t>(oneGiB)), oneGiB + header);
  const long before = openDescriptors();
  List list;
  std::optional<test::Thrown> exception;
  {
    const test::LittleMemory limit;
    exception = test::thrown([&] { layout.load(&list, path.c_str()); });
  }
  ASSERT_TRUE(exception);
  EXPECT_EQ(exception->text, "There is not enough memory.\n");
  EXPECT_EQ(list.length, 0U);
  EXPECT_EQ(openDescriptors(), before);
}

// All of it is one empty list, and the bytes behind it.
TEST_P(HostilePropertyFile, MayBeLargeAndHollow) {
  constexpr off_t size = off_t{1} << 20;
  const off_t header = static_cast<off_t>(layout.headerSize());
  makeSparse(headerOf(layout, static_cast<uint32_t>(size)), size + header);
  EXPECT_EQ(load(), std::nullopt);
}

TEST_P(HostilePropertyFile, IsRefusedWhenListsAreNestedTooDeep) {
  test::Bytes deep = test::bytesOf(0);
  const std::string type = "NEX_Sprig2::_sequence_Property_Properties";
  for (int depth = 0; depth < 64; ++depth) {
    const test::Bytes outer = test::bytesOf(1, 0, -1, type.size(), type, std::string(3, '\0'));
    deep.insert(deep.begin(), outer.begin(), outer.end());
  }
  EXPECT_EQ(load(fileOf(layout, test::textOf(deep))), cannotDecode(RUNTIME_ADR_DEPTH));
}

TEST_P(HostilePropertyFileWithLength, IsNotADirectory) {
  EXPECT_EQ(loadFrom(directory.path()), cannotRead(directory.path(), 4, EISDIR));
}

TEST_P(HostilePropertyFile, IsNotADirectoryEither) {
  const auto failure = loadFrom(directory.path());
  ASSERT_TRUE(failure);
  EXPECT_EQ(failure->id, 19);
  EXPECT_EQ(failure->arguments.front(), directory.path());
  EXPECT_EQ(failure->arguments.back(), std::to_string(EISDIR));
}

TEST_P(HostilePropertyFile, IsNotAPipeThatNobodyWrites) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(load(), cannotOpen(path));
  fs::create_symlink("f", directory / "link");
  EXPECT_EQ(loadFrom(directory / "link"), cannotOpen(directory / "link"));
}

TEST_P(HostilePropertyFile, IsNotAPipeThatSomebodyWrites) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const test::OpenFile writer(open(path.c_str(), O_RDWR | O_CLOEXEC));
  const std::string content = fileOf(layout, someEncoding());
  test::writeBytes(writer.fd(), content);
  EXPECT_EQ(load(), cannotOpen(path));
  EXPECT_EQ(test::readBytes(writer.fd(), content.size()), content) << "nothing was taken of it";
}

TEST_P(HostilePropertyFile, IsNotASocket) {
  const test::OpenFile socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{AF_UNIX, {}};
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(socket.fd(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  EXPECT_EQ(load(), cannotOpen(path));
}

TEST_P(HostilePropertyFile, IsNotADevice) {
  for (const char *device : {"/dev/null", "/dev/zero", "/dev/full"}) {
    EXPECT_EQ(loadFrom(device), cannotOpen(device));
  }
}

TEST_P(HostilePropertyFile, IsNotLoadedByThoseWhoMayNotReadIt) {
  writeFile(path, fileOf(layout, someEncoding()));
  fs::permissions(path, fs::perms::none);
  test::Child child([&] {
    constexpr uid_t nobody = 65534;
    CHILD_EXPECT(geteuid() != 0 || setuid(nobody) == 0);
    List list;
    CHILD_EXPECT(failureOf([&] { layout.load(&list, path.c_str()); }) == cannotOpen(path));
    CHILD_EXPECT(failureOf([&] { layout.save(&list, path.c_str()); }) ==
                 cannotCreate(path, EACCES));
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_P(HostilePropertyFile, LeavesNothingBehindInMemory) {
  const std::string encoding = someEncoding();
  writeFile(path, fileOf(layout, encoding));
  expectNothingLost([&] { load(); });
  writeFile(path, fileOf(layout, encoding.substr(0, encoding.size() - 4)));
  expectNothingLost([&] { load(); });
  writeFile(path, "");
  expectNothingLost([&] { load(); });
  expectNothingLost([&] { loadFrom(directory.path()); });
  expectNothingLost([&] { loadFrom("/dev/null"); });
  const std::string missing = directory / "missing/f";
  expectNothingLost([&] { loadFrom(missing); });
}

TEST_P(HostilePropertyFile, LeavesNothingOpenWhenItIsNotSaved) {
  const List plain(test::someProperties());
  const List unencodable(test::listWithoutEncoding());
  const auto save = [this](const Properties &list, const std::string &other) {
    const auto failure = failureOf([&] { layout.save(&list, other.c_str()); });
    EXPECT_TRUE(failure);
  };
  const std::string missing = directory / "missing/f";
  const long before = openDescriptors();
  save(unencodable, path);
  save(plain, "/dev/full");
  save(plain, missing);
  EXPECT_EQ(openDescriptors(), before);
  expectNothingLost([&] { save(unencodable, path); });
  expectNothingLost([&] { save(plain, "/dev/full"); });
  expectNothingLost([&] { save(plain, missing); });
}

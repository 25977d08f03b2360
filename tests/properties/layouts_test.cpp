// Property files byte by byte, and what keeps them from being written and read.
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/runtime.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using test::anyOf;
using test::cannotCreate;
using test::cannotDecode;
using test::cannotEncode;
using test::cannotGetStatus;
using test::cannotOpen;
using test::cannotRead;
using test::cannotWrite;
using test::encodingOf;
using test::Failure;
using test::failureOf;
using test::fileOf;
using test::headerOf;
using test::Layout;
using test::List;
using test::readFile;
using test::stretched;
using test::wordOf;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

// A list with a name, a size and a list as its parts.
Properties plantList() {
  const auto parts =
      test::listOf<Properties>({test::propertyOf("a", anyOf(TC_boolean, uint8_t{1}))});
  return test::listOf<Properties>(
      {test::propertyOf("name", anyOf(TC_string, mg_strdup("rosebud"))),
       test::propertyOf("size", anyOf(TC_long, int32_t{-2})),
       test::propertyOf("parts", anyOf(TC_NEX_Sprig2_Properties, parts))});
}

// Its encoding.
template <size_t Size> std::string bytes(const char (&literal)[Size]) {
  return {literal, Size - 1};
}
const std::string plantBytes = bytes("\0\0\0\3"
                                     "\0\0\0\4name\0\0\0\1\0\0\0\7rosebud\0"
                                     "\0\0\0\4size\0\0\0\2\xff\xff\xff\xfe"
                                     "\0\0\0\5parts\0\0\0\xff\xff\xff\xff"
                                     "\0\0\0\x29NEX_Sprig2::_sequence_Property_Properties\0\0\0"
                                     "\0\0\0\1\0\0\0\1a\0\0\0\0\0\0\5\0\0\0\1");
const auto plantSize = static_cast<int32_t>(plantBytes.size());

// A file of one layout, in a directory of its own.
class PropertyFile : public test::DirectoryTest, public testing::WithParamInterface<Layout> {
protected:
  PropertyFile() { sprig_init(); }

  void write(const std::string &content) const { writeFile(path, content); }

  std::optional<Failure> saveTo(const std::string &other) const {
    return failureOf([&] { layout.save(&plant, other.c_str()); });
  }
  std::optional<Failure> loadFrom(const std::string &other) {
    properties_delete(&list); // of an attempt before
    return failureOf([&] { layout.load(&list, other.c_str()); });
  }
  std::optional<Failure> load() { return loadFrom(path); }

  // Loads what is in the file.
  std::optional<Failure> load(const std::string &content) {
    write(content);
    return load();
  }

  // Reads with a record of the test's own.
  std::optional<Failure> readFrom(File &file) {
    return failureOf([&] { layout.read(&list, &file); });
  }

  const Layout &layout = GetParam();
  const List plant{plantList()};
  List list;
  const std::string path = directory / "f";
};

class PropertyFileWithLength : public PropertyFile {
protected:
  std::optional<Failure> writeTo(File *file) {
    return failureOf([&] { layout.write(&plant, file); });
  }
};

std::string nameOf(const testing::TestParamInfo<Layout> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Layouts, PropertyFile, testing::ValuesIn(test::layouts), nameOf);
INSTANTIATE_TEST_SUITE_P(Layouts, PropertyFileWithLength,
                         testing::ValuesIn(test::layoutsWithLength), nameOf);

// A file's record, which closes it.
struct Opened : File {
  Opened(std::string &path, int flags) : File{path.data(), ::open(path.c_str(), flags)} {
    EXPECT_NE(descriptor, -1);
  }
  ~Opened() { ::close(descriptor); }
  Opened(const Opened &) = delete;
  Opened &operator=(const Opened &) = delete;
};

} // namespace

TEST_P(PropertyFile, HasWordsInFrontOfTheEncoding) {
  ASSERT_EQ(saveTo(path), std::nullopt);
  EXPECT_EQ(readFile(path), headerOf(layout, plantBytes.size()) + plantBytes);
}

TEST_P(PropertyFile, OfAnEmptyListHasItsEncoding) {
  layout.save(&list, path.c_str());
  EXPECT_EQ(readFile(path), headerOf(layout, 4) + bytes("\0\0\0\0"));
  EXPECT_EQ(load(), std::nullopt);
  EXPECT_EQ(list.length, 0U);
}

TEST_P(PropertyFile, IsReadAsItWasWritten) {
  EXPECT_EQ(load(headerOf(layout, plantBytes.size()) + plantBytes), std::nullopt);
  EXPECT_EQ(encodingOf(list), plantBytes);
  EXPECT_STREQ(properties_get_string(&list, "name"), "rosebud");
  EXPECT_EQ(properties_get_long(&list, "size"), -2);
  EXPECT_EQ(properties_get_boolean(properties_get_properties(&list, "parts"), "a"), 1);
}

TEST_P(PropertyFile, IsReadFromAnOpenFile) {
  write(fileOf(layout, plantBytes));
  File *file = file_open(path.c_str(), O_RDONLY);
  layout.read(&list, file);
  EXPECT_EQ(file_is_open(file), 1) << "the file stays the caller's";
  file_delete(file);
  EXPECT_EQ(encodingOf(list), plantBytes);
}

TEST_P(PropertyFile, IsForItsOwnerOnly) {
  const mode_t mask = umask(0);
  ASSERT_EQ(saveTo(path), std::nullopt);
  umask(mask);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0600});
}

TEST_P(PropertyFile, TakesThePlaceOfALongerOne) {
  write(std::string(100000, 'x'));
  fs::permissions(path, fs::perms{0644});
  ASSERT_EQ(saveTo(path), std::nullopt);
  EXPECT_EQ(readFile(path), fileOf(layout, plantBytes));
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0644}) << "it is the same file";
}

TEST_P(PropertyFile, HasAPathOfUpTo1023Bytes) {
  const std::string tooLong = stretched(directory.path(), "f", 1024);
  EXPECT_EQ(saveTo(tooLong), cannotCreate(tooLong, ENAMETOOLONG));
  EXPECT_FALSE(fs::exists(path));
  const std::string longest = stretched(directory.path(), "f", 1023);
  EXPECT_EQ(saveTo(longest), std::nullopt);
  EXPECT_EQ(loadFrom(tooLong), cannotOpen(tooLong));
  EXPECT_EQ(list.length, 0U);
  EXPECT_EQ(loadFrom(longest), std::nullopt);
  EXPECT_EQ(encodingOf(list), plantBytes);
}

TEST_P(PropertyFile, IsNotSavedWhereItCannotBeCreated) {
  write("");
  fs::create_symlink("loop", directory / "loop");
  EXPECT_EQ(saveTo(directory / "missing/f"), cannotCreate(directory / "missing/f", ENOENT));
  EXPECT_EQ(saveTo(path + "/x"), cannotCreate(path + "/x", ENOTDIR));
  EXPECT_EQ(saveTo(directory / "loop"), cannotCreate(directory / "loop", ELOOP));
  EXPECT_EQ(saveTo(directory.path()), cannotCreate(directory.path(), EISDIR));
}

TEST_P(PropertyFile, IsNotLoadedWhereItCannotBeOpened) {
  write("");
  fs::create_symlink("loop", directory / "loop");
  for (const std::string &other :
       {directory / "missing", path + "/x", directory / "loop", std::string()}) {
    EXPECT_EQ(loadFrom(other), cannotOpen(other));
  }
}

TEST_P(PropertyFile, IsNotSavedWhereThereIsNoSpace) {
  EXPECT_EQ(saveTo("/dev/full"), cannotWrite("/dev/full", layout.words == 0 ? plantSize : 4));
}

TEST_P(PropertyFile, StaysAsFarAsItCouldBeWritten) {
  const size_t space = layout.headerSize() + 10;
  test::Child child([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{space, space};
    CHILD_EXPECT(setrlimit(RLIMIT_FSIZE, &limit) == 0);
    CHILD_EXPECT(saveTo(path) == cannotWrite(path, plantSize));
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(readFile(path), fileOf(layout, plantBytes).substr(0, space));
}

TEST_P(PropertyFile, StaysEmptyWhenTheListHasNoEncoding) {
  write("content");
  const List unencodable(test::listWithoutEncoding());
  EXPECT_EQ(failureOf([&] { layout.save(&unencodable, path.c_str()); }),
            cannotEncode(RUNTIME_ADR_NO_VALUE));
  EXPECT_EQ(readFile(path), "");
}

TEST_P(PropertyFile, IsRefusedWhenItsEncodingIsDamaged) {
  EXPECT_EQ(load(fileOf(layout, bytes("\0\0\0\1\0\0\0\0"))), cannotDecode(RUNTIME_ADR_COUNT));
  EXPECT_EQ(load(fileOf(layout, bytes("\0\0\0\1\0\0\0\0\0\0\0\x0f"))),
            cannotDecode(RUNTIME_ADR_TYPE));
  EXPECT_EQ(load(fileOf(layout, "")), cannotDecode(RUNTIME_ADR_TRUNCATED));
  EXPECT_EQ(load(fileOf(layout, "abc")), cannotDecode(RUNTIME_ADR_TRUNCATED));
}

TEST_P(PropertyFile, MayHaveBytesBehindTheValueInItsEncoding) {
  EXPECT_EQ(load(fileOf(layout, plantBytes + "tail")), std::nullopt);
  EXPECT_EQ(encodingOf(list), plantBytes);
}

TEST_P(PropertyFile, IsNotReadFromAFileThatIsClosed) {
  write(fileOf(layout, plantBytes));
  File *file = file_open(path.c_str(), O_RDONLY);
  file_close(file);
  EXPECT_EQ(readFrom(*file), cannotRead(path, layout.words == 0 ? plantSize : 4, EBADF));
  file_delete(file);
}

TEST_P(PropertyFile, IsMeasuredByItsName) {
  std::string name = path;
  write(fileOf(layout, plantBytes));
  Opened file(name, O_RDONLY);
  fs::remove(path);
  EXPECT_EQ(readFrom(file), cannotGetStatus(path));
}

TEST_P(PropertyFileWithLength, IsWrittenToAnOpenFile) {
  File *file = file_create(path.c_str(), O_WRONLY, 0600);
  EXPECT_EQ(writeTo(file), std::nullopt);
  EXPECT_EQ(file_is_open(file), 1) << "the file stays the caller's";
  file_delete(file);
  EXPECT_EQ(readFile(path), fileOf(layout, plantBytes));
}

TEST_P(PropertyFileWithLength, IsWrittenWhereTheFileStands) {
  write("0123456789");
  File *file = file_open(path.c_str(), O_WRONLY);
  file_seek(file, 4);
  EXPECT_EQ(writeTo(file), std::nullopt);
  file_delete(file);
  EXPECT_EQ(readFile(path), "0123" + fileOf(layout, plantBytes));
}

TEST_P(PropertyFileWithLength, IsNotWrittenToAFileThatIsClosed) {
  File *file = file_create(path.c_str(), O_WRONLY, 0600);
  file_close(file);
  EXPECT_EQ(writeTo(file), cannotWrite(path, 4));
  file_delete(file);
  EXPECT_EQ(readFile(path), "");
}

TEST_P(PropertyFileWithLength, GetsNothingOfAListWithoutAnEncoding) {
  File *file = file_create(path.c_str(), O_WRONLY, 0600);
  const List unencodable(test::listWithoutEncoding());
  EXPECT_EQ(failureOf([&] { layout.write(&unencodable, file); }),
            cannotEncode(RUNTIME_ADR_NO_VALUE));
  EXPECT_EQ(file_is_open(file), 1);
  file_delete(file);
  EXPECT_EQ(readFile(path), "");
}

TEST_P(PropertyFileWithLength, IsReadOrWrittenThroughAFile) {
  EXPECT_EQ(failureOf([&] { layout.read(&list, nullptr); }),
            (Failure{18, "Cannot read from the file because the file handle is NULL.\n"}));
  EXPECT_EQ(writeTo(nullptr),
            (Failure{20, "Cannot write to the file because the file handle is NULL.\n"}));
}

TEST_P(PropertyFileWithLength, IsRefusedWhenItsHeaderIsShort) {
  const std::string header = headerOf(layout, plantBytes.size());
  for (size_t size = 0; size < header.size(); ++size) {
    EXPECT_EQ(load(header.substr(0, size)), cannotRead(path, 0, 0)) << size;
  }
}

TEST_P(PropertyFileWithLength, IsRefusedWhenItsSizeDoesNotFitItsLength) {
  const std::string content = fileOf(layout, plantBytes);
  EXPECT_EQ(load(content + 'x'), cannotRead(path, plantSize, 0));
  EXPECT_EQ(load(content.substr(0, content.size() - 1)), cannotRead(path, plantSize, 0));
  EXPECT_EQ(load(content.substr(0, layout.headerSize())), cannotRead(path, plantSize, 0));
  EXPECT_EQ(load(headerOf(layout, 0) + plantBytes), cannotRead(path, 0, 0));
  EXPECT_EQ(list.length, 0U);
}

TEST_P(PropertyFileWithLength, IsRefusedWithoutRegardToEarlierErrors) {
  write("");
  EXPECT_EQ(failureOf([&] {
              errno = EIO;
              layout.load(&list, path.c_str());
            }),
            cannotRead(path, 0, 0));
  write(headerOf(layout, 1));
  std::string name = path;
  Opened file(name, O_RDONLY);
  EXPECT_EQ(failureOf([&] {
              errno = EIO;
              layout.read(&list, &file);
            }),
            cannotRead(path, 1, 0));
}

// The open file is shorter than the one that has its name by now.
TEST_P(PropertyFileWithLength, IsRefusedWhenItEndsBeforeTheSizeOfItsName) {
  const std::string content = fileOf(layout, plantBytes);
  write(content.substr(0, content.size() - 1));
  std::string name = path;
  Opened file(name, O_RDONLY);
  writeFile(directory / "new", content);
  fs::rename(directory / "new", path);
  EXPECT_EQ(readFrom(file), cannotRead(path, plantSize, 0));
}

TEST_P(PropertyFileWithLength, IsAllOfItsFile) {
  write("0123" + fileOf(layout, plantBytes));
  File *file = file_open(path.c_str(), O_RDONLY);
  file_seek(file, 4);
  EXPECT_EQ(readFrom(*file), cannotRead(path, plantSize, 0));
  file_delete(file);
}

using ImprovedPropertyFile = PropertyFile;

INSTANTIATE_TEST_SUITE_P(Layouts, ImprovedPropertyFile, testing::Values(test::improved), nameOf);

TEST_P(ImprovedPropertyFile, IsReadWhateverItsVersion) {
  for (const uint32_t version : {0U, 1U, 7U, 0xffffffffU}) {
    List loaded;
    write(wordOf(version) + wordOf(plantBytes.size()) + plantBytes);
    layout.load(&loaded, path.c_str());
    EXPECT_EQ(encodingOf(loaded), plantBytes) << version;
  }
}

using BarePropertyFile = PropertyFile;

INSTANTIATE_TEST_SUITE_P(Layouts, BarePropertyFile, testing::Values(test::bare), nameOf);

// How much was read is not looked at: it is decoded, whatever comes of that.
TEST_P(BarePropertyFile, MayEndBeforeTheSizeOfItsName) {
  write(plantBytes.substr(0, 50));
  std::string name = path;
  Opened file(name, O_RDONLY);
  writeFile(directory / "new", plantBytes);
  fs::rename(directory / "new", path);
  const std::optional<Failure> failure = readFrom(file);
  EXPECT_TRUE(!failure || failure->id == 35);
}

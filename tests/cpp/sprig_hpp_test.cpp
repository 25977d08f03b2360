// The C++ face: failures as C++ exceptions, text, files and directories.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "cpp/fixture.h"
#include "support/exceptions.h"
#include "support/temporary_directory.h"

using namespace std::string_literals;
using sprig::call;
using sprig::DirectoryWalk;
using sprig::Error;
using sprig::ObjectReference;
using sprig::PropertyList;
using test::CppFace;
using test::errorOf;
using test::failure;
using test::Strings;

namespace {

[[noreturn]] void throwWrongType() { vaThrow(Sprig2Catalog[0], 37, Sprig2Catalog[37], "key"); }

// An exception of a type that is nowhere registered. Its record has the type's name, and only bytes
// that mean nothing behind that.
[[noreturn]] void throwUnknown(size_t recordSize) {
  static char typeName[] = "Test::Unknown";
  char *const name = typeName;
  void *record = mg_malloc(recordSize);
  std::memset(record, 0xa5, recordSize);
  std::memcpy(record, &name, sizeof name);
  eh_throw(typeName, record);
}

int released = 0;
void countRelease(void *block) {
  ++released;
  mg_free(block);
}
void releaseAndThrow(void *block) {
  countRelease(block);
  vaThrow(Sprig2Catalog[0], 14, Sprig2Catalog[14], "file");
}

// Whether an exception of the framework meets the frame that is open around the call, and no other.
template <typename Body> bool leavesNoFrameOpen(const Body &body) {
  const auto thrown = test::thrown([&] {
    body();
    vaThrow(nullptr, 5, "outside");
  });
  return thrown.has_value() && thrown->id == 5;
}

using CppCall = CppFace;
using CppError = CppFace;
using CppText = CppFace;
using CppFile = CppFace;
using CppDirectoryWalk = CppFace;

} // namespace

TEST_F(CppError, HasWhatTheMessageIsMadeOf) {
  const auto error = errorOf(
      [] { call([] { vaThrow(Sprig2Catalog[0], 12, Sprig2Catalog[12], "/some/file", 13); }); });
  ASSERT_TRUE(error);
  EXPECT_STREQ(error->what(), "Cannot create the file /some/file. The error code is 13.");
  EXPECT_EQ(error->id(), 12);
  EXPECT_EQ(error->catalog(), "Sprig2Catalog");
  EXPECT_EQ(error->type_name(), "ExErrorMsg");
  EXPECT_EQ(error->arguments(), (Strings{"/some/file", "13"}));
}

TEST_F(CppError, HasTheTypeOfTheException) {
  const auto error = errorOf([] {
    call([] { vaMThrow("NEX_Sprig2::ExSegmentLocked", nullptr, 3, "%1$s is locked", "report"); });
  });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->type_name(), "NEX_Sprig2::ExSegmentLocked");
  EXPECT_EQ(error->catalog(), "");
  EXPECT_STREQ(error->what(), "report is locked");
}

TEST_F(CppError, OfARecordWithoutTextsHasItsNumberAndNoArguments) {
  std::string type = "ExErrorMsg";
  std::string catalog = "some catalog";
  ExErrorMsg record{};
  record.type_name = type.data();
  record.catalog = catalog.data();
  record.key = 8;
  const Error error(record, "shown\n\n");
  EXPECT_STREQ(error.what(), "shown");
  EXPECT_EQ(error.id(), 8);
  EXPECT_EQ(error.catalog(), catalog);
  EXPECT_EQ(error.arguments(), Strings());
}

TEST_F(CppError, OfAnUnknownTypeHasItsNameAndText) {
  for (const size_t size : {sizeof(char *), sizeof(ExErrorMsg) / 2}) {
    const auto error = errorOf([&] { call([&] { throwUnknown(size); }); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->type_name(), "Test::Unknown");
    EXPECT_STREQ(error->what(), "Test::Unknown");
    EXPECT_EQ(error->id(), 0);
    EXPECT_EQ(error->catalog(), "");
    EXPECT_EQ(error->arguments(), Strings());
  }
}

TEST_F(CppError, IsMadeOfARecordThatHasATypesNameOnly) {
  const char *const typeName = "Test::Unknown";
  const Error error(&typeName, "shown\n");
  EXPECT_EQ(error.type_name(), typeName);
  EXPECT_STREQ(error.what(), "shown");
  EXPECT_EQ(error.id(), 0);
  const char *const none = nullptr;
  EXPECT_EQ(Error(&none, "shown").type_name(), "");
}

TEST_F(CppError, WithNothingButNewlinesHasNoText) {
  EXPECT_STREQ(Error(ExErrorMsg{}, "\n").what(), "");
  EXPECT_STREQ(Error(ExErrorMsg{}, "").what(), "");
}

TEST_F(CppError, IsCopiedWithoutFailing) {
  EXPECT_TRUE(std::is_nothrow_copy_constructible_v<Error>);
  EXPECT_TRUE((std::is_base_of_v<std::runtime_error, Error>));
}

TEST_F(CppCall, GivesWhatTheBodyReturns) {
  EXPECT_EQ(call([] { return 5; }), 5);
  const auto constantBody = [] { return "text"; };
  EXPECT_STREQ(call(constantBody), "text");
  EXPECT_EQ(call(pathname_max_length), 1024);
  const auto nothing = [] {};
  EXPECT_TRUE(std::is_void_v<decltype(call(nothing))>);
}

TEST_F(CppCall, ClosesItsFrame) {
  EXPECT_TRUE(leavesNoFrameOpen([] { call([] {}); }));
}

TEST_F(CppCall, ClosesItsFrameBehindAnException) {
  EXPECT_TRUE(
      leavesNoFrameOpen([] { EXPECT_EQ(failure([] { call(throwWrongType); }), "37(key)"); }));
}

TEST_F(CppCall, PassesCppExceptionsOnAndClosesItsFrame) {
  EXPECT_TRUE(leavesNoFrameOpen(
      [] { EXPECT_THROW(call([] { throw std::out_of_range("body"); }), std::out_of_range); }));
}

TEST_F(CppCall, ReleasesWhatIsDelegatedHoweverItEnds) {
  released = 0;
  call([] { ex_delegate(mg_malloc(1), countRelease); });
  EXPECT_EQ(released, 1);
  EXPECT_EQ(failure([] {
              call([] {
                ex_delegate(mg_malloc(1), countRelease);
                throwWrongType();
              });
            }),
            "37(key)");
  EXPECT_EQ(released, 2);
  EXPECT_THROW(call([] {
                 ex_delegate(mg_malloc(1), countRelease);
                 throw 1;
               }),
               int);
  EXPECT_EQ(released, 3);
}

TEST_F(CppCall, ThrowsWhatAReleaseThrows) {
  released = 0;
  EXPECT_EQ(failure([] { call([] { ex_delegate(mg_malloc(1), releaseAndThrow); }); }), "14(file)");
  EXPECT_EQ(failure([] {
              call([] {
                ex_delegate(mg_malloc(1), releaseAndThrow);
                throwWrongType();
              });
            }),
            "14(file)");
  EXPECT_EQ(failure([] {
              call([] {
                ex_delegate(mg_malloc(1), releaseAndThrow);
                throw std::out_of_range("body");
              });
            }),
            "14(file)");
  EXPECT_EQ(released, 3);
}

TEST_F(CppCall, NestsAndHandsExceptionsFromOneToTheNext) {
  EXPECT_EQ(failure([] {
              call([] {
                call([] { ex_delegate(mg_malloc(1), countRelease); });
                call(throwWrongType);
              });
            }),
            "37(key)");
}

TEST_F(CppCall, WorksWhileACppExceptionIsHandled) {
  try {
    throw 1;
  } catch (int) {
    EXPECT_EQ(failure([] { call(throwWrongType); }), "37(key)");
  }
}

TEST_F(CppText, IsRefusedWhereCWouldCutIt) {
  PropertyList list;
  const std::string cut = "a\0b"s;
  EXPECT_THROW(list.put(cut, 1), std::invalid_argument);
  EXPECT_THROW(list.put("key", cut), std::invalid_argument);
  EXPECT_THROW(list.put("key", std::string_view(cut)), std::invalid_argument);
  EXPECT_THROW(list.put("key", ObjectReference{cut}), std::invalid_argument);
  EXPECT_THROW(list.contains(std::string_view(cut)), std::invalid_argument);
  EXPECT_THROW(list.save(directory / cut), std::invalid_argument);
  EXPECT_THROW(sprig::File::create(directory / cut), std::invalid_argument);
  EXPECT_THROW(sprig::match("a", cut), std::invalid_argument);
  EXPECT_TRUE(list.empty());
}

TEST_F(CppText, MayNotBeANullPointer) {
  const char *null = nullptr;
  PropertyList list;
  EXPECT_THROW(list.contains(null), std::invalid_argument);
  EXPECT_THROW(list.put("key", null), std::invalid_argument);
}

TEST_F(CppText, MayBePartOfAnother) {
  const std::string_view text = "keys and more";
  PropertyList list;
  list.put("key", 3);
  EXPECT_EQ(list.get<int32_t>(text.substr(0, 3)), 3);
  EXPECT_FALSE(list.contains(text.substr(0, 4)));
}

TEST_F(CppText, MatchesPatterns) {
  EXPECT_TRUE(sprig::match("*.toc", "a.toc"));
  EXPECT_FALSE(sprig::match("*.toc"s, "a.itc"));
  EXPECT_THROW(sprig::match("a[", "a"), std::invalid_argument);
}

TEST_F(CppFile, IsWrittenAndRead) {
  const std::string path = directory / "file";
  sprig::File out = sprig::File::create(path);
  EXPECT_EQ(out.path(), path);
  out.write("some text");
  out.close();
  EXPECT_FALSE(out.is_open());

  sprig::File in = sprig::File::open(path);
  in.seek(5);
  std::string text(100, '-');
  text.resize(in.read(text.data(), text.size()));
  EXPECT_EQ(text, "text");
  EXPECT_EQ(in.read(text.data(), text.size()), 0U);
}

TEST_F(CppFile, IsCreatedForItsOwnerAndTruncated) {
  const std::string path = directory / "file";
  sprig::File::create(path).write("old");
  sprig::File::create(path);
  EXPECT_EQ(test::readFile(path), "");
  struct stat status {};
  EXPECT_EQ(stat_ex(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(CppFile, IsClosedWithItsOwner) {
  int descriptor = -1;
  {
    const sprig::File file = sprig::File::create(directory / "file");
    descriptor = file.native()->descriptor;
  }
  EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(CppFile, HasOneOwner) {
  sprig::File first = sprig::File::create(directory / "file");
  sprig::File second = std::move(first);
  EXPECT_TRUE(second.is_open());
  EXPECT_FALSE(first.is_open()); // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(first.path(), "");
  EXPECT_EQ(failure([&] { first.write("text"); }), "20()");
  EXPECT_EQ(failure([&] { first.close(); }), "13()");
  EXPECT_FALSE(std::is_copy_constructible_v<sprig::File>);
}

TEST_F(CppFile, ThrowsWhatFails) {
  const std::string path = directory / "file";
  EXPECT_EQ(failure([&] { sprig::File::open(path); }), "11(" + path + ")");
  EXPECT_EQ(failure([&] { sprig::File::create(directory.path()); }),
            "12(" + directory.path() + ", " + std::to_string(EISDIR) + ")");
  sprig::File file = sprig::File::create(path);
  char byte = 0;
  EXPECT_EQ(failure([&] { file.read(&byte, 1); }),
            "19(" + path + ", 1, " + std::to_string(EBADF) + ")");
  sprig::File readOnly = sprig::File::open(path);
  EXPECT_EQ(failure([&] { readOnly.write("text"); }), "21(" + path + ", 4)");
}

TEST_F(CppFile, IsClosedEvenIfClosingFails) {
  const std::string path = directory / "file";
  sprig::File file = sprig::File::create(path);
  ::close(file.native()->descriptor);
  EXPECT_EQ(failure([&] { file.close(); }), "14(" + path + ")");
  EXPECT_FALSE(file.is_open());
}

TEST_F(CppFile, RefusesLengthsThatCWouldCut) {
  sprig::File file = sprig::File::create(directory / "file");
  EXPECT_THROW(file.write("", size_t{INT32_MAX} + 1), std::length_error);
  EXPECT_THROW(file.seek(size_t{INT32_MAX} + 1), std::length_error);
  EXPECT_EQ(test::readFile(directory / "file"), "");
}

TEST_F(CppFile, HasNoNameThatIsTooLong) {
  const std::string path = directory.path() + std::string(1023 - directory.path().size(), '/');
  EXPECT_EQ(failure([&] { sprig::File::open(path); }), "none");
  EXPECT_EQ(failure([&] { sprig::File::open(path + '/'); }), "11(" + path + "/)");
}

TEST_F(CppDirectoryWalk, GivesTheNamesThatMatch) {
  for (const char *name : {"a.toc", "b.toc", "c.dat", ".hidden"}) {
    test::writeFile(directory / name, "");
  }
  const auto names = [&](auto... pattern) {
    DirectoryWalk walk(directory.path(), pattern...);
    Strings result(walk.begin(), walk.end());
    std::sort(result.begin(), result.end());
    return result;
  };
  EXPECT_EQ(names("*.toc"), (Strings{"a.toc", "b.toc"}));
  EXPECT_EQ(names(), (Strings{".hidden", "a.toc", "b.toc", "c.dat"}));
  EXPECT_EQ(names("none*"), Strings());
}

TEST_F(CppDirectoryWalk, GoesThroughARangeFor) {
  test::writeFile(directory / "only", "");
  Strings names;
  for (const std::string_view name : DirectoryWalk(directory.path())) {
    names.emplace_back(name);
  }
  EXPECT_EQ(names, Strings{"only"});
}

TEST_F(CppDirectoryWalk, TellsWhyADirectoryCannotBeOpened) {
  try {
    DirectoryWalk walk(directory / "missing");
    FAIL();
  } catch (const std::system_error &error) {
    EXPECT_EQ(error.code().value(), ENOENT);
  }
  const std::string tooLong(1024, 'x');
  EXPECT_EQ(failure([&] { DirectoryWalk walk(tooLong); }), "32()");
}

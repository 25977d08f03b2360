// Status files for C++.
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "cpp/fixture.h"
#include "records/status.h"
#include "support/process.h"
#include "support/temporary_directory.h"

using namespace std::string_literals;
using sprig::Layout;
using sprig::PropertyList;
using sprig::Status;
using sprig::StatusKind;
using test::errorOf;
using test::failure;

namespace {

namespace fs = std::filesystem;

class CppStatus : public test::StatusTest {
protected:
  // A status whose file says that of lengths.
  static Status withLengths(const char *total, const char *received) {
    Status status("d1");
    status.properties().put("t_len", total);
    status.properties().put("c_len", received);
    return status;
  }
};

} // namespace

TEST_F(CppStatus, IsEmptyAtFirst) {
  const Status status("d1");
  EXPECT_EQ(status.distribution_id(), "d1");
  EXPECT_EQ(status.path(), "");
  EXPECT_TRUE(status.properties().empty());
  EXPECT_EQ(status.total_length(), std::nullopt);
  EXPECT_EQ(status.received_length(), std::nullopt);
  EXPECT_FALSE(status.is_complete());
  EXPECT_FALSE(status.has_failed());
  EXPECT_EQ(status.failure(), "");
  EXPECT_FALSE(status.is_closed());
  EXPECT_FALSE(status.is_paused());
  EXPECT_FALSE(status.is_done());
}

TEST_F(CppStatus, IsReadByADistributionsId) {
  Status written("d1");
  written.properties().put("err", true);
  written.properties().put("err_msg", "the disk is full");
  written.properties().put("paused", true);
  written.properties().put("close", true);
  written.save();
  EXPECT_EQ(written.path(), pathOf("d1.mds"));
  const Status read = Status::read("d1");
  EXPECT_EQ(read.path(), pathOf("d1.mds"));
  EXPECT_EQ(read.properties().get<std::string>("msid"), "d1");
  EXPECT_TRUE(read.has_failed());
  EXPECT_EQ(read.failure(), "the disk is full");
  EXPECT_TRUE(read.is_paused());
  EXPECT_TRUE(read.is_closed());
}

TEST_F(CppStatus, HasLengthsAsNumbers) {
  withLengths("4294967295999\n", "5000000000\n").save();
  const Status read = Status::read("d1");
  EXPECT_EQ(read.total_length(), 4294967295999U);
  EXPECT_EQ(read.received_length(), 5000000000U);
  EXPECT_FALSE(read.is_complete());
}

TEST_F(CppStatus, ReadsLengthsAsStreamsWriteThem) {
  for (const int32_t bytes : {0, 5, 999, 1000, 1005, INT32_MAX}) {
    Int64Length length{};
    int64_length_add(&length, bytes);
    char *text = int64_length_to_string(&length);
    EXPECT_EQ(withLengths(text, text).total_length(), static_cast<uint64_t>(bytes));
    mg_free(text);
  }
}

TEST_F(CppStatus, HasNoLengthWhereTheTextIsNone) {
  for (const char *text : {"", "\n", "many", "-5", " 5", "99999999999999999999\n"}) {
    EXPECT_EQ(withLengths(text, "5").total_length(), std::nullopt) << text;
  }
}

TEST_F(CppStatus, IsCompleteWhenBothLengthsAreEqual) {
  EXPECT_TRUE(withLengths("5000\n", "5000\n").is_complete());
  EXPECT_TRUE(withLengths("0000\n", "0000\n").is_complete());
  EXPECT_FALSE(withLengths("5000\n", "4999\n").is_complete());
  EXPECT_FALSE(withLengths("", "").is_complete());
}

TEST_F(CppStatus, ThrowsWhereThereIsNoFile) {
  EXPECT_EQ(failure([] { Status::read("d1"); }), "11(" + pathOf("d1.mds") + ")");
  Status status("d1");
  status.properties().put("own", 1);
  EXPECT_EQ(failure([&] { status.load(); }), "11(" + pathOf("d1.mds") + ")");
  EXPECT_EQ(status.properties().get<int32_t>("own"), 1);
}

TEST_F(CppStatus, ThrowsWhereTheFileIsNoStatus) {
  test::writeFile((Status::directory() + "/d1.mds"), "no list");
  EXPECT_EQ(errorOf([] { Status::read("d1"); }).value().id(), 35);
  test::writeFile((Status::directory() + "/d2.mdf"), "no list");
  EXPECT_EQ(errorOf([] { Status::read("d2"); }).value().id(), 35);
}

TEST_F(CppStatus, ThrowsForAPropertyOfAnotherType) {
  Status status("d1");
  status.properties().put("err", "yes");
  status.properties().put("t_len", 5);
  EXPECT_EQ(failure([&] { status.has_failed(); }), "37(err)");
  EXPECT_EQ(failure([&] { status.total_length(); }), "37(t_len)");
}

TEST_F(CppStatus, IsFoundUnderItsSecondNameWhenItIsDone) {
  Status status("d1");
  status.save();
  status.finish();
  EXPECT_TRUE(status.is_done());
  EXPECT_EQ(status.path(), pathOf("d1.mdf"));
  const Status read = Status::read("d1");
  EXPECT_TRUE(read.is_done());
  EXPECT_EQ(read.path(), pathOf("d1.mdf"));
}

TEST_F(CppStatus, InProgressComesBeforeOneThatIsDone) {
  Status first("d1");
  first.save();
  first.finish();
  Status second("d1");
  second.properties().put("attempt", 2);
  second.save();
  EXPECT_EQ(Status::read("d1").properties().get<int32_t>("attempt"), 2);
}

TEST_F(CppStatus, GoesOnUnderItsSecondName) {
  Status status("d1");
  status.save();
  status.finish();
  Status read = Status::read("d1");
  read.properties().put("note", "kept");
  read.save();
  EXPECT_FALSE(fs::exists(pathOf("d1.mds")));
  EXPECT_EQ(Status::read("d1").properties().get<std::string>("note"), "kept");
}

TEST_F(CppStatus, OfTheOtherKindHasAnotherName) {
  Status status("d1", StatusKind::alternative);
  status.save();
  EXPECT_EQ(status.path(), pathOf("d1.ads"));
  EXPECT_EQ(failure([] { Status::read("d1"); }), "11(" + pathOf("d1.mds") + ")");
  EXPECT_EQ(Status::read("d1", StatusKind::alternative).path(), pathOf("d1.ads"));
  status.finish();
  EXPECT_EQ(Status::read("d1", StatusKind::alternative).path(), pathOf("d1.adf"));
}

TEST_F(CppStatus, IsReadAnewAsOftenAsWanted) {
  Status reader("d1");
  for (const int32_t count : {1, 2}) {
    test::Child writer([&] {
      Status status("d1");
      status.properties().put("count", count);
      status.save();
      return 0;
    });
    EXPECT_EQ(writer.wait(), 0);
    reader.load();
    EXPECT_EQ(reader.properties().get<int32_t>("count"), count);
  }
}

TEST_F(CppStatus, TellsItsDirectory) {
  EXPECT_EQ(Status::directory(), statusDirectory);
  EXPECT_TRUE(fs::is_directory(statusDirectory));
}

TEST_F(CppStatus, IsRefusedWithoutADirectory) {
  const test::Variable tooLong("KRT_WORKDIR", std::string(1100, 'd').c_str());
  EXPECT_THROW(Status("d1"), std::runtime_error);
}

TEST_F(CppStatus, ThrowsWhereItCannotBeWritten) {
  Status status("none/d1");
  EXPECT_EQ(errorOf([&] { status.save(); }).value().id(), 12);
  Status tooLong(std::string(1100, 'd'));
  EXPECT_EQ(errorOf([&] { tooLong.save(); }).value().id(), 32);
}

TEST_F(CppStatus, RefusesTextThatCWouldCut) {
  EXPECT_THROW(Status("a\0b"s), std::invalid_argument);
}

TEST_F(CppStatus, IsMoved) {
  Status first("d1");
  first.properties().put("note", "kept");
  Status second = std::move(first);
  EXPECT_EQ(second.properties().get<std::string>("note"), "kept");
  first = std::move(second);
  EXPECT_EQ(first.distribution_id(), "d1");
  EXPECT_FALSE(std::is_copy_constructible_v<Status>);
}

// Records of a distribution where memory runs out: the exception arrives, nothing is lost, and what
// was there is as it was. A status file's record is just not made. And status files that the system
// cannot close.
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include <sprig/records.h>

#include "files/failure.h"
#include "properties/layouts.h"
#include "records/status.h"
#include "support/exceptions.h"
#include "support/heap.h"
#include "support/values.h"
#include "torture/faults.h"
#include "torture/framework_faults.h"

using test::anyOf;
using test::encodingOf;
using test::List;
using test::listOf;
using test::Names;
using test::namesIn;
using test::openDescriptors;
using test::propertyOf;
using test::readFile;
using test::runsOutOfMemory;
using test::StatusPtr;
using test::Value;
using test::withEachCallFailing;
using test::writeFile;

namespace {

// Enough for a segment, and for a message.
Properties description() {
  return listOf<Properties>({propertyOf("id", anyOf(TC_string, mg_strdup("a"))),
                             propertyOf("version", anyOf(TC_string, mg_strdup("1"))),
                             propertyOf("type", anyOf(TC_short, int16_t{1})),
                             propertyOf("recv_meth", anyOf(TC_string, mg_strdup("method")))});
}

// Releases a list's record whose content has been handed over, or not.
void releaseList(Properties *list) {
  properties_delete(list);
  mg_free(list);
}

class RecordFaults : public testing::Test {
protected:
  RecordFaults() { test::registerTypes(); }

  // A call that gives something which `release` releases, or throws.
  template <typename Make, typename Release> static void expectNothing(Make make, Release release) {
    withEachCallFailing([&](int call) {
      decltype(make()) made = nullptr;
      const bool hasFailed = runsOutOfMemory(call, [&] { made = make(); });
      EXPECT_EQ(made == nullptr, hasFailed) << "call " << call;
      if (!hasFailed) {
        release(made);
      }
      return hasFailed;
    });
  }

  // A call that takes over a list, unless it throws.
  template <typename Record>
  static void expectListLeft(Record *(*adopt)(Properties *list), void (*release)(Record *record)) {
    withEachCallFailing([&](int call) {
      Properties *list = properties_new();
      *list = description();
      const std::string encoding = encodingOf(*list);
      Record *record = nullptr;
      const bool hasFailed = runsOutOfMemory(call, [&] { record = adopt(list); });
      EXPECT_EQ(encodingOf(*list), encoding);
      EXPECT_EQ(record == nullptr, hasFailed);
      hasFailed ? releaseList(list) : release(record);
      return hasFailed;
    });
  }

  const List list{description()};
  const Value lists{TC_NEX_Sprig2_PropertiesList,
                    listOf<PropertiesList>({description(), description(), description()})};
};

class StatusFaults : public test::StatusTest {
protected:
  StatusFaults() {
    const StatusPtr status = test::newStatus("d1");
    properties_put_string_dup(mstat_get_properties(status.get()), "text", "old");
    mstat_save(status.get());
    old = readFile(path);
  }

  // A record whose properties differ from the file's.
  static StatusPtr changedStatus() {
    StatusPtr status = test::newStatus("d1");
    properties_put_string_dup(mstat_get_properties(status.get()), "text", "new");
    return status;
  }

  const std::string path = pathOf("d1.mds");
  std::string old;
};

} // namespace

TEST_F(RecordFaults, GiveNoSegment) {
  expectNothing(segment_new, segment_delete);
  expectNothing([&] { return segment_new_from_properties(&list); }, segment_delete);
  Segment *segment = segment_new_from_properties(&list);
  expectNothing([&] { return segment_clone(segment); }, segment_delete);
  segment_delete(segment);
}

TEST_F(RecordFaults, GiveNoMessage) {
  expectNothing(message_new, message_delete);
  expectNothing([&] { return message_new_from_properties(&list); }, message_delete);
}

TEST_F(RecordFaults, LeaveAListThatWasToBeTakenOver) {
  expectListLeft(segment_from_properties, segment_delete);
  expectListLeft(message_from_properties, message_delete);
}

TEST_F(RecordFaults, GiveNoTableOfContents) {
  const auto release = [](Toc *toc) {
    toc_free_buffer(toc);
    mg_free(toc);
  };
  expectNothing([&] { return toc_from_properties(&lists.as<PropertiesList>()); }, release);
  Toc *toc = toc_new_from_properties(&lists.as<PropertiesList>());
  expectNothing([&] { return toc_clone(toc); }, toc_delete);
  toc_delete(toc);
}

// The copy is the one call whose failure is not told.
TEST_F(RecordFaults, GiveNoTableOfContentsOrAnEmptyOne) {
  int emptyCount = 0;
  withEachCallFailing([&](int call) {
    Toc *toc = nullptr;
    const auto exception = test::thrown([&] {
      test::armFrameworkFault(call);
      toc = toc_new_from_properties(&lists.as<PropertiesList>());
    });
    const bool hasStruck = test::disarmFrameworkFault();
    EXPECT_EQ(exception.has_value(), toc == nullptr);
    if (toc != nullptr) {
      EXPECT_EQ(toc->count, hasStruck ? 0 : 3);
      emptyCount += hasStruck ? 1 : 0;
    }
    toc_delete(toc);
    return hasStruck;
  });
  EXPECT_GT(emptyCount, 0);
}

TEST_F(RecordFaults, GiveNoLength) {
  expectNothing(int64_length_new, int64_length_delete);
  expectNothing([] { return int64_length_new2("1", "2"); }, int64_length_delete);
  const Int64Length length{1, 2};
  expectNothing([&] { return int64_length_clone(&length); }, int64_length_delete);
  expectNothing([&] { return int64_length_to_string(&length); }, mg_free);
}

TEST_F(RecordFaults, GiveNoFileName) {
  expectNothing([] { return distid_get_filename("d1"); }, pathname_delete);
  expectNothing([] { return find_dist_fname("/a", "d1", "mds"); }, pathname_delete);
}

// Without a frame it has no place to catch anything; for anything else it throws nothing.
TEST_F(StatusFaults, GiveNoRecord) {
  withEachCallFailing([](int call) {
    Mstat *status = nullptr;
    const auto exception = test::thrown([&] {
      test::armFrameworkFault(call);
      status = mstat_new("d1", 0);
    });
    const bool hasStruck = test::disarmFrameworkFault();
    EXPECT_TRUE(!exception || call == 1) << "call " << call << ": " << *exception;
    EXPECT_EQ(status == nullptr, hasStruck) << "call " << call;
    mstat_free(status);
    return hasStruck;
  });
}

TEST_F(StatusFaults, LeaveWhatWasToBeReplacedByLoading) {
  withEachCallFailing([&](int call) {
    const StatusPtr status = changedStatus();
    Properties *list = mstat_get_properties(status.get());
    const std::string before = encodingOf(*list);
    const long descriptors = openDescriptors();
    const bool hasFailed = runsOutOfMemory(call, [&] { mstat_load(status.get()); });
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(mstat_get_properties(status.get()), list);
    EXPECT_EQ(encodingOf(*list), hasFailed ? before : old) << "call " << call;
    return hasFailed;
  });
}

TEST_F(StatusFaults, LeaveTheFileThatWasToBeReplacedBySaving) {
  withEachCallFailing([&](int call) {
    writeFile(path, old);
    const StatusPtr status = changedStatus();
    const long descriptors = openDescriptors();
    const bool hasFailed = runsOutOfMemory(call, [&] { mstat_save(status.get()); });
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"}) << "call " << call;
    const std::string expected = hasFailed ? old : encodingOf(*mstat_get_properties(status.get()));
    EXPECT_EQ(readFile(path), expected) << "call " << call;
    return hasFailed;
  });
}

TEST_F(StatusFaults, LeaveTheFileUnderItsNameThatWasToBeDone) {
  withEachCallFailing([&](int call) {
    std::filesystem::remove(pathOf("d1.mdf"));
    writeFile(path, old);
    const StatusPtr status = changedStatus();
    const bool hasFailed = runsOutOfMemory(call, [&] { mstat_done(status.get()); });
    EXPECT_EQ(namesIn(statusDirectory), Names{hasFailed ? "d1.mds" : "d1.mdf"}) << "call " << call;
    EXPECT_STREQ(status->suffix, hasFailed ? "mds" : "mdf") << "call " << call;
    return hasFailed;
  });
}

TEST_F(StatusFaults, LeaveWhatWasToBeReplacedByAFileThatCannotBeClosed) {
  const StatusPtr status = changedStatus();
  const Properties &list = *mstat_get_properties(status.get());
  const std::string before = encodingOf(list);
  const long descriptors = openDescriptors();
  test::expectNothingLost([&] {
    test::Fault fault("close", EIO);
    fault.thoughClosed();
    EXPECT_EQ(test::failureOf([&] { mstat_load(status.get()); }), test::cannotClose(path));
    EXPECT_EQ(encodingOf(list), before);
  });
  EXPECT_EQ(openDescriptors(), descriptors);
}

// The file is written under its own name then.
TEST_F(StatusFaults, LeaveNoFileBesideItThatCouldNotBeClosed) {
  const StatusPtr status = changedStatus();
  test::expectNothingLost([&] {
    writeFile(path, old);
    test::Fault fault("close", EIO);
    fault.thoughClosed();
    EXPECT_EQ(test::failureOf([&] { mstat_save(status.get()); }), std::nullopt);
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(readFile(path), encodingOf(*mstat_get_properties(status.get())));
  });
  const long descriptors = openDescriptors();
  test::expectNothingLost([&] {
    test::Fault fault("close", EIO);
    fault.thoughClosed().lasting();
    EXPECT_EQ(test::failureOf([&] { mstat_save(status.get()); }), test::cannotClose(path));
  });
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_EQ(namesIn(statusDirectory), Names{"d1.mds"});
}

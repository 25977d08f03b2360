// Removing all entries, or those whose time is over.
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "depot/operation.h"

using test::failed;
using test::Lines;
using test::lockFailed;
using test::LockLostInside;
using test::LostLock;
using test::Names;
using test::ok;
using test::readFile;
using test::Toc;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

// A deadline that is not over.
const auto soon = static_cast<int32_t>(std::time(nullptr) + 100000);

class DepotPurging : public test::OperationTest {
protected:
  // An entry on disk under a name of its own, with data.
  static Toc put(const std::string &id, const std::string &count, const std::string &state,
                 const std::string &deadline) {
    Toc entry;
    entry.id = id;
    entry.referenceCount = count;
    entry.state = state;
    entry.deadline = deadline;
    entry.location = path(id + ".dat");
    writeFile(entry.location, "data");
    putToc(id + ".xml", entry);
    return entry;
  }
  // One that every purge removes.
  static Toc put(const std::string &id) { return put(id, "0", "1", "1"); }

  // The identifiers of the entries on disk.
  static Names ids() {
    Names result;
    for (const std::string &name : names()) {
      if (fs::path(name).extension() == ".xml") {
        result.push_back(fs::path(name).stem());
      }
    }
    std::sort(result.begin(), result.end());
    return result;
  }
};

class DepotPurgeExpired : public DepotPurging {};

// Either purge.
class DepotAnyPurge : public DepotPurging, public testing::WithParamInterface<bool> {
protected:
  PalError purge() const { return purge(depot); }
  PalError purge(Depot *handle) const {
    return ofExpired ? DepotPurgeExpiredEntries(handle) : DepotPurge(handle, 1);
  }
  // Its line of a removal that failed.
  test::LogLine notRemoved(int32_t error) const {
    return {1, operation + " error " + std::to_string(error) + " removing depot entry\n"};
  }

  const bool ofExpired = GetParam();
  const std::string operation = ofExpired ? "DepotPurgeExpiredEntries" : "DepotPurge";
};

Lines unremovable(const std::string &path) {
  return {{1, "DepotRemoveEntry_internal exit.  Error -4 removing file " + path + "\n"}};
}

} // namespace

TEST_P(DepotAnyPurge, OfAnEmptyDepotSucceeds) {
  EXPECT_EQ(purge(), ok);
  EXPECT_TRUE(isTraced(operation));
  EXPECT_EQ(problems(), Lines{});
}

TEST_P(DepotAnyPurge, RemovesEntriesWithTheirData) {
  for (const char *id : {"a", "b", "c"}) {
    put(id);
  }
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(names(), Names{});
  EXPECT_EQ(loaded().size(), 0U);
  EXPECT_EQ(problems(), Lines{});
}

TEST_P(DepotAnyPurge, IsTraced) {
  put("a");
  purge();
  EXPECT_TRUE(isTraced(operation));
  EXPECT_TRUE(hasInOrder({"DepotEnumNew entry", "DepotEnumNew exit",
                          "DepotEntryEnumNextElement entry", "DepotEntryEnumNextElement exit",
                          "DepotRemoveEntry_internal entry", "DepotRemoveEntry_internal exit",
                          "DepotEntryEnumNextElement entry", "DepotEntryEnumNextElement exit",
                          "DepotEntryEnumDelete entry", "DepotEntryEnumDelete exit"}));
}

TEST_P(DepotAnyPurge, RemovesUsedEntriesToo) {
  put("used", "3", "1", "1");
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(names(), Names{});
}

TEST_P(DepotAnyPurge, RemovesDataThatLieElsewhere) {
  Toc entry = put("a");
  fs::remove(entry.location);
  entry.location = directory / "elsewhere.dat";
  writeFile(entry.location, "data");
  putToc("a.xml", entry);
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_FALSE(fs::exists(entry.location));
  EXPECT_EQ(names(), Names{});
}

TEST_P(DepotAnyPurge, DoesNotMissDataThatAreGone) {
  fs::remove(put("gone").location);
  putToc("copy.xml", put("original"));
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(names(), Names{});
}

TEST_P(DepotAnyPurge, LeavesEverythingElse) {
  const Names others{"a.dat", "bad.xml", "notes.txt", "xml"};
  for (const std::string &name : others) {
    writeFile(path(name), "not an entry");
  }
  put("entry");
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(names(), others);
}

TEST_P(DepotAnyPurge, LeavesLoadedRecordsToTheNextLookup) {
  put("a");
  fs::rename("depot/a.xml", "depot/00000092.0.xml");
  DepotEntry *loadedBefore = DepotGetEntry(depot, "a", "1");
  ASSERT_NE(loadedBefore, nullptr);
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(names(), Names{});
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{loadedBefore});
  EXPECT_EQ(DepotGetEntry(depot, "a", "1"), nullptr);
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_P(DepotAnyPurge, GoesOnBehindAnEntryThatCannotBeRemoved) {
  for (const char *id : {"a", "b", "c"}) {
    put(id);
  }
  block("depot/b.dat");
  const PalError result = purge();
  Lines expected = unremovable("depot/b.dat");
  expected.push_back(notRemoved(-4));
  EXPECT_EQ(problems(), expected);
  EXPECT_TRUE(isTraced(operation));
  EXPECT_EQ(names(), (Names{"b.dat", "b.xml"}));
  EXPECT_EQ(loaded().size(), 0U);
  if (ofExpired) {
    EXPECT_EQ(result, failed(ENOTEMPTY, 3)) << "whatever came behind";
  }
  EXPECT_EQ(purge(), failed(ENOTEMPTY, 3));
}

TEST_P(DepotAnyPurge, EndsAtAFileThatCannotBeRead) {
  fs::create_directory("depot/directory.xml");
  put("a");
  std::string first;
  for (const auto &file : fs::directory_iterator("depot")) {
    if (first.empty() && file.path().extension() == ".xml") {
      first = file.path().filename();
    }
  }
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_EQ(fs::exists("depot/a.xml"), first != "a.xml");
  EXPECT_TRUE(log.has(1, "DepotEntryEnumNextElement error -4 reading file depot/directory.xml\n"));
}

TEST_P(DepotAnyPurge, FailsWithoutAnEnumeration) {
  put("a");
  fs::create_directory("enum.lk");
  EXPECT_EQ(purge(), failed(EISDIR, 3));
  EXPECT_EQ(problems(), (Lines{{0, "DepotEnumNew exit.  Error -4 creating semaphore path\n"},
                               {0, operation + " exit.  Error -4 creating enumerator\n"}}));
  EXPECT_TRUE(isCutShort(operation));
  EXPECT_EQ(ids(), Names{"a"});
}

TEST_P(DepotAnyPurge, FailsWithoutItsDirectory) {
  fs::remove("depot");
  EXPECT_EQ(purge(), failed(ENOENT, 2));
  EXPECT_EQ(problems(), (Lines{{0, operation + " exit.  Error -4 creating enumerator\n"}}));
}

TEST_P(DepotAnyPurge, RemovesNothingWithoutTheEntriesLock) {
  for (const char *id : {"a", "b"}) {
    put(id);
  }
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(purge(), lockFailed);
  const Lines each =
      ofExpired ? Lines{{1, "DepotPurgeExpiredEntries error -2(22) obtaining lock\n"}}
                : Lines{{0, "DepotRemoveEntry_internal exit.  Error -2(22) obtaining lock\n"},
                        notRemoved(-2)};
  Lines expected = each;
  expected.insert(expected.end(), each.begin(), each.end());
  EXPECT_EQ(problems(), expected);
  EXPECT_TRUE(isTraced(operation));
  EXPECT_EQ(ids(), (Names{"a", "b"}));
  EXPECT_EQ(loaded().size(), 2U) << "records that could not be dealt with stay";
}

TEST_P(DepotAnyPurge, SucceedsWhenTheDepotsLockCannotBeGivenBack) {
  put("a");
  const std::string name = ofExpired ? "DepotPurgeExpiredEntris" : operation;
  const LockLostInside lost(depot->depotLock, "DepotEnumNew entry\n",
                            name + " error -2 releasing lock\n");
  EXPECT_EQ(purge().palError, PAL_OK);
  EXPECT_TRUE(lost.isReported());
  EXPECT_EQ(names(), Names{});
}

TEST_P(DepotAnyPurge, NeedsAHandle) {
  expectInvalid(operation, {[&] { return purge(nullptr); }});
}

INSTANTIATE_TEST_SUITE_P(Either, DepotAnyPurge, testing::Bool(),
                         [](const auto &info) { return info.param ? "OfExpired" : "OfAll"; });

TEST_F(DepotPurging, SparesUsedEntriesUnlessForced) {
  for (const char *count : {"-1", "0", "1", "2"}) {
    for (const char *state : {"0", "1", "2"}) {
      put("count " + std::string(count) + " state " + state, count, state, "1");
    }
  }
  EXPECT_EQ(DepotPurge(depot, 0).palError, PAL_OK);
  EXPECT_EQ(ids(), (Names{"count 1 state 0", "count 1 state 1", "count 1 state 2",
                          "count 2 state 0", "count 2 state 1", "count 2 state 2"}));
  EXPECT_EQ(names().size(), 12U) << "with their data";
  EXPECT_EQ(loaded().size(), 0U);
  EXPECT_EQ(DepotPurge(depot, 1).palError, PAL_OK);
  EXPECT_EQ(names(), Names{});
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotPurging, HasNoRegardForDeadlines) {
  put("soon", "0", "1", std::to_string(soon));
  put("never", "0", "0", "-1");
  EXPECT_EQ(DepotPurge(depot, 0).palError, PAL_OK);
  EXPECT_EQ(names(), Names{});
}

TEST_F(DepotPurging, DoesNothingWithoutTheDepotsLock) {
  put("a");
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(DepotPurge(depot, 1), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotPurge exit.  Error -2(22) obtaining lock\n"}}));
  EXPECT_TRUE(isCutShort("DepotPurge"));
  EXPECT_EQ(ids(), Names{"a"});
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotPurgeExpired, SparesWhatIsNotCompleteOrStillHasTime) {
  put("past", "0", "1", "1");
  put("past used", "2", "1", "1");
  put("without deadline", "0", "1", "0");
  put("soon", "0", "1", std::to_string(soon));
  put("far in the future", "0", "1", "-1");
  put("far too", "0", "1", "-1000");
  put("incomplete", "0", "0", "1");
  put("incomplete used", "2", "0", "1");
  put("in another state", "0", "2", "1");
  EXPECT_EQ(DepotPurgeExpiredEntries(depot).palError, PAL_OK);
  EXPECT_EQ(ids(), (Names{"far in the future", "far too", "in another state", "incomplete",
                          "incomplete used", "soon"}));
  EXPECT_EQ(names().size(), 12U) << "with their data";
  EXPECT_EQ(loaded().size(), 0U);
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotPurgeExpired, LeavesWhatItSparesAsItWas) {
  const Toc spared = put("spared", "2", "1", std::to_string(soon));
  EXPECT_EQ(DepotPurgeExpiredEntries(depot).palError, PAL_OK);
  EXPECT_EQ(readFile("depot/spared.xml"), spared.bytes());
  EXPECT_EQ(readFile(spared.location), "data");
  EXPECT_TRUE(hasInOrder({"DepotEntryEnumNextElement exit", "DepotFindEntryIndex entry",
                          "DepotFreeEntry_internal entry", "DepotEntryEnumDelete entry"}));
}

TEST_F(DepotPurgeExpired, ReleasesOnlyTheRecordsOfItsOwnWalk) {
  std::vector<DepotEntry *> before;
  for (const char *id : {"a", "b", "c"}) {
    before.insert(before.begin(), add(id));
  }
  before.insert(before.begin(), addComplete("d", "1", soon));
  EXPECT_EQ(DepotPurgeExpiredEntries(depot).palError, PAL_OK);
  EXPECT_EQ(loaded(), before);
  EXPECT_EQ(names().size(), 8U);
}

TEST_F(DepotPurgeExpired, RemovesWhatLifeLeftBehind) {
  addComplete("expired", "1", 1);
  addComplete("kept", "1", soon);
  add("in progress");
  EXPECT_EQ(DepotPurgeExpiredEntries(depot).palError, PAL_OK);
  EXPECT_EQ(DepotGetEntry(depot, "expired", "1"), nullptr);
  EXPECT_NE(DepotGetEntry(depot, "kept", "1"), nullptr);
  EXPECT_NE(DepotGetEntry(depot, "in progress", "1"), nullptr);
  EXPECT_EQ(names().size(), 4U);
}

TEST_F(DepotPurgeExpired, GoesOnWithoutTheDepotsLock) {
  put("a");
  const LostLock lost(depot->depotLock);
  DepotPurgeExpiredEntries(depot);
  EXPECT_EQ(problems(),
            (Lines{{1, "DepotPurgeExpiredEntries entry continue. Ignore WAIT_TIMEOUT\n"},
                   {1, "DepotPurgeExpiredEntris error -2 releasing lock\n"}}));
  EXPECT_TRUE(isTraced("DepotPurgeExpiredEntries"));
  EXPECT_EQ(names(), Names{});
}

// What happens to an entry between its making and its removal.
#include <cerrno>
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
using test::ok;
using test::readFile;
using test::Toc;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

const std::string lostEntryLock = " exit.  Error -2(22) obtaining lock\n";

// An added entry with data, which has something to save.
class DepotEntryLife : public test::OperationTest {
protected:
  DepotEntryLife() {
    writeFile(entry->location, "data");
    entry->checksum = 7;
    log.clear();
  }

  bool isSaved() const { return readToc(toc).checksum == "7"; }

  DepotEntry *entry = add("a");
  std::string toc = entry->toc_path;
};

// For writing or for reading.
class DepotOpening : public DepotEntryLife, public testing::WithParamInterface<bool> {
protected:
  PalError open(Depot *handle, DepotEntry *which, PalFileHandle *fileOut) const {
    return isWriting ? DepotFileOpenForWrite(handle, which, fileOut, 0)
                     : DepotFileOpenForRead(handle, which, fileOut);
  }
  PalError open() {
    log.clear();
    return open(depot, entry, &file);
  }
  void close() { EXPECT_EQ(PalFileClose(file), ok); }

  void expectNothingOpened() const {
    EXPECT_EQ(file.handle, nullptr);
    EXPECT_EQ(entry->open_count, 0U);
    EXPECT_EQ(entry->write_count, 0U);
    EXPECT_EQ(entry->access_time, 0);
    EXPECT_EQ(entry->modify_time, 0);
    EXPECT_FALSE(isSaved());
  }

  const bool isWriting = GetParam();
  const std::string operation = isWriting ? "DepotFileOpenForWrite" : "DepotFileOpenForRead";
  int notAFile = -1;
  PalFileHandle file{&notAFile};
};

class DepotOpenForWrite : public DepotEntryLife {};
class DepotOpenForRead : public DepotEntryLife {};
class DepotChangeState : public DepotEntryLife {};
class DepotModified : public DepotEntryLife {};

class DepotComplete : public DepotEntryLife {
protected:
  // Completes the entry once more, and says what its TOC file has then.
  Toc completeAgain(int32_t deadline) {
    EXPECT_EQ(DepotCompleteEntry(depot, DepotGetEntry(depot, "a", "1"), deadline), ok);
    return readToc(toc);
  }
};

std::string contentOf(PalFileHandle file) {
  char buffer[64] = {};
  size_t count = 0;
  EXPECT_EQ(PalFileRead(file, buffer, sizeof(buffer), &count), ok);
  return {buffer, count};
}

} // namespace

TEST_P(DepotOpening, HandsBackTheDataFile) {
  ASSERT_EQ(open(), ok);
  EXPECT_EQ(contentOf(file), "data");
  EXPECT_EQ(problems(), Lines{});
  EXPECT_TRUE(isTraced(operation));
  EXPECT_TRUE(
      hasInOrder({operation + " entry", "DepotSaveEntry_internal entry", operation + " exit"}));
  close();
}

TEST_P(DepotOpening, CountsAndTimesAndSaves) {
  const std::time_t before = std::time(nullptr);
  ASSERT_EQ(open(), ok);
  const std::time_t after = std::time(nullptr);
  close();
  EXPECT_EQ(entry->open_count, 1U);
  EXPECT_GE(entry->access_time, before);
  EXPECT_LE(entry->access_time, after);
  EXPECT_EQ(entry->write_count, isWriting ? 1U : 0U);
  EXPECT_EQ(entry->modify_time, isWriting ? entry->access_time : 0);
  EXPECT_EQ(entry->reference_count, 0);
  EXPECT_TRUE(isSaved());
  ASSERT_EQ(open(), ok);
  close();
  EXPECT_EQ(entry->open_count, 2U);
  EXPECT_EQ(entry->write_count, isWriting ? 2U : 0U);
}

TEST_P(DepotOpening, FailsWithoutADataFile) {
  fs::remove(entry->location);
  EXPECT_EQ(open(), failed(ENOENT, 3));
  EXPECT_EQ(problems(), (Lines{{0, operation + " exit.  Error -4 opening segment data file\n"}}));
  EXPECT_TRUE(isCutShort(operation));
  expectNothingOpened();
  EXPECT_FALSE(fs::exists(entry->location));
}

TEST_P(DepotOpening, SucceedsWhenItCannotBeSaved) {
  block(toc);
  EXPECT_EQ(open(), ok);
  EXPECT_EQ(problems(), (Lines{{1, operation + " error -4 updating segment attributes\n"}}));
  EXPECT_TRUE(isTraced(operation));
  EXPECT_EQ(entry->open_count, 1U);
  EXPECT_EQ(contentOf(file), "data");
  close();
}

TEST_P(DepotOpening, FailsWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(open(), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, operation + lostEntryLock}}));
  EXPECT_TRUE(isCutShort(operation));
  expectNothingOpened();
}

TEST_P(DepotOpening, SucceedsWhenTheEntriesLockCannotBeGivenBack) {
  const LockLostInside lost(depot->entryLock, "DepotSaveEntry_internal entry\n",
                            operation + " error -2 releasing lock\n");
  EXPECT_EQ(open(), ok);
  EXPECT_TRUE(lost.isReported());
  close();
}

TEST_P(DepotOpening, NeedsAHandleAnEntryAndAResult) {
  expectInvalid(operation, {[&] { return open(nullptr, entry, &file); },
                            [&] { return open(depot, nullptr, &file); },
                            [&] { return open(depot, entry, nullptr); }});
  EXPECT_EQ(entry->open_count, 0U);
}

INSTANTIATE_TEST_SUITE_P(Either, DepotOpening, testing::Bool(),
                         [](const auto &info) { return info.param ? "ForWrite" : "ForRead"; });

TEST_F(DepotOpenForWrite, WritesAndReadsInTheSameFile) {
  PalFileHandle file{};
  size_t count = 0;
  ASSERT_EQ(DepotFileOpenForWrite(depot, entry, &file, 0), ok);
  EXPECT_EQ(PalFileWrite(file, "DA", 2, &count), ok);
  EXPECT_EQ(contentOf(file), "ta");
  EXPECT_EQ(PalFileClose(file), ok);
  EXPECT_EQ(readFile(entry->location), "DAta");
}

TEST_F(DepotOpenForWrite, EmptiesTheFileOnDemand) {
  PalFileHandle file{};
  ASSERT_EQ(DepotFileOpenForWrite(depot, entry, &file, 1), ok);
  EXPECT_EQ(PalFileClose(file), ok);
  EXPECT_EQ(readFile(entry->location), "");
  EXPECT_EQ(entry->write_count, 1U);
}

TEST_F(DepotOpenForRead, DoesNotLetTheFileBeWritten) {
  PalFileHandle file{};
  size_t count = 0;
  ASSERT_EQ(DepotFileOpenForRead(depot, entry, &file), ok);
  EXPECT_EQ(PalFileWrite(file, "DA", 2, &count), failed(EBADF, 2));
  EXPECT_EQ(PalFileClose(file), ok);
}

TEST_F(DepotOpenForRead, LeavesWhatIsKnownOfTheWriters) {
  PalFileHandle file{};
  entry->write_count = 3;
  entry->modify_time = 5;
  ASSERT_EQ(DepotFileOpenForRead(depot, entry, &file), ok);
  EXPECT_EQ(PalFileClose(file), ok);
  EXPECT_EQ(entry->write_count, 3U);
  EXPECT_EQ(entry->modify_time, 5);
}

TEST_F(DepotChangeState, SavesAStateThatIsNew) {
  for (const int32_t state : {1, -1, 2, 0, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(DepotEntryChangeState(depot, entry, state), ok);
    EXPECT_EQ(entry->state, state);
    EXPECT_EQ(readToc(toc).state, std::to_string(state));
  }
  EXPECT_TRUE(isSaved());
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotChangeState, IsTraced) {
  DepotEntryChangeState(depot, entry, 1);
  EXPECT_TRUE(isTraced("DepotEntryChangeState"));
  EXPECT_TRUE(hasInOrder({"DepotSaveEntry_internal entry", "DepotSaveEntry_internal exit"}));
}

TEST_F(DepotChangeState, DoesNotSaveTheStateThatItHas) {
  EXPECT_EQ(DepotEntryChangeState(depot, entry, 0), ok);
  EXPECT_TRUE(isTraced("DepotEntryChangeState"));
  EXPECT_FALSE(log.has(3, "DepotSaveEntry_internal entry\n"));
  EXPECT_FALSE(isSaved());
}

TEST_F(DepotChangeState, TellsThatItCouldNotSave) {
  block(toc);
  EXPECT_EQ(DepotEntryChangeState(depot, entry, 1), failed(EISDIR, 3));
  EXPECT_EQ(entry->state, 1);
  EXPECT_TRUE(isTraced("DepotEntryChangeState"));
}

TEST_F(DepotChangeState, FailsWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotEntryChangeState(depot, entry, 1), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotEntryChangeState" + lostEntryLock}}));
  EXPECT_TRUE(isCutShort("DepotEntryChangeState"));
  EXPECT_EQ(entry->state, 0);
  EXPECT_FALSE(isSaved());
}

TEST_F(DepotChangeState, NeedsAHandleAndAnEntry) {
  expectInvalid("DepotEntryChangeState",
                {[&] { return DepotEntryChangeState(nullptr, entry, 1); },
                 [&] { return DepotEntryChangeState(depot, nullptr, 1); }});
}

TEST_F(DepotComplete, SavesTheEntryForAllAndReleasesItHere) {
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 100), ok);
  EXPECT_EQ(loaded().size(), 0U);
  const Toc saved = readToc(toc);
  EXPECT_EQ(saved.id, "a");
  EXPECT_EQ(saved.state, "1");
  EXPECT_EQ(saved.referenceCount, "1");
  EXPECT_EQ(saved.deadline, "100");
  EXPECT_TRUE(isSaved());
}

TEST_F(DepotComplete, IsTraced) {
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 0), ok);
  EXPECT_TRUE(isTraced("DepotCompleteEntry"));
  EXPECT_TRUE(hasInOrder(
      {"DepotCompleteEntry entry", "DepotSaveEntry_internal entry", "DepotSaveEntry_internal exit",
       "DepotFreeEntry entry", "DepotFindEntryIndex entry", "DepotFreeEntry_internal entry",
       "DepotFreeEntry_internal exit", "DepotFreeEntry exit", "DepotCompleteEntry exit"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotComplete, CountsEveryRegistration) {
  EXPECT_EQ(completeAgain(0).referenceCount, "1");
  EXPECT_EQ(completeAgain(0).referenceCount, "2");
  EXPECT_EQ(completeAgain(0).referenceCount, "3");
}

TEST_F(DepotComplete, OnlyEverRaisesTheDeadline) {
  EXPECT_EQ(completeAgain(-1).deadline, "0") << "before the epoch, not far in the future";
  EXPECT_EQ(completeAgain(100).deadline, "100");
  EXPECT_EQ(completeAgain(99).deadline, "100");
  EXPECT_EQ(completeAgain(-100).deadline, "100");
  EXPECT_EQ(completeAgain(101).deadline, "101");
  EXPECT_EQ(completeAgain(INT32_MAX).deadline, "2147483647");
  EXPECT_EQ(completeAgain(INT32_MIN).deadline, "2147483647");
}

TEST_F(DepotComplete, RaisesADeadlineBeforeTheEpoch) {
  entry->deadline = -10;
  EXPECT_EQ(DepotCompleteEntry(depot, entry, -5), ok);
  EXPECT_EQ(readToc(toc).deadline, "-5");
}

TEST_F(DepotComplete, TellsThatItCouldNotSave) {
  block(toc);
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 0), failed(EISDIR, 3));
  EXPECT_TRUE(isTraced("DepotCompleteEntry"));
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotComplete, GoesOnWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 100), ok);
  Lines lines = problems();
  ASSERT_GE(lines.size(), 2U);
  lines.resize(2); // what follows are those of the release
  EXPECT_EQ(lines, (Lines{{1, "DepotCompleteEntry entry continue. Ignore WAIT_TIMEOUT\n"},
                          {1, "DepotCompleteEntry error -2 releasing lock\n"}}));
  EXPECT_TRUE(isTraced("DepotCompleteEntry"));
  EXPECT_EQ(readToc(toc).referenceCount, "1");
  EXPECT_EQ(readToc(toc).state, "1");
}

TEST_F(DepotComplete, GoesOnWithoutTheDepotsLock) {
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 100), ok);
  EXPECT_EQ(problems(), (Lines{{1, "DepotFree continue. Ignore WAIT_TIMEOUT\n"},
                               {1, "DepotFreeEntry error -2 releasing lock\n"}}));
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotComplete, SucceedsWhenTheEntriesLockCannotBeGivenBack) {
  const LockLostInside lost(depot->entryLock, "DepotSaveEntry_internal entry\n",
                            "DepotCompleteEntry error -2 releasing lock\n");
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 0), ok);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotComplete, NeedsAHandleAndAnEntry) {
  expectInvalid("DepotCompleteEntry", {[&] { return DepotCompleteEntry(nullptr, entry, 0); },
                                       [&] { return DepotCompleteEntry(depot, nullptr, 0); }});
  EXPECT_EQ(readToc(toc).state, "0");
}

TEST_F(DepotModified, IsFalseForTheTimeOfTheLastWriter) {
  entry->modify_time = 5;
  EXPECT_EQ(DepotEntryModified(depot, "a", "1", 5), 0);
  EXPECT_TRUE(isTraced("DepotEntryModified"));
  EXPECT_TRUE(hasInOrder({"DepotGetEntry entry", "DepotGetEntry exit"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotModified, IsTrueForAnyOtherTimeAndKeepsTheEntriesLock) {
  entry->modify_time = 5;
  for (const int32_t time : {4, 6, 0, -5}) {
    log.clear();
    EXPECT_EQ(semaphore("entry.lk"), 2);
    EXPECT_EQ(DepotEntryModified(depot, "a", "1", time), 1) << time;
    EXPECT_EQ(semaphore("entry.lk"), 1);
    EXPECT_EQ(semaphore("depot.lk"), 2);
    EXPECT_TRUE(isCutShort("DepotEntryModified"));
    EXPECT_EQ(problems(), Lines{});
    EXPECT_EQ(PalPostSem(&depot->entryLock), ok);
  }
}

TEST_F(DepotModified, LeavesTheDepotItselfToOthers) {
  Depot *other = openDepot();
  EXPECT_EQ(DepotEntryModified(depot, "a", "1", 5), 1);
  EXPECT_NE(DepotGetEntry(other, "a", "1"), nullptr);
  EXPECT_NE(DepotAddEntry(other, "b", "1", nullptr, 0), nullptr);
  EXPECT_EQ(PalPostSem(&depot->entryLock), ok);
}

TEST_F(DepotModified, KnowsOnlyTheWritersWithTheSameHandle) {
  entry->modify_time = 5;
  Depot *other = openDepot();
  EXPECT_EQ(DepotEntryModified(other, "a", "1", 0), 0);
}

TEST_F(DepotModified, IsFalseForAnUnknownEntry) {
  EXPECT_EQ(DepotEntryModified(depot, "a", "2", 5), 0);
  EXPECT_TRUE(isTraced("DepotEntryModified"));
}

TEST_F(DepotModified, IsFalseWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotEntryModified(depot, "a", "1", 5), 0);
  EXPECT_EQ(problems(), (Lines{{0, "DepotEntryModified" + lostEntryLock}}));
  EXPECT_TRUE(isCutShort("DepotEntryModified"));
}

TEST_F(DepotModified, IsFalseWithoutTheDepotsLock) {
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(DepotEntryModified(depot, "a", "1", 5), 0);
  EXPECT_EQ(problems(), (Lines{{0, "DepotGetEntry exit.  Error -2(22) obtaining lock\n"}}));
}

TEST_F(DepotModified, NeedsAHandleAndAPair) {
  const std::vector<std::function<int()>> calls{
      [] { return DepotEntryModified(nullptr, "a", "1", 5); },
      [&] { return DepotEntryModified(depot, nullptr, "1", 5); },
      [&] { return DepotEntryModified(depot, "a", nullptr, 5); },
  };
  for (const auto &call : calls) {
    EXPECT_EQ(call(), 0);
    expectInvalidLogged("DepotEntryModified");
  }
}

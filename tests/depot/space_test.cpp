// The account of the depot's space, and the sizes of its data files.
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "depot/operation.h"

using test::failed;
using test::Lines;
using test::lockFailed;
using test::LockLostInside;
using test::LostLock;
using test::ok;
using test::Toc;
using test::writeFile;

namespace {

namespace fs = std::filesystem;

constexpr PalError noSpace{PAL_NO_DEPOT_SPACE, 0, 0};
constexpr PalError notFound{PAL_NOT_FOUND, 0, 0};

const std::string lostLock = " exit.  Error -2(22) obtaining lock\n";

// A depot of 100 kilobytes.
class DepotSpace : public test::OperationTest {
protected:
  DepotSpace() { depot->availableSpace = depot->maxSpace = 100; }
};

// An added entry with 1500 bytes of data.
class DepotSize : public DepotSpace {
protected:
  DepotSize() {
    writeFile(entry->location, std::string(1500, 'd'));
    log.clear();
  }

  // Makes the data file larger than 32 bits can tell.
  uint64_t makeHuge() {
    constexpr int64_t size = (int64_t{5} << 32) + 3;
    PalFileHandle file{};
    EXPECT_EQ(DepotFileOpenForWrite(depot, entry, &file, 0), ok);
    EXPECT_EQ(PalFileSetSize(file, size), ok);
    EXPECT_EQ(PalFileClose(file), ok);
    return size;
  }

  DepotEntry *entry = add("a");
  uint64_t size = 77;
};

class DepotAdjustment : public DepotSize {
protected:
  // What becomes available when an entry had so many bytes reserved.
  int32_t gain(uint64_t reserved) {
    entry->size = reserved;
    const uint32_t before = depot->availableSpace;
    EXPECT_EQ(DepotAdjustReservedSpace(depot, "a", "1"), ok);
    EXPECT_EQ(entry->size, reserved);
    return static_cast<int32_t>(depot->availableSpace - before);
  }
};

class DepotCheckpoint : public DepotSize {};

class DepotPermStorage : public DepotSpace {
protected:
  // An entry on disk, with its data wherever it likes.
  static void put(const std::string &id, const std::string &location) {
    Toc entry;
    entry.id = id;
    entry.location = location;
    putToc(id + ".xml", entry);
  }
  static void put(const std::string &id, const std::string &location, size_t size) {
    put(id, location);
    writeFile(location, std::string(size, 'd'));
  }

  PalError measure() {
    log.clear();
    return DepotGetPermStorage(depot, &total);
  }

  uint32_t total = 10;
};

} // namespace

TEST_F(DepotSpace, IsCountedInKilobytesRoundedUp) {
  const std::vector<std::pair<uint64_t, uint32_t>> sizes{
      {0, 0},
      {1, 1},
      {1023, 1},
      {1024, 1},
      {1025, 2},
      {UINT64_C(1) << 32, 1U << 22},
      {(UINT64_C(1) << 42) - 1024, UINT32_MAX},
      {UINT64_C(1) << 42, 0},
      {(UINT64_C(1) << 42) + 1, 1},
  };
  for (const auto &[size, kilobytes] : sizes) {
    EXPECT_EQ(ConvertDataSize(size), kilobytes) << size;
  }
}

TEST_F(DepotSpace, IsCountedTowardsZeroWhereItIsNegative) {
  const std::vector<std::pair<int64_t, int32_t>> differences{
      {-1, 0}, {-1023, 0}, {-1024, -1}, {-1500, -1}, {-2047, -1}, {-2048, -2}, {-2049, -2},
  };
  for (const auto &[difference, kilobytes] : differences) {
    EXPECT_EQ(static_cast<int32_t>(ConvertDataSize(static_cast<uint64_t>(difference))), kilobytes)
        << difference;
  }
}

TEST_F(DepotSpace, IsConvertedWithATrace) {
  ConvertDataSize(1);
  EXPECT_EQ(log.lines(), (Lines{{3, "ConvertDataSize entry\n"}, {3, "ConvertDataSize exit\n"}}));
}

TEST_F(DepotSpace, IsReservedAsLongAsThereIsEnough) {
  EXPECT_EQ(DepotReserveDiskSpace(depot, 101), noSpace);
  EXPECT_EQ(depot->availableSpace, 100U);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 100), ok);
  EXPECT_EQ(depot->availableSpace, 0U);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 1), noSpace);
  EXPECT_EQ(DepotReserveDiskSpace(depot, UINT32_MAX), noSpace);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 0), ok);
  DepotUnreserveDiskSpace(depot, 5);
  EXPECT_EQ(depot->availableSpace, 5U);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 4), ok);
  EXPECT_EQ(depot->availableSpace, 1U);
  EXPECT_EQ(depot->maxSpace, 100U);
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotSpace, IsReservedAndGivenBackWithATrace) {
  DepotReserveDiskSpace(depot, 101);
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotReserveDiskSpace entry\n"}, {3, "DepotReserveDiskSpace exit\n"}}));
  log.clear();
  DepotUnreserveDiskSpace(depot, 1);
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotUnreserveDiskSpace entry\n"}, {3, "DepotUnreserveDiskSpace exit\n"}}));
}

TEST_F(DepotSpace, MayBecomeMoreThanThereWas) {
  DepotUnreserveDiskSpace(depot, 20);
  EXPECT_EQ(depot->availableSpace, 120U);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 120), ok);
}

TEST_F(DepotSpace, IsTakenByGivingBackANegativeAmount) {
  DepotUnreserveDiskSpace(depot, -30);
  EXPECT_EQ(depot->availableSpace, 70U);
}

TEST_F(DepotSpace, IsComparedWithoutASign) {
  depot->availableSpace = depot->maxSpace = UINT32_MAX;
  EXPECT_EQ(DepotReserveDiskSpace(depot, 0x80000000U), ok);
  EXPECT_EQ(depot->availableSpace, 0x7fffffffU);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 0x80000000U), noSpace);
}

TEST_F(DepotSpace, IsEndlessWithoutALimit) {
  for (const uint32_t available : {0U, 50U}) {
    depot->maxSpace = 0;
    depot->availableSpace = available;
    EXPECT_EQ(DepotReserveDiskSpace(depot, UINT32_MAX), ok);
    DepotUnreserveDiskSpace(depot, 20);
    DepotUnreserveDiskSpace(depot, -20);
    EXPECT_EQ(depot->availableSpace, available);
    EXPECT_EQ(depot->maxSpace, 0U);
  }
}

TEST_F(DepotSpace, IsNotTouchedWithoutTheDepotsLock) {
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(DepotReserveDiskSpace(depot, 1), lockFailed);
  EXPECT_TRUE(isCutShort("DepotReserveDiskSpace"));
  DepotUnreserveDiskSpace(depot, 1);
  EXPECT_EQ(problems(), (Lines{{0, "DepotReserveDiskSpace" + lostLock},
                               {0, "DepotUnreserveDiskSpace" + lostLock}}));
  EXPECT_FALSE(log.has(3, "DepotUnreserveDiskSpace exit\n"));
  EXPECT_EQ(depot->availableSpace, 100U);
}

TEST_F(DepotSpace, NeedsAHandle) {
  expectInvalid("DepotReserveDiskSpace", {[] { return DepotReserveDiskSpace(nullptr, 1); }});
  DepotUnreserveDiskSpace(nullptr, 1);
  expectInvalidLogged("DepotUnreserveDiskSpace");
}

TEST_F(DepotAdjustment, GivesBackWhatTheDataDoNotTake) {
  EXPECT_EQ(gain(1500), 0);
  EXPECT_EQ(gain(1501), 1);
  EXPECT_EQ(gain(1500 + 1024), 1);
  EXPECT_EQ(gain(1500 + 1025), 2);
  EXPECT_EQ(gain((UINT64_C(1) << 32) + 1500), 1 << 22);
}

TEST_F(DepotAdjustment, TakesWhatTheDataTakeMore) {
  EXPECT_EQ(gain(1499), 0);
  EXPECT_EQ(gain(1500 - 1024), -1);
  EXPECT_EQ(gain(0), -1);
}

TEST_F(DepotAdjustment, IsTraced) {
  gain(1500);
  EXPECT_TRUE(isTraced("DepotAdjustReservedSpace"));
  EXPECT_TRUE(hasInOrder({"DepotGetEntry entry", "DepotGetEntry exit", "ConvertDataSize entry",
                          "ConvertDataSize exit", "DepotUnreserveDiskSpace entry",
                          "DepotUnreserveDiskSpace exit"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotAdjustment, ChangesNothingWithoutALimit) {
  depot->maxSpace = 0;
  EXPECT_EQ(gain(5000), 0);
}

TEST_F(DepotAdjustment, FindsEntriesOnDisk) {
  EXPECT_EQ(DepotFreeEntry(depot, entry).palError, PAL_OK);
  EXPECT_EQ(DepotAdjustReservedSpace(depot, "a", "1"), ok);
  EXPECT_EQ(depot->availableSpace, 99U) << "nothing is known to be reserved";
}

TEST_F(DepotAdjustment, SaysWhatItDoesNotFindAndSucceeds) {
  EXPECT_EQ(DepotAdjustReservedSpace(depot, "a%n", "%s"), ok);
  EXPECT_EQ(problems(),
            (Lines{{2, "DepotAdjustReservedSpace unable to find depot entry a%n^%s\n"}}));
  EXPECT_TRUE(isTraced("DepotAdjustReservedSpace"));
  EXPECT_EQ(depot->availableSpace, 100U);
}

TEST_F(DepotAdjustment, FailsWithoutADataFile) {
  fs::remove(entry->location);
  EXPECT_EQ(DepotAdjustReservedSpace(depot, "a", "1"), failed(ENOENT, 2));
  EXPECT_TRUE(isTraced("DepotAdjustReservedSpace"));
  EXPECT_EQ(depot->availableSpace, 100U);
}

TEST_F(DepotAdjustment, DoesNotNeedTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(gain(1501), 1);
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotAdjustment, FindsNothingWithoutTheDepotsLock) {
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(gain(5000), 0);
  EXPECT_EQ(problems(), (Lines{{0, "DepotGetEntry" + lostLock},
                               {2, "DepotAdjustReservedSpace unable to find depot entry a^1\n"}}));
}

TEST_F(DepotAdjustment, NeedsAHandleAndAPair) {
  expectInvalid("DepotAdjustReservedSpace",
                {[] { return DepotAdjustReservedSpace(nullptr, "a", "1"); },
                 [&] { return DepotAdjustReservedSpace(depot, nullptr, "1"); },
                 [&] { return DepotAdjustReservedSpace(depot, "a", nullptr); }});
}

TEST_F(DepotSize, IsAskedForAndRecorded) {
  EXPECT_EQ(DepotEntryGetFileSize(depot, entry, &size), ok);
  EXPECT_TRUE(isTraced("DepotEntryGetFileSize"));
  EXPECT_EQ(size, 1500U);
  EXPECT_EQ(entry->size, 1500U);
  size = 77;
  EXPECT_EQ(DepotEntryGetFileSize(depot, entry, &size), ok);
  EXPECT_EQ(size, 1500U) << "also when it was known";
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotSize, IsRecorded) {
  EXPECT_EQ(DepotSetSegmentSize(depot, entry), ok);
  EXPECT_TRUE(isTraced("DepotSetSegmentSize"));
  EXPECT_EQ(entry->size, 1500U);
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotSize, Has64Bits) {
  const uint64_t huge = makeHuge();
  EXPECT_EQ(DepotSetSegmentSize(depot, entry), ok);
  EXPECT_EQ(entry->size, huge);
  entry->size = static_cast<uint32_t>(huge);
  EXPECT_EQ(DepotEntryGetFileSize(depot, entry, &size), ok);
  EXPECT_EQ(size, huge);
  EXPECT_EQ(entry->size, huge);
}

TEST_F(DepotSize, StaysAsKnownWithoutADataFile) {
  entry->size = 5;
  fs::remove(entry->location);
  EXPECT_EQ(DepotEntryGetFileSize(depot, entry, &size), failed(ENOENT, 2));
  EXPECT_TRUE(isTraced("DepotEntryGetFileSize"));
  log.clear();
  EXPECT_EQ(DepotSetSegmentSize(depot, entry), failed(ENOENT, 2));
  EXPECT_TRUE(isTraced("DepotSetSegmentSize"));
  EXPECT_EQ(entry->size, 5U);
}

TEST_F(DepotSize, StaysAsKnownWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotEntryGetFileSize(depot, entry, &size), lockFailed);
  EXPECT_TRUE(isCutShort("DepotEntryGetFileSize"));
  EXPECT_EQ(DepotSetSegmentSize(depot, entry), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotEntryGetFileSize" + lostLock},
                               {0, "DepotSetSegmentSize" + lostLock}}));
  EXPECT_EQ(entry->size, 0U);
}

TEST_F(DepotSize, NeedsAHandleAnEntryAndAResult) {
  expectInvalid("DepotEntryGetFileSize",
                {[&] { return DepotEntryGetFileSize(nullptr, entry, &size); },
                 [&] { return DepotEntryGetFileSize(depot, nullptr, &size); },
                 [&] { return DepotEntryGetFileSize(depot, entry, nullptr); }});
  expectInvalid("DepotSetSegmentSize", {[&] { return DepotSetSegmentSize(nullptr, entry); },
                                        [&] { return DepotSetSegmentSize(depot, nullptr); }});
  EXPECT_EQ(entry->size, 0U);
}

TEST_F(DepotCheckpoint, IsTheEndOfTheDataForTheLastWriter) {
  entry->modify_time = 5;
  EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "1", 5, &size), ok);
  EXPECT_EQ(size, 1500U);
  EXPECT_EQ(entry->size, 1500U);
  EXPECT_TRUE(isTraced("DepotSetCheckpointOffset"));
  EXPECT_TRUE(hasInOrder({"DepotGetEntry entry", "DepotGetEntry exit",
                          "DepotEntryGetFileSize entry", "DepotEntryGetFileSize exit"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotCheckpoint, Has64Bits) {
  const uint64_t huge = makeHuge();
  EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "1", entry->modify_time, &size), ok);
  EXPECT_EQ(size, huge);
}

TEST_F(DepotCheckpoint, IsNotGivenBehindTheBackOfAnotherWriter) {
  entry->modify_time = 5;
  for (const int32_t time : {4, 6, 0, -5}) {
    log.clear();
    EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "1", time, &size), ok);
    EXPECT_TRUE(isTraced("DepotSetCheckpointOffset"));
  }
  EXPECT_EQ(size, 77U);
  EXPECT_EQ(entry->size, 0U);
}

TEST_F(DepotCheckpoint, IsNotGivenForAnUnknownEntry) {
  EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "2", 0, &size), notFound);
  EXPECT_TRUE(isTraced("DepotSetCheckpointOffset"));
  EXPECT_EQ(size, 77U);
}

TEST_F(DepotCheckpoint, IsNotGivenWithoutADataFile) {
  fs::remove(entry->location);
  EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "1", 0, &size), failed(ENOENT, 2));
  EXPECT_TRUE(isTraced("DepotSetCheckpointOffset"));
}

TEST_F(DepotCheckpoint, IsNotGivenWithoutTheEntriesLock) {
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotSetCheckpointOffset(depot, "a", "1", 0, &size), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotSetCheckpointOffset" + lostLock}}));
  EXPECT_TRUE(isCutShort("DepotSetCheckpointOffset"));
  EXPECT_EQ(size, 77U);
}

TEST_F(DepotCheckpoint, NeedsAHandleAPairAndAResult) {
  expectInvalid("DepotSetCheckpointOffset",
                {[&] { return DepotSetCheckpointOffset(nullptr, "a", "1", 0, &size); },
                 [&] { return DepotSetCheckpointOffset(depot, nullptr, "1", 0, &size); },
                 [&] { return DepotSetCheckpointOffset(depot, "a", nullptr, 0, &size); },
                 [&] { return DepotSetCheckpointOffset(depot, "a", "1", 0, nullptr); }});
  EXPECT_EQ(size, 77U);
}

TEST_F(DepotPermStorage, AddsUpTheDataInTheDepot) {
  put("none", path("none.dat"), 0);
  put("little", path("little.dat"), 1);
  put("more", path("more.dat"), 1025);
  EXPECT_EQ(measure(), ok);
  EXPECT_EQ(total, 10U + 0U + 1U + 2U);
  EXPECT_TRUE(isTraced("DepotGetPermStorage"));
  EXPECT_TRUE(
      hasInOrder({"DepotEnumNew entry", "DepotEnumNew exit", "DepotEntryEnumNextElement entry",
                  "DepotEntryEnumNextElement exit", "DepotEntryGetFileSize entry",
                  "DepotEntryGetFileSize exit", "ConvertDataSize entry", "ConvertDataSize exit",
                  "DepotEntryEnumDelete entry", "DepotEntryEnumDelete exit"}));
  EXPECT_EQ(problems(), Lines{});
}

TEST_F(DepotPermStorage, IsNothingInAnEmptyDepot) {
  EXPECT_EQ(measure(), ok);
  EXPECT_EQ(total, 10U);
}

TEST_F(DepotPermStorage, KeepsTheRecordsOfEveryTime) {
  put("a", path("a.dat"), 1);
  put("b", "elsewhere.dat");
  for (const size_t times : {1U, 2U}) {
    EXPECT_EQ(measure(), ok);
    EXPECT_EQ(total, 10U + times);
    EXPECT_EQ(loaded().size(), 2 * times);
  }
  for (const DepotEntry *entry : loaded()) {
    EXPECT_EQ(entry->size, std::string(entry->id) == "a" ? 1U : 0U);
  }
}

TEST_F(DepotPermStorage, IsToldByTheBeginningOfThePathAlone) {
  put("inside", path("sub/../data.dat"));
  fs::create_directory("depot/sub");
  writeFile("depot/data.dat", "d");
  fs::create_directory("depot2");
  put("beside", "depot2/data.dat", 2048);
  put("elsewhere", "elsewhere.dat", 4096);
  put("absolute", directory / "depot/absolute.dat", 8192);
  put("shorter", "depo", 16384);
  put("missing elsewhere", "missing.dat");
  EXPECT_EQ(measure(), ok);
  EXPECT_EQ(total, 10U + 1U + 2U);
}

TEST_F(DepotPermStorage, EndsAtASizeThatCannotBeHad) {
  put("a", path("missing.dat"));
  EXPECT_EQ(measure(), failed(ENOENT, 2));
  EXPECT_EQ(problems(), (Lines{{0, "DepotGetPermStorage error -4 obtaining file size\n"}}));
  EXPECT_TRUE(log.has(3, "DepotEntryEnumDelete exit\n"));
  EXPECT_TRUE(isTraced("DepotGetPermStorage"));
  EXPECT_EQ(total, 10U);
}

TEST_F(DepotPermStorage, FailsWithoutAnEnumeration) {
  fs::create_directory("enum.lk");
  EXPECT_EQ(measure(), failed(EISDIR, 3));
  EXPECT_EQ(problems(), (Lines{{0, "DepotEnumNew exit.  Error -4 creating semaphore path\n"},
                               {0, "DepotGetPermStorage exit.  Error -4 creating enumerator\n"}}));
  EXPECT_TRUE(isCutShort("DepotGetPermStorage"));
}

TEST_F(DepotPermStorage, FailsWithoutItsDirectory) {
  fs::remove("depot");
  EXPECT_EQ(measure(), failed(ENOENT, 2));
  EXPECT_EQ(problems(), (Lines{{0, "DepotGetPermStorage exit.  Error -4 creating enumerator\n"}}));
}

TEST_F(DepotPermStorage, FailsWithoutALock) {
  put("a", path("a.dat"), 1);
  {
    const LostLock lost(depot->depotLock);
    EXPECT_EQ(measure(), lockFailed);
    EXPECT_EQ(problems(), (Lines{{0, "DepotGetPermStorage" + lostLock}}));
    EXPECT_TRUE(isCutShort("DepotGetPermStorage"));
  }
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(measure(), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotEntryGetFileSize" + lostLock},
                               {0, "DepotGetPermStorage error -2 obtaining file size\n"}}));
  EXPECT_EQ(total, 10U);
}

TEST_F(DepotPermStorage, SucceedsWhenTheDepotsLockCannotBeGivenBack) {
  const LockLostInside lost(depot->depotLock, "DepotEnumNew entry\n",
                            "DepotGetPermStorage error -2 releasing lock\n");
  EXPECT_EQ(measure(), ok);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotPermStorage, NeedsAHandleAndAResult) {
  expectInvalid("DepotGetPermStorage", {[&] { return DepotGetPermStorage(nullptr, &total); },
                                        [&] { return DepotGetPermStorage(depot, nullptr); }});
  EXPECT_EQ(total, 10U);
}

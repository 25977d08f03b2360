// Records that have outlived their entry, while its files became another entry's.
#include <cerrno>
#include <filesystem>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"

using test::ok;

namespace {

constexpr PalError isAnothers{PAL_SYSTEM_CALL_FAILED, EEXIST, 3};

class DepotMemory : public test::DepotTest {
protected:
  DepotMemory() {
    other = openAnother();
    memory = add("segment-a");
    // The two share a bucket, and so the index.
    remove(DepotGetEntry(other, "segment-a", "1"));
    present = DepotAddEntry(other, "segment-b", "1", "data", 4);
    EXPECT_STREQ(present->toc_path, memory->toc_path);
    EXPECT_STREQ(present->location, memory->location);
    before = test::readFile(present->toc_path);
  }

  ~DepotMemory() override {
    EXPECT_EQ(test::readFile(present->toc_path), before) << "the other entry is as it was";
    EXPECT_TRUE(std::filesystem::exists(present->location));
  }

  void remove(DepotEntry *entry) const { EXPECT_EQ(DepotRemoveEntry(other, entry, 1), ok); }

  Depot *other = nullptr;
  DepotEntry *memory = nullptr;  // of an entry that another process has removed
  DepotEntry *present = nullptr; // that other process's
  std::string before;
};

} // namespace

TEST_F(DepotMemory, IsNotSaved) {
  EXPECT_EQ(DepotSaveEntry(depot, memory), isAnothers);
  EXPECT_EQ(DepotSaveEntry_internal(depot, memory), isAnothers);
  EXPECT_EQ(DepotEntryChangeState(depot, memory, 1), isAnothers);
}

TEST_F(DepotMemory, IsNotCompletedButReleased) {
  EXPECT_EQ(DepotCompleteEntry(depot, memory, 0), isAnothers);
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotMemory, IsNotUnregisteredButReleased) {
  memory->reference_count = 2;
  EXPECT_EQ(DepotUnregisterEntry(depot, memory, 0), isAnothers);
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotMemory, DoesNotOpenTheOtherEntrysData) {
  PalFileHandle file{};
  EXPECT_EQ(DepotFileOpenForWrite(depot, memory, &file, 1), test::failed(ENOENT, 3));
  EXPECT_EQ(file.handle, nullptr);
  EXPECT_TRUE(log.has(0, "DepotFileOpenForWrite exit.  Error -4 opening segment data file\n"));
  EXPECT_EQ(DepotFileOpenForRead(depot, memory, &file), test::failed(ENOENT, 3));
  EXPECT_EQ(file.handle, nullptr);
}

TEST_F(DepotMemory, HasNoFilesToRemove) {
  EXPECT_EQ(DepotRemoveEntry(depot, memory, 1), ok);
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotMemory, HasNoFilesToRemoveWithItsLastUserEither) {
  memory->reference_count = 1;
  EXPECT_EQ(DepotUnregisterEntry(depot, memory, 1), ok);
}

TEST_F(DepotMemory, IsDroppedByALookup) {
  EXPECT_EQ(DepotGetEntry(depot, "segment-a", "1"), nullptr);
  EXPECT_TRUE(loaded().empty());
}

TEST_F(DepotMemory, IsTakenOutOfTheListByItsCallersRelease) {
  PalMemoryFree(memory->properties);
  EXPECT_EQ(DepotEntryFree(depot, memory), ok);
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(DepotGetEntry(depot, "segment-a", "1"), nullptr);
}

namespace {

class DepotOwnFile : public test::DepotTest {
protected:
  DepotEntry *entry = addComplete("segment");
};

} // namespace

TEST_F(DepotOwnFile, IsSavedWhereItIsMissing) {
  std::filesystem::remove(entry->toc_path);
  EXPECT_EQ(DepotSaveEntry(depot, entry), ok);
  EXPECT_EQ(readToc(entry->toc_path).id, "segment");
}

TEST_F(DepotOwnFile, IsSavedOverWhatDescribesNobody) {
  for (const std::string text : {"", "garbage", "<<id>other</id>>"}) {
    test::writeFile(entry->toc_path, text);
    EXPECT_EQ(DepotSaveEntry(depot, entry), ok) << text;
    EXPECT_EQ(readToc(entry->toc_path).id, "segment") << text;
  }
}

TEST_F(DepotOwnFile, IsSavedWhereSomebodyPutItThereAnew) {
  for (int round = 0; round < 3; ++round) {
    std::filesystem::rename(entry->toc_path, "moved");
    std::filesystem::copy("moved", entry->toc_path);
    entry->checksum = round;
    EXPECT_EQ(DepotSaveEntry(depot, entry), ok);
    EXPECT_EQ(readToc(entry->toc_path).checksum, std::to_string(round));
  }
}

TEST_F(DepotOwnFile, IsSavedWithANameThatItsUserHasChanged) {
  entry->id[0] = 'S';
  EXPECT_EQ(DepotSaveEntry(depot, entry), ok);
  EXPECT_EQ(readToc(entry->toc_path).id, "Segment");
  entry->id[0] = 's';
}

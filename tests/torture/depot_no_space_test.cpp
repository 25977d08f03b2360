// A depot without room for its files: nothing half-made stays, and what was there can be had again
// or is reported.
#include <cerrno>
#include <climits>
#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"
#include "support/process.h"
#include "torture/faults.h"

using test::Child;
using test::failed;
using test::Fault;
using test::ok;
using test::Toc;

namespace {

using Names = std::vector<std::string>;

const std::string toc = "depot/00000092.0.xml";
const std::string data = "depot/00000092.0.dat";
const Names bothFiles{"00000092.0.dat", "00000092.0.xml"};

constexpr PalError cutShort = failed(ENOSPC, 2);

class DepotWithoutSpace : public test::DepotTest {
protected:
  // How long the TOC file of a new entry is.
  size_t lengthOfNew() {
    DepotEntry *entry = add("a");
    const size_t length = test::readFile(toc).size();
    EXPECT_EQ(DepotRemoveEntry(depot, entry, 1), ok);
    return length;
  }

  DepotEntry *load(const std::string &deadline) {
    Toc entry;
    entry.id = "a";
    entry.deadline = deadline;
    putEntry(entry);
    return DepotGetEntry(depot, "a", "1");
  }

  // Whether another handle finds the entry, or says that its file cannot be used.
  bool isFoundOrReported(Depot *other) {
    log.clear();
    return DepotGetEntry(other, "a", "1") != nullptr ||
           log.has(1, "DepotGetEntry_internal call to DepotEntryNewFromToc returned null\n") ||
           log.has(1, "DepotGetEntry_internal error -4 reading file " + toc + "\n");
  }

  // Lets no file of this process grow beyond a size.
  static void limitFiles(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{size, size};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
};

} // namespace

TEST_F(DepotWithoutSpace, AddsNothingAndLeavesNothing) {
  const auto length = static_cast<int>(lengthOfNew());
  for (int size = -1; size < length; ++size) { // -1 writes nothing and fails
    {
      Fault fault("write", ENOSPC);
      fault.returning(size);
      EXPECT_EQ(DepotAddEntry(depot, "a", "1", nullptr, 0), nullptr) << size;
      EXPECT_TRUE(fault.hasStruck());
    }
    EXPECT_EQ(names(), Names{}) << size;
    EXPECT_TRUE(loaded().empty());
  }
  DepotEntry *entry = add("a");
  ASSERT_NE(entry, nullptr) << "it can be added when there is room";
  EXPECT_EQ(entry->toc_path, toc);
}

TEST_F(DepotWithoutSpace, AddsNothingWhereNoFileCanBeMade) {
  bool hasStruck = true;
  for (int call = 1; hasStruck; ++call) {
    DepotEntry *entry = nullptr;
    {
      const Fault fault("open", ENOSPC, call);
      entry = DepotAddEntry(depot, "a", "1", nullptr, 0);
      hasStruck = fault.hasStruck();
    }
    EXPECT_EQ(names(), entry == nullptr ? Names{} : bothFiles) << call;
    if (entry != nullptr) {
      EXPECT_EQ(DepotRemoveEntry(depot, entry, 1), ok);
    }
  }
}

TEST_F(DepotWithoutSpace, TellsThatAnEntryCouldNotBeSaved) {
  DepotEntry *entry = load("0");
  const std::string before = test::readFile(toc);
  for (int size = -1; size < static_cast<int>(before.size()); ++size) {
    Fault fault("write", ENOSPC);
    fault.returning(size);
    EXPECT_EQ(DepotSaveEntry(depot, entry), cutShort) << size;
    EXPECT_TRUE(fault.hasStruck());
    EXPECT_EQ(test::readFile(toc), before) << "the same text, or none of it, was written";
  }
}

TEST_F(DepotWithoutSpace, TellsThatAnEntryCouldNotBeCompleted) {
  DepotEntry *entry = load("0");
  entry->state = DEPOT_ENTRY_FILLING;
  ASSERT_EQ(DepotSaveEntry(depot, entry), ok);
  {
    const Fault fault("write", ENOSPC);
    EXPECT_EQ(DepotCompleteEntry(depot, entry, 1), cutShort);
  }
  EXPECT_EQ(readToc(toc).state, "0");
  EXPECT_TRUE(loaded().empty()) << "the record is released all the same";
  entry = DepotGetEntry(depot, "a", "1");
  ASSERT_NE(entry, nullptr);
  EXPECT_EQ(DepotCompleteEntry(depot, entry, 1), ok);
  EXPECT_EQ(readToc(toc).state, "1");
}

TEST_F(DepotWithoutSpace, OpensADataFileWhoseOpenCannotBeSaved) {
  DepotEntry *entry = load("0");
  log.clear();
  PalFileHandle file{};
  {
    const Fault fault("write", ENOSPC);
    EXPECT_EQ(DepotFileOpenForWrite(depot, entry, &file, 0), ok);
  }
  EXPECT_TRUE(log.has(1, "DepotFileOpenForWrite error -4 updating segment attributes\n"));
  EXPECT_EQ(PalFileClose(file), ok);
}

// What was written stands in front of what was there, so that the text may be of two pieces.
TEST_F(DepotWithoutSpace, LeavesAnEntryThatCanBeReadOrIsReported) {
  const std::vector<std::pair<std::string, int32_t>> changes{
      {"0", INT32_MAX}, {"2147483647", 7}, {"-1", 12345}, {"1", 2}};
  for (const auto &[before, after] : changes) {
    for (int size = 0;; ++size) {
      DepotEntry *entry = load(before);
      ASSERT_NE(entry, nullptr);
      entry->deadline = after;
      bool isSaved = false;
      {
        Fault fault("write", ENOSPC);
        fault.returning(size);
        isSaved = DepotSaveEntry(depot, entry).palError == PAL_OK;
      }
      Depot *other = nullptr;
      ASSERT_EQ(DepotNew(&other, "depot", 0), ok);
      EXPECT_TRUE(isFoundOrReported(other)) << before << " to " << after << ", " << size;
      EXPECT_EQ(DepotPurge(other, 1), ok);
      EXPECT_EQ(DepotFree(other), ok);
      if (isSaved) {
        EXPECT_EQ(names(), Names{});
        break;
      }
    }
  }
}

TEST_F(DepotWithoutSpace, IsLeftAsItWasByAProcessThatMayNotWrite) {
  const size_t length = lengthOfNew();
  DepotEntry *entry = load("0");
  const std::string before = test::readFile(toc);
  for (const size_t size : {size_t{0}, size_t{1}, length / 2, length - 1}) {
    Child child([&] {
      limitFiles(size);
      CHILD_EXPECT(DepotAddEntry(depot, "b", "1", nullptr, 0) == nullptr);
      CHILD_EXPECT(names() == bothFiles);
      const PalError saved = DepotSaveEntry(depot, entry);
      CHILD_EXPECT(saved == (size == 0 ? failed(EFBIG, 2) : cutShort));
      CHILD_EXPECT(test::readFile(toc) == before);
      return 0;
    });
    EXPECT_EQ(child.wait(), 0) << size;
  }
  DepotEntry *other = add("b");
  ASSERT_NE(other, nullptr);
  EXPECT_EQ(DepotGetEntry(depot, "a", "1"), entry);
}

TEST_F(DepotWithoutSpace, StillMakesWhatFits) {
  const size_t length = lengthOfNew();
  Child child([&] {
    limitFiles(length);
    DepotEntry *entry = DepotAddEntry(depot, "a", "1", nullptr, 0);
    CHILD_EXPECT(entry != nullptr);
    entry->checksum = INT_MIN; // of more digits
    CHILD_EXPECT(DepotSaveEntry(depot, entry) == cutShort);
    CHILD_EXPECT(DepotRemoveEntry(depot, entry, 1) == ok);
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(names(), Names{});
}

// The end of an entry: registrations taken back, files removed, records released.
#include <cerrno>
#include <filesystem>
#include <functional>
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
using test::Names;
using test::ok;
using test::readFile;
using test::Toc;

namespace {

namespace fs = std::filesystem;

// The files of the entry that all tests are about.
const std::string data = "depot/00000092.0.dat";
const std::string toc = "depot/00000092.0.xml";
const Names bothFiles{"00000092.0.dat", "00000092.0.xml"};

const std::string lostLock = " exit.  Error -2(22) obtaining lock\n";

Lines notRemoved(const std::string &path) {
  return {{1, "DepotRemoveEntry_internal exit.  Error -4 removing file " + path + "\n"}};
}

class DepotEnd : public test::OperationTest {
protected:
  // Loads the entry with so many registrations.
  DepotEntry *load(const std::string &count, const std::string &state = "1") {
    Toc entry;
    entry.id = "a";
    entry.referenceCount = count;
    entry.state = state;
    putEntry(entry);
    DepotEntry *loaded = DepotGetEntry(depot, "a", "1");
    EXPECT_NE(loaded, nullptr);
    log.clear();
    return loaded;
  }

  // Loads it once more, as an enumeration does.
  DepotEntry *loadAgain() {
    DepotEnum *walk = nullptr;
    EXPECT_EQ(DepotEnumNew(depot, &walk), ok);
    DepotEntry *loaded = DepotEntryEnumNextElement(walk);
    EXPECT_NE(loaded, nullptr);
    EXPECT_EQ(DepotEntryEnumDelete(walk), ok);
    return loaded;
  }

  PalError removeInternally(DepotEntry *entry, int force) {
    EXPECT_EQ(PalWaitSem(&depot->depotLock), ok);
    const PalError result = DepotRemoveEntry_internal(depot, entry, force);
    EXPECT_EQ(PalPostSem(&depot->depotLock), ok);
    return result;
  }
};

class DepotUnregister : public DepotEnd {};
class DepotRemoval : public DepotEnd {};

class DepotRelease : public DepotEnd {
protected:
  // Everything that releases a record and leaves the files of an entry with two registrations.
  const std::vector<std::function<PalError(DepotEntry *)>> releases{
      [this](DepotEntry *entry) { return DepotFreeEntry(depot, entry); },
      [this](DepotEntry *entry) { return DepotCompleteEntry(depot, entry, 0); },
      [this](DepotEntry *entry) { return DepotUnregisterEntry(depot, entry, 0); },
      [this](DepotEntry *entry) { return DepotRemoveEntry(depot, entry, 0); },
      [this](DepotEntry *entry) { return removeInternally(entry, 0); },
  };
};

// Under the depot's lock, or by a caller that holds it.
class DepotRemove : public DepotEnd, public testing::WithParamInterface<bool> {
protected:
  PalError remove(DepotEntry *entry, int force) {
    return isInternal ? removeInternally(entry, force) : DepotRemoveEntry(depot, entry, force);
  }

  const bool isInternal = GetParam();
  const std::string operation = isInternal ? "DepotRemoveEntry_internal" : "DepotRemoveEntry";
};

} // namespace

TEST_F(DepotUnregister, LeavesTheFilesToOtherUsers) {
  struct Case {
    std::string count;
    std::string state;
    std::string savedCount;
    std::string savedState;
  };
  const std::vector<Case> cases{
      // The lowered count reaches the file with a change of the state only.
      {"2", "1", "2", "1"},  {"7", "1", "7", "1"}, {"2", "0", "1", "1"},   {"3", "-1", "2", "1"},
      {"0", "0", "-1", "1"}, {"0", "1", "0", "1"}, {"-1", "2", "-2", "1"},
  };
  for (const Case &example : cases) {
    for (const int force : {0, 1}) {
      DepotEntry *entry = load(example.count, example.state);
      EXPECT_EQ(DepotUnregisterEntry(depot, entry, force).palError, PAL_OK);
      EXPECT_EQ(names(), bothFiles);
      EXPECT_EQ(readToc(toc).referenceCount, example.savedCount) << example.count;
      EXPECT_EQ(readToc(toc).state, example.savedState) << example.state;
      EXPECT_EQ(loaded().size(), 0U);
      EXPECT_EQ(problems(), Lines{});
    }
  }
}

TEST_F(DepotUnregister, RemovesTheFilesWithTheLastUser) {
  for (const char *state : {"1", "0", "2"}) {
    for (const int force : {0, 1}) {
      DepotEntry *entry = load("1", state);
      EXPECT_EQ(DepotUnregisterEntry(depot, entry, force).palError, PAL_OK);
      EXPECT_EQ(names(), Names{}) << state;
      EXPECT_EQ(loaded().size(), 0U);
      EXPECT_EQ(problems(), Lines{});
    }
  }
}

TEST_F(DepotUnregister, IsTraced) {
  DepotUnregisterEntry(depot, load("2", "0"), 0);
  EXPECT_TRUE(isTraced("DepotUnregisterEntry"));
  EXPECT_TRUE(hasInOrder({"DepotEntryChangeState entry", "DepotSaveEntry_internal entry",
                          "DepotEntryChangeState exit", "DepotFreeEntry_internal entry",
                          "DepotFreeEntry_internal exit", "DepotUnregisterEntry exit"}));
  DepotUnregisterEntry(depot, load("2", "1"), 0);
  EXPECT_TRUE(log.has(3, "DepotEntryChangeState entry\n"));
  EXPECT_FALSE(log.has(3, "DepotSaveEntry_internal entry\n"));
  DepotUnregisterEntry(depot, load("1", "1"), 0);
  EXPECT_TRUE(isTraced("DepotUnregisterEntry"));
  EXPECT_TRUE(hasInOrder({"DepotRemoveEntry_internal entry", "DepotFreeEntry_internal entry",
                          "DepotFreeEntry_internal exit", "DepotRemoveEntry_internal exit",
                          "DepotUnregisterEntry exit"}));
}

TEST_F(DepotUnregister, TellsThatItCouldNotSave) {
  DepotEntry *entry = load("2", "0");
  block(toc);
  EXPECT_EQ(DepotUnregisterEntry(depot, entry, 0), failed(EISDIR, 3));
  EXPECT_TRUE(isTraced("DepotUnregisterEntry"));
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotUnregister, TellsThatItCouldNotRemove) {
  DepotEntry *entry = load("1");
  block(data);
  EXPECT_EQ(DepotUnregisterEntry(depot, entry, 1), failed(ENOTEMPTY, 3));
  EXPECT_EQ(problems(), notRemoved(data));
  EXPECT_TRUE(isTraced("DepotUnregisterEntry"));
  EXPECT_EQ(names(), bothFiles);
  EXPECT_EQ(readToc(toc).referenceCount, "1");
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotUnregister, ChangesNothingWithoutALock) {
  DepotEntry *entry = load("1");
  for (const std::string lock : {"depot", "entry"}) {
    const LostLock lost(lock == "depot" ? depot->depotLock : depot->entryLock);
    log.clear();
    EXPECT_EQ(DepotUnregisterEntry(depot, entry, 1), lockFailed);
    EXPECT_EQ(problems(),
              (Lines{{0, "DepotUnregisterEntry exit.  Error -2 obtaining " + lock + " lock\n"}}));
    EXPECT_TRUE(isCutShort("DepotUnregisterEntry"));
    EXPECT_EQ(entry->reference_count, 1);
    EXPECT_EQ(names(), bothFiles);
    EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
  }
}

TEST_F(DepotUnregister, SucceedsWhenTheDepotsLockCannotBeGivenBack) {
  DepotEntry *entry = load("1");
  const LockLostInside lost(depot->depotLock, "DepotRemoveEntry_internal entry\n",
                            "DepotUnregisterEntry error -2 releasing depot lock\n");
  EXPECT_EQ(DepotUnregisterEntry(depot, entry, 0).palError, PAL_OK);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotUnregister, NeedsAHandleAndAnEntry) {
  DepotEntry *entry = load("1");
  expectInvalid("DepotUnregisterEntry", {[&] { return DepotUnregisterEntry(nullptr, entry, 1); },
                                         [&] { return DepotUnregisterEntry(depot, nullptr, 1); }});
  EXPECT_EQ(names(), bothFiles);
}

TEST_P(DepotRemove, RemovesWhatHasNoUsersOrIsForced) {
  struct Case {
    std::string count;
    int force;
    bool isRemoved;
  };
  const std::vector<Case> cases{{"0", 0, true}, {"-1", 0, true}, {"0", 1, true},  {"1", 1, true},
                                {"7", 1, true}, {"7", -1, true}, {"1", 0, false}, {"7", 0, false}};
  for (const Case &example : cases) {
    EXPECT_EQ(remove(load(example.count), example.force).palError, PAL_OK);
    EXPECT_EQ(names(), example.isRemoved ? Names{} : bothFiles) << example.count;
    EXPECT_EQ(loaded().size(), 0U);
    EXPECT_EQ(problems(), Lines{});
  }
  EXPECT_EQ(readToc(toc).referenceCount, "7");
}

TEST_P(DepotRemove, IsTraced) {
  remove(load("0"), 0);
  EXPECT_TRUE(isTraced(operation));
  EXPECT_TRUE(hasInOrder({"DepotRemoveEntry_internal entry", "DepotFreeEntry_internal entry",
                          "DepotFreeEntry_internal exit", "DepotRemoveEntry_internal exit"}));
}

TEST_P(DepotRemove, KeepsTheTocFileOfDataThatCannotBeRemoved) {
  DepotEntry *entry = load("1");
  const std::string saved = readFile(toc);
  block(data);
  EXPECT_EQ(remove(entry, 1), failed(ENOTEMPTY, 3));
  EXPECT_EQ(problems(), notRemoved(data));
  EXPECT_TRUE(isTraced(operation));
  EXPECT_EQ(names(), bothFiles);
  EXPECT_EQ(readFile(toc), saved);
  EXPECT_EQ(loaded().size(), 0U);
  EXPECT_NE(DepotGetEntry(depot, "a", "1"), nullptr) << "can still be found";
}

TEST_P(DepotRemove, TellsThatTheTocFileCannotBeRemoved) {
  DepotEntry *entry = load("0");
  block(toc);
  EXPECT_EQ(remove(entry, 0), failed(ENOTEMPTY, 3));
  EXPECT_EQ(problems(), notRemoved(toc));
  EXPECT_EQ(names(), Names{"00000092.0.xml"});
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_P(DepotRemove, DoesNotMissADataFileThatIsGone) {
  DepotEntry *entry = load("0");
  fs::remove(data);
  EXPECT_EQ(remove(entry, 0).palError, PAL_OK);
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(names(), Names{});
}

TEST_P(DepotRemove, SucceedsWhenNothingIsLeft) {
  for (const char *gone : {"depot/00000092.0.xml", "depot"}) {
    DepotEntry *entry = load("0");
    fs::remove_all(gone);
    EXPECT_EQ(remove(entry, 0).palError, PAL_OK) << gone;
    EXPECT_FALSE(fs::exists(data));
    EXPECT_FALSE(fs::exists(toc));
    EXPECT_EQ(loaded().size(), 0U);
  }
}

TEST_P(DepotRemove, ReleasesNothingWithoutTheEntriesLock) {
  DepotEntry *entry = load("0");
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(remove(entry, 1), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotRemoveEntry_internal" + lostLock}}));
  EXPECT_FALSE(log.has(3, "DepotRemoveEntry_internal exit\n"));
  EXPECT_TRUE(isInternal || isTraced("DepotRemoveEntry"));
  EXPECT_EQ(names(), bothFiles);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_P(DepotRemove, DropsOtherRecordsOfTheEntryAtTheNextLookup) {
  DepotEntry *older = load("1");
  DepotEntry *newer = loadAgain();
  EXPECT_EQ(remove(older, 1).palError, PAL_OK);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{newer});
  EXPECT_EQ(DepotGetEntry(depot, "a", "1"), nullptr);
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_P(DepotRemove, GoesOnWhenTheEntriesLockCannotBeGivenBack) {
  DepotEntry *entry = load("0");
  block(data);
  const LockLostInside lost(depot->entryLock, notRemoved(data)[0].text,
                            "DepotRemoveEntry_internal error -2 releasing lock\n");
  EXPECT_EQ(remove(entry, 0), failed(ENOTEMPTY, 3));
  EXPECT_TRUE(lost.isReported());
}

TEST_P(DepotRemove, NeedsAHandleAndAnEntry) {
  DepotEntry *entry = load("0");
  const auto removeFrom = isInternal ? DepotRemoveEntry_internal : DepotRemoveEntry;
  expectInvalid(operation, {[&] { return removeFrom(nullptr, entry, 1); },
                            [&] { return removeFrom(depot, nullptr, 1); }});
  EXPECT_EQ(names(), bothFiles);
}

INSTANTIATE_TEST_SUITE_P(Either, DepotRemove, testing::Bool(), [](const auto &info) {
  return info.param ? "ByTheHolderOfTheLock" : "ByAnybody";
});

TEST_F(DepotRemoval, DoesNothingWithoutTheDepotsLock) {
  DepotEntry *entry = load("0");
  const LostLock lost(depot->depotLock);
  EXPECT_EQ(DepotRemoveEntry(depot, entry, 1), lockFailed);
  EXPECT_EQ(problems(), (Lines{{0, "DepotRemoveEntry" + lostLock}}));
  EXPECT_TRUE(isCutShort("DepotRemoveEntry"));
  EXPECT_EQ(names(), bothFiles);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

TEST_F(DepotRemoval, SucceedsWhenTheDepotsLockCannotBeGivenBack) {
  DepotEntry *entry = load("0");
  const LockLostInside lost(depot->depotLock, "DepotRemoveEntry_internal entry\n",
                            "DepotRemoveEntry error -2 releasing lock\n");
  EXPECT_EQ(DepotRemoveEntry(depot, entry, 0).palError, PAL_OK);
  EXPECT_TRUE(lost.isReported());
  EXPECT_EQ(names(), Names{});
}

TEST_F(DepotRelease, LeavesTheFiles) {
  DepotEntry *entry = load("0", "0");
  const std::string saved = readFile(toc);
  EXPECT_EQ(DepotFreeEntry(depot, entry).palError, PAL_OK);
  EXPECT_TRUE(isTraced("DepotFreeEntry"));
  EXPECT_TRUE(hasInOrder({"DepotFindEntryIndex entry", "DepotFindEntryIndex exit",
                          "DepotFreeEntry_internal entry", "DepotFreeEntry_internal exit"}));
  EXPECT_EQ(problems(), Lines{});
  EXPECT_EQ(loaded().size(), 0U);
  EXPECT_EQ(names(), bothFiles);
  EXPECT_EQ(readFile(toc), saved);
}

TEST_F(DepotRelease, TakesTheRecordItselfOutOfTheList) {
  for (const auto &release : releases) {
    for (const bool isNewer : {true, false}) {
      DepotEntry *older = load("2");
      DepotEntry *newer = loadAgain();
      ASSERT_EQ(loaded(), (std::vector<DepotEntry *>{newer, older}));
      DepotEntry *released = isNewer ? newer : older;
      DepotEntry *kept = isNewer ? older : newer;
      EXPECT_EQ(release(released).palError, PAL_OK);
      EXPECT_EQ(loaded(), std::vector<DepotEntry *>{kept});
      EXPECT_STREQ(kept->id, "a");
      EXPECT_EQ(DepotGetEntry(depot, "a", "1"), kept);
      EXPECT_EQ(DepotFreeEntry(depot, kept).palError, PAL_OK);
    }
  }
}

TEST_F(DepotRelease, LeavesOtherEntriesInTheList) {
  DepotEntry *before = add("before");
  for (const auto &release : releases) {
    DepotEntry *entry = load("2");
    DepotEntry *behind = add("behind");
    EXPECT_EQ(release(entry).palError, PAL_OK);
    EXPECT_EQ(loaded(), (std::vector<DepotEntry *>{behind, before}));
    EXPECT_EQ(DepotRemoveEntry(depot, behind, 0).palError, PAL_OK);
  }
}

TEST_F(DepotRelease, IsForRecordsOutsideTheListToo) {
  for (const auto &release : releases) {
    DepotEntry *entry = load("2");
    EXPECT_EQ(PalList1Remove(&depot->entries, DepotFindEntryIndex(depot, "a", "1")), 0);
    DepotEntry *listed = add("b");
    EXPECT_EQ(release(entry).palError, PAL_OK);
    EXPECT_EQ(loaded(), std::vector<DepotEntry *>{listed});
    EXPECT_EQ(DepotRemoveEntry(depot, listed, 0).palError, PAL_OK);
  }
}

TEST_F(DepotRelease, GoesOnWithoutTheDepotsLock) {
  DepotEntry *entry = load("0");
  const LostLock lost(depot->depotLock);
  DepotFreeEntry(depot, entry);
  EXPECT_EQ(problems(), (Lines{{1, "DepotFree continue. Ignore WAIT_TIMEOUT\n"},
                               {1, "DepotFreeEntry error -2 releasing lock\n"}}));
  EXPECT_TRUE(isTraced("DepotFreeEntry"));
  EXPECT_EQ(loaded().size(), 0U);
}

TEST_F(DepotRelease, TellsThatItHadNotTheEntriesLock) {
  DepotEntry *entry = load("0");
  const LostLock lost(depot->entryLock);
  EXPECT_EQ(DepotFreeEntry(depot, entry).palError, PAL_WAIT_TIMEOUT);
  EXPECT_EQ(problems(), (Lines{{0, "DepotFreeEntry_internal" + lostLock}}));
  EXPECT_EQ(names(), bothFiles);
}

TEST_F(DepotRelease, SucceedsWhenTheDepotsLockCannotBeGivenBack) {
  DepotEntry *entry = load("0");
  const LockLostInside lost(depot->depotLock, "DepotFindEntryIndex entry\n",
                            "DepotFreeEntry error -2 releasing lock\n");
  EXPECT_EQ(DepotFreeEntry(depot, entry).palError, PAL_OK);
  EXPECT_TRUE(lost.isReported());
}

TEST_F(DepotRelease, NeedsAHandleAndAnEntry) {
  DepotEntry *entry = load("0");
  expectInvalid("DepotFreeEntry", {[&] { return DepotFreeEntry(nullptr, entry); },
                                   [&] { return DepotFreeEntry(depot, nullptr); }});
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
}

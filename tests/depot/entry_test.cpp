#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "support/depot.h"
#include "support/pal_error.h"

using test::invalid;
using test::Lines;
using test::LogLine;
using test::ok;

namespace {

PalError moveToWhereItIs(Depot *depot) {
  char *before = depot->directory;
  const PalError result = DepotSetDir(depot, "depot");
  if (depot->directory != before) {
    PalMemoryFree(before);
  }
  return result;
}

constexpr PalError lockFailed{PAL_WAIT_TIMEOUT, EINVAL, 1};

test::Toc tocOf(const std::string &id) {
  test::Toc toc;
  toc.id = id;
  return toc;
}

// Does something in the middle of an operation, where it logs a line for the nth time, and keeps
// the lines, in place of the test's own log.
class AtLine {
public:
  AtLine(LogLine line, int nth, std::function<void()> action)
      : line_(std::move(line)), left_(nth), action_(std::move(action)) {
    runtime_set_log_sink(
        [](void *self, int level, const char *text) {
          static_cast<AtLine *>(self)->take({level, text});
        },
        this);
  }
  ~AtLine() {
    runtime_set_log_sink(nullptr, nullptr);
    EXPECT_EQ(left_, 0) << "never logged: " << line_;
  }
  AtLine(const AtLine &) = delete;
  AtLine &operator=(const AtLine &) = delete;

  const Lines &lines() const { return lines_; }

private:
  void take(LogLine line) {
    lines_.push_back(std::move(line));
    if (lines_.back() == line_ && --left_ == 0) {
      action_();
    }
  }

  LogLine line_;
  int left_;
  std::function<void()> action_;
  Lines lines_;
};

// An operation that takes one lock. The record that it may need is in no list.
struct Operation {
  const char *name;
  const char *lockFile;
  std::function<PalError(Depot *, DepotEntry *)> run;
  // Where it holds its lock, and what it logs there for the nth time.
  const char *inside = nullptr;
  int nth = 1;
};

const std::vector<Operation> lockedOperations{
    {"DepotSetDir", "depot.lk", [](Depot *depot, DepotEntry *) { return moveToWhereItIs(depot); },
     "DepotSetDir entry\n", 2},
    {"DepotGetEntry", "depot.lk",
     [](Depot *depot, DepotEntry *) {
       return DepotGetEntry(depot, "known", "1") == nullptr ? lockFailed : ok;
     },
     "DepotGetEntry_internal entry\n"},
    {"DepotSaveEntry", "entry.lk", DepotSaveEntry, "DepotSaveEntry_internal entry\n"},
    {"DepotEntryFree", "entry.lk", DepotEntryFree},
    {"DepotFreeEntry_internal", "entry.lk", DepotFreeEntry_internal},
};

class DepotRecord : public test::DepotTest {
protected:
  // A record as somebody outside the depot makes one.
  static DepotEntry *makeRecord() {
    DepotEntry *entry = DepotEntryNew();
    entry->id = PalStringDup("segment");
    entry->version = PalStringDup("1");
    entry->toc_path = PalStringDup("depot/made.xml");
    entry->location = PalStringDup("depot/made.dat");
    entry->properties = static_cast<unsigned char *>(PalMemoryMalloc(4));
    memcpy(entry->properties, "\0\1\2\3", 4);
    entry->properties_length = 4;
    return entry;
  }

  static void release(DepotEntry *entry) {
    for (void *owned : {static_cast<void *>(entry->id), static_cast<void *>(entry->version),
                        static_cast<void *>(entry->toc_path), static_cast<void *>(entry->location),
                        static_cast<void *>(entry->properties), static_cast<void *>(entry)}) {
      PalMemoryFree(owned);
    }
  }

  // What nothing may have been released of.
  static void expectWhole(const DepotEntry *entry) {
    EXPECT_STREQ(entry->id, "segment");
    EXPECT_STREQ(entry->version, "1");
    EXPECT_STREQ(entry->toc_path, "depot/made.xml");
    EXPECT_STREQ(entry->location, "depot/made.dat");
    EXPECT_EQ(memcmp(entry->properties, "\0\1\2\3", 4), 0);
  }
};

class DepotLock : public DepotRecord {
protected:
  DepotLock() { putEntry(tocOf("known")); }
};

// A call with a null argument, and whether it was refused.
struct NullCall {
  const char *name;
  std::function<bool()> isRefused;
};

class DepotArguments : public DepotRecord {
protected:
  void expectRefused(const std::vector<NullCall> &calls) {
    for (const NullCall &call : calls) {
      log.clear();
      EXPECT_TRUE(call.isRefused()) << call.name;
      const LogLine refusal{0, std::string(call.name) + " exit.  Invalid parameter\n"};
      ASSERT_EQ(log.upTo(2), Lines{refusal});
      EXPECT_EQ(log.lines().back(), refusal) << "and no trace of an exit";
    }
    EXPECT_EQ(semaphore("depot.lk"), 2);
    EXPECT_EQ(semaphore("entry.lk"), 2);
  }
};

} // namespace

TEST_F(DepotRecord, IsNewWithNothingInIt) {
  DepotEntry *entry = DepotEntryNew();
  ASSERT_NE(entry, nullptr);
  const std::vector<unsigned char> zeros(sizeof(DepotEntry));
  EXPECT_EQ(memcmp(entry, zeros.data(), zeros.size()), 0);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotEntryNew entry\n"}, {3, "DepotEntryNew exit\n"}}));
  EXPECT_TRUE(loaded().empty());
  PalMemoryFree(entry);
}

TEST_F(DepotRecord, IsReleasedByItsUserButForItsProperties) {
  DepotEntry *entry = makeRecord();
  unsigned char *properties = entry->properties;
  log.clear();
  EXPECT_EQ(DepotEntryFree(depot, entry), ok);
  EXPECT_EQ(log.lines(), (Lines{{3, "DepotEntryFree entry\n"}, {3, "DepotEntryFree exit\n"}}));
  EXPECT_EQ(memcmp(properties, "\0\1\2\3", 4), 0);
  PalMemoryFree(properties);
}

TEST_F(DepotRecord, IsReleasedByTheDepotWithEverythingInIt) {
  DepotEntry *entry = makeRecord();
  log.clear();
  EXPECT_EQ(DepotFreeEntry_internal(depot, entry), ok);
  EXPECT_EQ(log.lines(),
            (Lines{{3, "DepotFreeEntry_internal entry\n"}, {3, "DepotFreeEntry_internal exit\n"}}));
}

TEST_F(DepotRecord, IsReleasedWhateverItLacks) {
  char *DepotEntry::*const strings[] = {&DepotEntry::id, &DepotEntry::version,
                                        &DepotEntry::toc_path, &DepotEntry::location};
  for (auto *free : {DepotEntryFree, DepotFreeEntry_internal}) {
    EXPECT_EQ(free(depot, DepotEntryNew()), ok);
    for (auto member : strings) {
      DepotEntry *entry = DepotEntryNew();
      entry->*member = PalStringDup("all that there is");
      EXPECT_EQ(free(depot, entry), ok);
    }
  }
}

TEST_F(DepotRecord, LeavesDiskListAndSemaphoresAsTheyWere) {
  DepotEntry *entry = add("listed");
  const std::vector<std::string> files = names();
  for (auto *free : {DepotEntryFree, DepotFreeEntry_internal}) {
    DepotEntry *made = makeRecord();
    PalMemoryFree(std::exchange(made->properties, nullptr));
    EXPECT_EQ(free(depot, made), ok);
  }
  EXPECT_EQ(names(), files);
  EXPECT_EQ(loaded(), std::vector<DepotEntry *>{entry});
  EXPECT_EQ(semaphore("depot.lk"), 2);
  EXPECT_EQ(semaphore("entry.lk"), 2);
}

TEST_F(DepotRecord, DoesNotNeedTheDepotsLock) {
  destroySemaphore("depot.lk");
  DepotEntry *entry = makeRecord();
  log.clear();
  EXPECT_EQ(DepotSaveEntry(depot, entry), ok);
  EXPECT_EQ(DepotFreeEntry_internal(depot, entry), ok);
  EXPECT_EQ(log.upTo(2), Lines{});
}

TEST_F(DepotLock, IsNeededByOperationsThatDoNothingWithoutIt) {
  for (const Operation &operation : lockedOperations) {
    DepotEntry *entry = makeRecord();
    destroySemaphore(operation.lockFile);
    log.clear();
    EXPECT_EQ(operation.run(depot, entry), lockFailed) << operation.name;
    const std::string name = operation.name;
    EXPECT_EQ(log.lines(),
              (Lines{{3, name + " entry\n"}, {0, name + " exit.  Error -2(22) obtaining lock\n"}}));
    expectWhole(entry);
    release(entry);
  }
  EXPECT_TRUE(loaded().empty());
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(DepotLock, IsHeldAsLongAsTheOperationWorks) {
  for (const Operation &operation : lockedOperations) {
    if (operation.inside == nullptr) {
      continue;
    }
    DepotEntry *entry = makeRecord();
    int value = -1;
    {
      const AtLine inside({3, operation.inside}, operation.nth,
                          [&] { value = semaphore(operation.lockFile); });
      EXPECT_EQ(operation.run(depot, entry), ok) << operation.name;
    }
    EXPECT_EQ(value, 1) << operation.name;
    EXPECT_EQ(semaphore(operation.lockFile), 2) << operation.name;
    release(entry);
  }
}

TEST_F(DepotLock, ThatCannotBeGivenBackChangesNoResult) {
  for (const Operation &operation : lockedOperations) {
    if (operation.inside == nullptr) {
      continue;
    }
    Depot *other = nullptr;
    ASSERT_EQ(DepotNew(&other, "depot", 0), ok);
    DepotEntry *entry = makeRecord();
    Lines ending;
    {
      const AtLine inside({3, operation.inside}, operation.nth,
                          [&] { destroySemaphore(operation.lockFile); });
      EXPECT_EQ(operation.run(other, entry), ok) << operation.name;
      ASSERT_GE(inside.lines().size(), 2U);
      ending.assign(inside.lines().end() - 2, inside.lines().end());
    }
    const std::string name = operation.name;
    EXPECT_EQ(ending, (Lines{{1, name + " error -2 releasing lock\n"}, {3, name + " exit\n"}}));
    release(entry);
    DepotFree(other);
  }
}

TEST_F(DepotArguments, OfHandlesAndRecordsAreRefusedWhereTheyAreNull) {
  DepotEntry record{};
  char *text = nullptr;
  uint32_t length = 0;
  expectRefused({
      {"DepotNew", [&] { return DepotNew(nullptr, "depot", 0) == invalid(1); }},
      {"DepotSetDir", [&] { return DepotSetDir(nullptr, "depot") == invalid(1); }},
      {"DepotGetDir", [&] { return DepotGetDir(nullptr) == nullptr; }},
      {"DepotEntryNewFromToc", [&] { return DepotEntryNewFromToc(nullptr, "") == nullptr; }},
      {"DepotEntryNewFromToc", [&] { return DepotEntryNewFromToc(depot, nullptr) == nullptr; }},
      {"DepotEntrySetProperties",
       [&] { return DepotEntrySetProperties(nullptr, &record, &text, &length) == invalid(1); }},
      {"DepotEntrySetProperties",
       [&] { return DepotEntrySetProperties(depot, nullptr, &text, &length) == invalid(1); }},
      {"DepotEntrySetProperties",
       [&] { return DepotEntrySetProperties(depot, &record, nullptr, &length) == invalid(1); }},
      {"DepotEntrySetProperties",
       [&] { return DepotEntrySetProperties(depot, &record, &text, nullptr) == invalid(1); }},
      {"DepotSaveEntry", [&] { return DepotSaveEntry(nullptr, &record) == invalid(1); }},
      {"DepotSaveEntry", [&] { return DepotSaveEntry(depot, nullptr) == invalid(1); }},
      {"DepotSaveEntry_internal",
       [&] { return DepotSaveEntry_internal(nullptr, &record) == invalid(1); }},
      {"DepotSaveEntry_internal",
       [&] { return DepotSaveEntry_internal(depot, nullptr) == invalid(1); }},
      {"DepotEntryFree", [&] { return DepotEntryFree(nullptr, &record) == invalid(1); }},
      {"DepotEntryFree", [&] { return DepotEntryFree(depot, nullptr) == invalid(1); }},
      {"DepotFreeEntry_internal",
       [&] { return DepotFreeEntry_internal(nullptr, &record) == invalid(1); }},
      {"DepotFreeEntry_internal",
       [&] { return DepotFreeEntry_internal(depot, nullptr) == invalid(1); }},
  });
  EXPECT_EQ(DepotSetDir_internal(nullptr, "depot"), invalid(1));
  EXPECT_EQ(text, nullptr);
}

TEST_F(DepotArguments, OfLookupsAreRefusedWhereTheyAreNull) {
  uint32_t hash = 0;
  expectRefused({
      {"DepotHashFunction", [&] { return DepotHashFunction(nullptr, &hash) == invalid(1); }},
      {"DepotHashFunction", [&] { return DepotHashFunction("a", nullptr) == invalid(1); }},
      {"DepotFindBucket", [&] { return DepotFindBucket(nullptr, "1") == nullptr; }},
      {"DepotFindBucket", [&] { return DepotFindBucket("a", nullptr) == nullptr; }},
      {"DepotFindEntryIndex", [&] { return DepotFindEntryIndex(nullptr, "a", "1") == -1; }},
      {"DepotFindEntryIndex", [&] { return DepotFindEntryIndex(depot, nullptr, "1") == -1; }},
      {"DepotFindEntryIndex", [&] { return DepotFindEntryIndex(depot, "a", nullptr) == -1; }},
      {"DepotGetEntry", [&] { return DepotGetEntry(nullptr, "a", "1") == nullptr; }},
      {"DepotGetEntry", [&] { return DepotGetEntry(depot, nullptr, "1") == nullptr; }},
      {"DepotGetEntry", [&] { return DepotGetEntry(depot, "a", nullptr) == nullptr; }},
      {"DepotGetEntry_internal",
       [&] { return DepotGetEntry_internal(nullptr, "a", "1", nullptr) == nullptr; }},
      {"DepotGetEntry_internal",
       [&] { return DepotGetEntry_internal(depot, nullptr, "1", nullptr) == nullptr; }},
      {"DepotGetEntry_internal",
       [&] { return DepotGetEntry_internal(depot, "a", nullptr, nullptr) == nullptr; }},
  });
}

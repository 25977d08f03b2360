// A depot whose directory can be neither watched nor locked, or whose files have no identity: every
// lookup gives what it gives elsewhere.
#include <cerrno>
#include <filesystem>
#include <map>
#include <ostream>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"
#include "torture/faults.h"

using test::Fault;
using test::ok;
using test::Toc;

namespace {

constexpr int changes = 300;

struct Kind {
  const char *function;
  int nativeError;
};

std::ostream &operator<<(std::ostream &out, const Kind &kind) {
  return out << kind.function << ' ' << kind.nativeError;
}

const Kind kinds[] = {
    {"inotify_init1", EMFILE},
    {"inotify_add_watch", ENOSPC},
    {"statfs", ENOSYS},
    {"ioctl", EINVAL},
    {"flock", ENOLCK},
    {"flock", EBADF},
    {"name_to_handle_at", EOPNOTSUPP},
};

// The entries on disk, changed by hand, and each one's TOC file.
class Disk {
public:
  explicit Disk(unsigned seed) : random_(seed) {}

  int draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
  // Half of the identifiers share one bucket.
  std::string someId() {
    const int number = draw(10);
    return number % 2 == 0 ? "shared-" + std::to_string(number) : std::to_string(number) + "-own";
  }

  void change() {
    const std::string id = someId();
    const auto found = paths.find(id);
    if (found == paths.end()) {
      put(id, draw(2) == 0 ? "0" : "1");
    } else if (draw(3) == 0) {
      std::filesystem::remove(found->second);
      paths.erase(found);
    } else {
      write(id, found->second, std::to_string(draw(1000)));
    }
  }

  std::map<std::string, std::string> paths;

private:
  void put(const std::string &id, const std::string &state) {
    const std::string bucket = "depot/" + test::bucketOf(id, "1") + ".";
    int index = 0;
    while (std::filesystem::exists(bucket + std::to_string(index) + ".xml")) {
      ++index;
    }
    paths[id] = bucket + std::to_string(index) + ".xml";
    write(id, paths[id], state);
  }

  static void write(const std::string &id, const std::string &path, const std::string &state) {
    Toc toc;
    toc.id = id;
    toc.state = state;
    test::writeFile(path, toc.bytes());
  }

  std::mt19937 random_;
};

class DepotUnwatched : public test::DepotTest, public testing::WithParamInterface<Kind> {
protected:
  DepotUnwatched() { fault.lasting(); }

  std::string lookUp(const std::string &id) {
    const DepotEntry *entry = DepotGetEntry(depot, id.c_str(), "1");
    return entry == nullptr ? "" : entry->toc_path;
  }

  Fault fault{GetParam().function, GetParam().nativeError};
};

} // namespace

TEST_P(DepotUnwatched, FindsWhatIsThere) {
  Disk disk(11);
  for (int i = 0; i < changes && !HasFailure(); ++i) {
    disk.change();
    const std::string id = disk.someId();
    const auto found = disk.paths.find(id);
    EXPECT_EQ(lookUp(id), found == disk.paths.end() ? "" : found->second) << i << ", " << id;
    const auto listed = loaded();
    if (!listed.empty() && disk.draw(2) == 0) { // so that it has to be found on disk again
      EXPECT_EQ(DepotFreeEntry(depot, listed.back()), ok);
    }
  }
  EXPECT_EQ(log.upTo(0), std::vector<test::LogLine>{});
}

TEST_P(DepotUnwatched, LeadsAnEntryThroughItsLife) {
  for (const std::string id : {"a", "b", "other"}) {
    DepotEntry *entry = addComplete(id, "1", 7);
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->reference_count, 1);
    PalFileHandle file{};
    EXPECT_EQ(DepotFileOpenForWrite(depot, entry, &file, 1), ok);
    EXPECT_EQ(PalFileClose(file), ok);
    EXPECT_EQ(DepotFreeEntry(depot, entry), ok);
    EXPECT_EQ(add(id), DepotGetEntry(depot, id.c_str(), "1"));
  }
  EXPECT_EQ(names().size(), 6U);
  EXPECT_EQ(DepotUnregisterEntry(depot, DepotGetEntry(depot, "a", "1"), 0), ok);
  EXPECT_EQ(DepotRemoveEntry(depot, DepotGetEntry(depot, "b", "1"), 1), ok);
  EXPECT_EQ(names().size(), 2U);
  EXPECT_EQ(DepotPurgeExpiredEntries(depot), ok);
  EXPECT_EQ(names().size(), 0U);
  EXPECT_EQ(log.upTo(1), std::vector<test::LogLine>{});
}

TEST_P(DepotUnwatched, ChoosesTheSmallestFreeIndex) {
  DepotEntry *entries[5];
  for (DepotEntry *&entry : entries) {
    const auto number = static_cast<int>(&entry - entries);
    entry = add("a", std::to_string(number));
    EXPECT_EQ(entry->toc_path, "depot/00000092." + std::to_string(number) + ".xml");
  }
  EXPECT_EQ(DepotRemoveEntry(depot, entries[3], 1), ok);
  EXPECT_EQ(DepotRemoveEntry(depot, entries[1], 1), ok);
  EXPECT_STREQ(add("a", "5")->toc_path, "depot/00000092.1.xml");
  EXPECT_STREQ(add("a", "6")->toc_path, "depot/00000092.3.xml");
  EXPECT_STREQ(add("a", "7")->toc_path, "depot/00000092.5.xml");
}

TEST_P(DepotUnwatched, KeepsItsSemaphores) {
  const int depotLock = semaphore("depot.lk");
  const int entryLock = semaphore("entry.lk");
  addComplete("a");
  EXPECT_EQ(DepotPurge(depot, 1), ok);
  EXPECT_TRUE(fault.hasStruck());
  EXPECT_EQ(semaphore("depot.lk"), depotLock);
  EXPECT_EQ(semaphore("entry.lk"), entryLock);
}

INSTANTIATE_TEST_SUITE_P(Kinds, DepotUnwatched, testing::ValuesIn(kinds), [](const auto &kind) {
  return kind.param.function + std::to_string(kind.param.nativeError);
});

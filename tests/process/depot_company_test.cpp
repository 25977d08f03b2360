// A depot in company: several processes that do whatever they like to it at the same time.
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/depot.h"
#include "support/pal_error.h"
#include "support/process.h"

using test::Child;
using test::ok;

namespace {

constexpr size_t processes = 8;
constexpr int operations = 2000;
constexpr int pairs = 40;

// A process that works on the depot at random. Data that it finds complete must be those of the
// entry: every writer writes the identifier.
class Worker {
public:
  explicit Worker(unsigned seed) : random_(seed) {}

  int run() {
    CHILD_EXPECT(DepotNew(&depot_, "depot", 1000).palError == PAL_OK);
    for (int i = 0; i < operations; ++i) {
      const std::string id = "segment-" + std::to_string(draw(pairs));
      const std::string version = std::to_string(draw(2));
      const int failure = work(id, version);
      if (failure != 0) {
        return failure;
      }
    }
    CHILD_EXPECT(DepotFree(depot_).palError == PAL_OK);
    return 0;
  }

private:
  int draw(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }

  int work(const std::string &id, const std::string &version) {
    switch (draw(12)) {
    case 0:
    case 1:
    case 2:
      return fill(id, version);
    case 3:
      return checkModified(id, version);
    case 4:
      return checkSpace();
    case 5:
      DepotPurgeExpiredEntries(depot_);
      return 0;
    case 6:
      return draw(20) == 0 ? purge() : 0;
    default:
      return use(id, version);
    }
  }

  // Adds an entry and mostly completes it.
  int fill(const std::string &id, const std::string &version) {
    const std::string properties(static_cast<size_t>(draw(300)), 'p');
    DepotEntry *entry = DepotAddEntry(depot_, id.c_str(), version.c_str(), properties.data(),
                                      static_cast<uint32_t>(properties.size()));
    if (entry == nullptr) {
      return 0;
    }
    PalFileHandle file{};
    if (DepotFileOpenForWrite(depot_, entry, &file, 1).palError == PAL_OK) {
      size_t count = 0;
      CHILD_EXPECT(PalFileWrite(file, id.data(), id.size(), &count) == ok);
      CHILD_EXPECT(PalFileClose(file) == ok);
    }
    if (draw(4) == 0) {
      DepotFreeEntry(depot_, entry);
    } else {
      const int32_t deadline = draw(2) == 0 ? 1 : INT32_MAX;
      DepotCompleteEntry(depot_, entry, deadline);
    }
    return 0;
  }

  // Does something to an entry that may be there.
  int use(const std::string &id, const std::string &version) {
    DepotEntry *entry = DepotGetEntry(depot_, id.c_str(), version.c_str());
    if (entry == nullptr) {
      return 0;
    }
    CHILD_EXPECT(entry->id == id && entry->version == version);
    switch (draw(6)) {
    case 0:
      return read(entry);
    case 1:
      DepotCompleteEntry(depot_, entry, draw(100));
      return 0;
    case 2:
      DepotUnregisterEntry(depot_, entry, draw(2));
      return 0;
    case 3:
      DepotRemoveEntry(depot_, entry, draw(2));
      return 0;
    case 4:
      DepotEntryChangeState(depot_, entry, draw(2));
      return 0;
    default:
      DepotFreeEntry(depot_, entry);
      return 0;
    }
  }

  int read(DepotEntry *entry) {
    PalFileHandle file{};
    if (DepotFileOpenForRead(depot_, entry, &file).palError == PAL_OK) {
      char data[64];
      size_t count = 0;
      CHILD_EXPECT(PalFileRead(file, data, sizeof data, &count) == ok);
      CHILD_EXPECT(PalFileClose(file) == ok);
    }
    return 0;
  }

  int checkModified(const std::string &id, const std::string &version) {
    if (DepotEntryModified(depot_, id.c_str(), version.c_str(), draw(2)) == 1) {
      CHILD_EXPECT(PalPostSem(&depot_->entryLock) == ok);
    }
    return 0;
  }

  int checkSpace() {
    CHILD_EXPECT(DepotReserveDiskSpace(depot_, 10) == ok);
    DepotUnreserveDiskSpace(depot_, 10);
    CHILD_EXPECT(depot_->availableSpace == 1000);
    return 0;
  }

  int purge() {
    DepotPurge(depot_, draw(2));
    return 0;
  }

  std::mt19937 random_;
  Depot *depot_ = nullptr;
};

class DepotCompany : public test::DepotTest, public testing::WithParamInterface<unsigned> {};

} // namespace

TEST_P(DepotCompany, LeavesADepotThatIsWhole) {
  const int depotLock = semaphore("depot.lk");
  const int entryLock = semaphore("entry.lk");
  std::vector<std::unique_ptr<Child>> workers;
  for (size_t i = 0; i < processes; ++i) {
    workers.push_back(std::make_unique<Child>(
        [=] { return Worker(GetParam() * processes + static_cast<unsigned>(i)).run(); }));
  }
  for (auto &worker : workers) {
    EXPECT_EQ(worker->wait(), 0);
  }
  for (const std::string &stem : stems(".xml")) {
    test::Toc toc;
    EXPECT_TRUE(test::parseToc(test::readFile(path(stem + ".xml")), toc)) << stem;
    EXPECT_EQ(test::bucketOf(toc.id, toc.version), stem.substr(0, 8));
    EXPECT_EQ(toc.location, path(stem + ".dat"));
  }
  for (const std::string &stem : stems(".dat")) {
    EXPECT_TRUE(std::filesystem::exists(path(stem + ".xml"))) << stem;
  }
  EXPECT_EQ(semaphore("depot.lk"), depotLock);
  EXPECT_EQ(semaphore("entry.lk"), entryLock);
  EXPECT_EQ(semaphore("enum.lk"), 1);
  EXPECT_EQ(DepotPurge(depot, 1), ok);
  EXPECT_EQ(names(), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(Seeds, DepotCompany, testing::Values(1, 2, 3));

// The depot itself, through its public operations.
#include <array>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <sprig/depot.h>

#include "depot/files.h"

namespace bench {
namespace {

struct DepotCloser {
  void operator()(Depot *depot) const { DepotFree(depot); }
};

constexpr uint32_t absentNumber = 1U << 24; // no store has that many

class SprigStore : public Store {
public:
  explicit SprigStore(const Place &place)
      : workspace_(place.workspace), spread_(place.spread), size_(place.size) {
    fillDirectory(place);
    Depot *depot = nullptr;
    const PalError result = DepotNew(&depot, place.path.c_str(), 0);
    depot_.reset(depot);
    if (result.palError != PAL_OK) {
      throw std::runtime_error("no depot at " + place.path);
    }
    warm();
  }

  bool find(Entry &entry) override {
    entry.record = DepotGetEntry(depot_.get(), entry.id.c_str(), entry.version.c_str());
    return entry.record != nullptr;
  }

  bool add(Entry &entry) override {
    entry.record =
        DepotAddEntry(depot_.get(), entry.id.c_str(), entry.version.c_str(),
                      entry.properties.data(), static_cast<uint32_t>(entry.properties.size()));
    return entry.record != nullptr;
  }

  bool complete(Entry &entry) override {
    DepotEntry *record = std::exchange(entry.record, nullptr);
    return DepotCompleteEntry(depot_.get(), record, 0).palError == PAL_OK;
  }

  bool remove(Entry &entry) override {
    DepotEntry *record = std::exchange(entry.record, nullptr);
    return DepotRemoveEntry(depot_.get(), record, 0).palError == PAL_OK;
  }

  void setLoaded(bool isLoaded) override {
    if (isLoaded == !loaded_.empty()) {
      return;
    }
    for (DepotEntry *record : std::exchange(loaded_, {})) {
      DepotFreeEntry(depot_.get(), record);
    }
    for (uint32_t number = 0; isLoaded && number < size_; ++number) {
      Entry entry = makeEntry(spread_, number);
      if (!find(entry)) {
        throw std::runtime_error("not found: " + entry.id);
      }
      loaded_.push_back(entry.record);
    }
  }

  bool forget(Entry &entry) override {
    DepotEntry *record = std::exchange(entry.record, nullptr);
    return DepotFreeEntry(depot_.get(), record).palError == PAL_OK;
  }

  bool withdraw(Entry &entry) override {
    if (entry.record == nullptr && !find(entry)) {
      return false;
    }
    const std::string tocPath = entry.record->toc_path;
    const std::string dataPath = entry.record->location;
    const bool isBuried = forget(entry) && workspace_.bury(dataPath) && workspace_.bury(tocPath);
    return isBuried && !find(entry); // this look is where the handle learns of it
  }

private:
  // A lookup in each bucket, after which the handle knows all names and whose they are.
  void warm() {
    std::array<bool, bucketCount> isWarm{};
    for (uint32_t i = 0; i < lookupsToMeetAllBuckets; ++i) {
      Entry entry = makeEntry(spread_, absentNumber + i);
      if (!std::exchange(isWarm[bucketOf(entry)], true)) {
        (void)find(entry);
      }
    }
  }

  static constexpr uint32_t lookupsToMeetAllBuckets = 10000;

  Workspace &workspace_;
  Spread spread_;
  uint32_t size_;
  std::unique_ptr<Depot, DepotCloser> depot_;
  std::vector<DepotEntry *> loaded_;
};

} // namespace

std::unique_ptr<Store> makeSprigStore(const Place &place) {
  return std::make_unique<SprigStore>(place);
}

} // namespace bench

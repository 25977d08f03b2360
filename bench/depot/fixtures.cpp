#include "depot/fixtures.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace bench {
namespace {

constexpr uint32_t firstAbsent = 1U << 20; // beyond every store's size

} // namespace

Numbers::Numbers(uint32_t size) : order_(size), position_(size), nextAbsent_(firstAbsent) {
  std::iota(order_.begin(), order_.end(), 0);
}

void Numbers::startBatch(size_t batch) {
  if (order_.size() - position_ < batch) {
    std::shuffle(order_.begin(), order_.end(), random_);
    position_ = 0;
  }
}

Fixture &Fixtures::get(const std::string &subject, StoreMaker make, Spread spread, uint32_t size) {
  const std::string name =
      subject + (spread == Spread::oneBucket ? "-one-bucket-" : "-") + std::to_string(size);
  const auto known = fixtures_.find(name);
  if (known != fixtures_.end()) {
    return known->second;
  }
  if (!workspace_) {
    workspace_.emplace();
  }
  auto store = make({*workspace_, *workspace_ / name, spread, size});
  return fixtures_.emplace(name, Fixture{spread, Numbers(size), std::move(store)}).first->second;
}

} // namespace bench

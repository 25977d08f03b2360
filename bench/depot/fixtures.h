// The stores of a run, each made when the first benchmark wants it and kept for the others.
#ifndef SPRIG_BENCH_DEPOT_FIXTURES_H
#define SPRIG_BENCH_DEPOT_FIXTURES_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "depot/store.h"

namespace bench {

// The numbers of the entries that operations work on.
class Numbers {
public:
  explicit Numbers(uint32_t size);

  // Numbers that the store has, in random order: one comes again in another batch, when all others
  // were there. A batch is no larger than the store.
  void startBatch(size_t batch);
  uint32_t present() { return order_[position_++]; }

  // Numbers that it does not have.
  uint32_t absent() { return nextAbsent_++; }

private:
  std::vector<uint32_t> order_;
  size_t position_;
  uint32_t nextAbsent_;
  std::mt19937 random_; // always the same
};

struct Fixture {
  Spread spread;
  Numbers numbers;
  std::unique_ptr<Store> store;
};

using StoreMaker = std::unique_ptr<Store> (*)(const Place &place);

class Fixtures {
public:
  Fixture &get(const std::string &subject, StoreMaker make, Spread spread, uint32_t size);

private:
  std::optional<Workspace> workspace_; // outlives the stores in it
  std::map<std::string, Fixture> fixtures_;
};

} // namespace bench

#endif

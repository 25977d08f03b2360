// The depot beside other ways to keep such a cache, by the number of entries that are present. Only
// the operations are timed, in batches; what they consume is made before, what they leave goes
// afterwards, so that the number stays what it is. All files lie under TMPDIR.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "depot/fixtures.h"
#include "support/ratios.h"

namespace {

using bench::Entry;
using bench::Fixture;
using bench::Fixtures;
using bench::Numbers;
using bench::Spread;
using bench::Store;

constexpr uint32_t sizes[] = {100, 1000, 10000, 50000};
constexpr uint32_t usualBatch = 64;
constexpr uint32_t namesInScannedBatch = 6400; // a batch of scans goes through about as many names

enum class Kind {
  searching, // may depend on what else is in the directory, and in the bucket
  loaded,    // with all entries loaded
  changing   // nothing is searched for
};

using Step = bool (Store::*)(Entry &entry);

struct Group {
  const char *name;
  Kind kind;
  uint32_t (Numbers::*number)();
  Step prepare, operate, clean;
};

// Removals come last, for what they do to the creations behind them.
const Group groups[] = {
    {"depot-hit", Kind::searching, &Numbers::present, &Store::leave, &Store::find, &Store::forget},
    {"depot-hit-loaded", Kind::loaded, &Numbers::present, &Store::leave, &Store::findLoaded,
     &Store::leave},
    {"depot-miss", Kind::searching, &Numbers::absent, &Store::leave, &Store::miss, &Store::leave},
    {"depot-add", Kind::searching, &Numbers::absent, &Store::leave, &Store::add, &Store::withdraw},
    {"depot-complete", Kind::changing, &Numbers::absent, &Store::put, &Store::complete,
     &Store::withdraw},
    {"depot-remove", Kind::changing, &Numbers::absent, &Store::put, &Store::remove, &Store::leave},
};

struct Subject {
  const char *name;
  bench::StoreMaker make;
  bool scans;       // every search goes through the directory
  bool onlyChanges; // it cannot search
};

const Subject subjects[] = {
    {"sprig", bench::makeSprigStore, false, false},
    {"files-scan", bench::makeScanStore, true, false},
    {"floor.files-indexed", bench::makeIndexedStore, false, false},
    {"floor.calls", bench::makeCallsStore, false, true},
    {"sqlite-wal", bench::makeSqliteStore, false, false},
};

uint32_t batchSize(const Group &group, const Subject &subject, uint32_t size) {
  return group.kind == Kind::searching && subject.scans
             ? std::clamp(namesInScannedBatch / size, 1U, usualBatch)
             : usualBatch;
}

bool doAll(std::vector<Entry> &entries, Store &store, Step step) {
  bool isGood = true;
  for (Entry &entry : entries) {
    isGood = (store.*step)(entry) && isGood;
  }
  return isGood;
}

void measure(benchmark::State &state, const Group &group, Fixture &fixture, uint32_t batch) {
  using Clock = std::chrono::steady_clock;
  Store &store = *fixture.store;
  std::vector<Entry> entries(batch);
  while (state.KeepRunningBatch(batch)) {
    fixture.numbers.startBatch(batch);
    for (Entry &entry : entries) {
      entry = bench::makeEntry(fixture.spread, (fixture.numbers.*group.number)());
    }
    bool isGood = doAll(entries, store, group.prepare);
    const Clock::time_point start = Clock::now();
    isGood = doAll(entries, store, group.operate) && isGood;
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    isGood = doAll(entries, store, group.clean) && isGood;
    if (!isGood) {
      state.SkipWithError("an operation failed");
    }
  }
}

void run(benchmark::State &state, const std::string &name, const Group &group,
         const Subject &subject, Spread spread, Fixtures &fixtures) {
  const auto size = static_cast<uint32_t>(state.range(0));
  std::string problem = "an operation failed";
  try {
    Fixture &fixture = fixtures.get(subject.name, subject.make, spread, size);
    fixture.store->setLoaded(group.kind == Kind::loaded);
    measure(state, group, fixture, batchSize(group, subject, size));
  } catch (const std::exception &error) {
    problem = error.what();
    state.SkipWithError(problem.c_str());
  }
  if (state.error_occurred()) { // the table leaves it out
    (void)fprintf(stderr, "%s/%u: %s\n", name.c_str(), size, problem.c_str());
  }
}

void registerGroup(const Group &group, Spread spread, Fixtures &fixtures) {
  for (const Subject &subject : subjects) {
    if (subject.onlyChanges && group.kind != Kind::changing) {
      continue;
    }
    const char *suffix = spread == Spread::oneBucket ? "-one-bucket" : "";
    const std::string name = std::string(group.name) + suffix + '/' + subject.name;
    auto *benchmark = benchmark::RegisterBenchmark(
        name.c_str(), [name, &group, &subject, spread, &fixtures](benchmark::State &state) {
          run(state, name, group, subject, spread, fixtures);
        });
    benchmark->UseManualTime();
    for (const uint32_t size : sizes) {
      benchmark->Arg(size);
    }
  }
}

} // namespace

int main(int argc, char **argv) {
  setenv("KRT_LOG_LEVEL", "-2", 1); // lines are traced, and kept by nobody
  Fixtures fixtures;
  for (const Group &group : groups) {
    registerGroup(group, Spread::allBuckets, fixtures);
    if (group.kind == Kind::searching) {
      registerGroup(group, Spread::oneBucket, fixtures);
    }
  }
  return bench::run(argc, argv);
}

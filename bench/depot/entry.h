// The entries that all subjects store: the same keys, the same properties, the same text.
#ifndef SPRIG_BENCH_DEPOT_ENTRY_H
#define SPRIG_BENCH_DEPOT_ENTRY_H

#include <cstdint>
#include <string>

struct DepotEntry;

namespace bench {

// A depot sorts its entries into buckets by the first half of their keys. Either the keys differ
// there, or they share it and differ behind it.
enum class Spread { allBuckets, oneBucket };

struct Entry {
  std::string id;
  std::string version;
  std::string properties;

  // Where a subject keeps it.
  DepotEntry *record = nullptr;
  std::string tocPath;
  std::string dataPath;
};

// Different numbers give different keys.
Entry makeEntry(Spread spread, uint32_t number);

// The text of an entry's TOC file, about 400 bytes, and its beginning, which says whose it is.
std::string tocText(const Entry &entry, bool isComplete);
std::string identityText(const Entry &entry);

// The end of that beginning.
inline constexpr const char *behindIdentity = "<reference_count>";

constexpr uint32_t bucketCount = 251;
uint32_t bucketOf(const Entry &entry);

} // namespace bench

#endif

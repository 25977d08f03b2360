// How entries are spread over buckets. The numbers are part of the format on disk.
#ifndef SPRIG_DEPOT_HASH_H
#define SPRIG_DEPOT_HASH_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace sprig {

// The largest prime up to each power of two from 2 on.
inline constexpr std::array<uint32_t, 16> PowerOf2Primes{
    2, 3, 7, 13, 31, 61, 127, 251, 509, 1021, 2039, 4093, 8191, 16381, 32749, 65521};

inline constexpr uint32_t TableSize = 256;

constexpr uint32_t nearestPrimeBelow(uint32_t size) {
  for (std::size_t i = PowerOf2Primes.size() - 1; i > 0; --i) {
    if (PowerOf2Primes[i] < size) {
      return PowerOf2Primes[i];
    }
  }
  return 0;
}

// The number of buckets.
inline constexpr uint32_t NearestPrime = nearestPrimeBelow(TableSize);
static_assert(NearestPrime == 251, "depots on disk have that many");

} // namespace sprig

#endif

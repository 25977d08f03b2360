#include "depot/used_indexes.h"

#include <algorithm>
#include <cstring>

#include <sprig/pal.h>

namespace sprig {

void UsedIndexes::clear() {
  PalMemoryFree(names_);
  names_ = nullptr;
  count_ = 0;
  lowest_ = 0;
}

bool UsedIndexes::add(long index) {
  if (index < 0 || static_cast<unsigned long>(index) >= most) {
    return true;
  }
  const auto place = static_cast<size_t>(index);
  if (place >= count_ && !grow(place)) {
    return false;
  }
  ++names_[place];
  return true;
}

void UsedIndexes::remove(long index) {
  if (isCounted(index) && names_[index] > 0 && --names_[index] == 0) {
    lowest_ = std::min(lowest_, static_cast<size_t>(index));
  }
}

int32_t UsedIndexes::smallestUnused() {
  while (lowest_ < count_ && names_[lowest_] > 0) {
    ++lowest_;
  }
  return static_cast<int32_t>(lowest_);
}

bool UsedIndexes::grow(size_t index) {
  constexpr size_t smallest = 8;
  const size_t count = std::max({smallest, index + 1, 2 * count_});
  auto *names = static_cast<uint32_t *>(PalMemoryRealloc(names_, count * sizeof(uint32_t)));
  if (names == nullptr) {
    return false;
  }
  memset(names + count_, 0, (count - count_) * sizeof(uint32_t));
  names_ = names;
  count_ = count;
  return true;
}

} // namespace sprig

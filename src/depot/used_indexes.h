// Which indexes the file names of a bucket use.
#ifndef SPRIG_DEPOT_USED_INDEXES_H
#define SPRIG_DEPOT_USED_INDEXES_H

#include <cstddef>
#include <cstdint>

namespace sprig {

// Counts the names with each index. Indexes that no sane bucket reaches are not counted: the maker
// of a new name makes sure that it is new, so that a good guess is enough.
class UsedIndexes {
public:
  UsedIndexes() = default;
  ~UsedIndexes() { clear(); }
  UsedIndexes(const UsedIndexes &) = delete;
  UsedIndexes &operator=(const UsedIndexes &) = delete;

  // False when there is no memory.
  bool add(long index);
  void remove(long index);
  int32_t smallestUnused();
  void clear();

private:
  static constexpr size_t most = size_t{1} << 17;

  bool grow(size_t index);
  bool isCounted(long index) const { return index >= 0 && static_cast<size_t>(index) < count_; }

  uint32_t *names_ = nullptr; // by index
  size_t count_ = 0;
  size_t lowest_ = 0; // everything below it is used
};

} // namespace sprig

#endif

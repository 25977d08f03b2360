// What the runtime's own parts need of the heap beyond the mg_ functions.
#ifndef SPRIG_RUNTIME_MEMORY_HEAP_H
#define SPRIG_RUNTIME_MEMORY_HEAP_H

#include <cstddef>

namespace sprig::runtime {

// As mg_malloc() and mg_realloc(); null where memory runs out.
void *tryAllocate(size_t size);
void *tryReallocate(void *block, size_t size);

// How many bytes a block has room for.
size_t blockSize(void *block);

// The room in the blocks of each class: what the system's heap makes of its smallest blocks.
inline constexpr size_t smallestRoom = 3 * sizeof(size_t);
inline constexpr size_t roomStep = 16;
inline constexpr size_t roomClasses = 32;

constexpr size_t roomOf(size_t sizeClass) { return smallestRoom + sizeClass * roomStep; }
constexpr size_t classWithRoomFor(size_t size) {
  return size <= smallestRoom ? 0 : (size - smallestRoom - 1) / roomStep + 1;
}

struct Released {
  Released *next;
};

// The released blocks that a thread keeps at hand, and for how many bytes more it may.
struct Kept {
  Released *blocks[roomClasses];
  size_t left;
  bool isReady; // it has been found out whether it keeps any
};

// Found without a call, also where this is a shared library.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Kept kept;

void *allocateElsewhere(size_t size);
void releaseElsewhere(void *block, size_t sizeClass);

// mg_malloc().
[[gnu::always_inline]] inline void *allocate(size_t size) {
  const size_t sizeClass = classWithRoomFor(size);
  if (sizeClass < roomClasses) {
    if (Released *block = kept.blocks[sizeClass]) {
      kept.blocks[sizeClass] = block->next;
      kept.left += roomOf(sizeClass);
      return block;
    }
  }
  return allocateElsewhere(size);
}

[[gnu::always_inline]] inline void releaseOfClass(void *block, size_t sizeClass) {
  if (sizeClass < roomClasses && kept.left >= roomOf(sizeClass)) {
    auto *released = static_cast<Released *>(block);
    released->next = kept.blocks[sizeClass];
    kept.blocks[sizeClass] = released;
    kept.left -= roomOf(sizeClass);
  } else {
    releaseElsewhere(block, sizeClass);
  }
}

} // namespace sprig::runtime

#endif

// The mg_ functions: the system's heap, with released small blocks kept at hand.
//
// Values are made of many small blocks, which come and go together. Each thread keeps a list of
// released blocks per size, so that most of them cost neither a lock nor a search. All are blocks
// of the system's heap: it knows their size, and they can go back to it at any time.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <dlfcn.h>
#include <malloc.h>

#include <sprig/framework.h>

#include "exceptions/exhaustion.h"
#include "memory/heap.h"
#include "memory/thread_exit.h"

using namespace sprig::runtime;

// In programs that look for wrong uses of memory, each block has to come and go by itself.
extern "C" void __asan_init() __attribute__((weak));
extern "C" void __msan_init() __attribute__((weak));
extern "C" void __tsan_init() __attribute__((weak));

constinit thread_local Kept sprig::runtime::kept{};

namespace {

constexpr size_t keptAtMost = size_t{4} << 20; // bytes per thread

// False when there is nothing.
bool giveBack() {
  bool isAny = false;
  for (size_t sizeClass = 0; sizeClass < roomClasses; ++sizeClass) {
    while (Released *block = kept.blocks[sizeClass]) {
      kept.blocks[sizeClass] = block->next;
      kept.left += roomOf(sizeClass);
      free(block);
      isAny = true;
    }
  }
  return isAny;
}

const ThreadExit atExit([] {
  giveBack();
  kept.left = 0;
});

// Whether both come from the same library: a heap that takes the place of the system's may forget
// to bring its own way to ask for a block's size.
bool isSizeKnown() {
  Dl_info heap{};
  Dl_info size{};
  return dladdr(reinterpret_cast<void *>(malloc), &heap) == 0 ||
         dladdr(reinterpret_cast<void *>(malloc_usable_size), &size) == 0 ||
         heap.dli_fbase == size.dli_fbase;
}

bool isPlainHeapWanted() {
  const char *wanted = getenv("KRT_MALLOC");
  const char *preloaded = getenv("LD_PRELOAD");
  return &__asan_init != nullptr || &__msan_init != nullptr || &__tsan_init != nullptr ||
         (wanted != nullptr && strcmp(wanted, "system") == 0) ||
         (preloaded != nullptr && strstr(preloaded, "vgpreload") != nullptr) || !isSizeKnown();
}

bool isPlainHeap() {
  static const bool isPlain = isPlainHeapWanted();
  return isPlain;
}

// What is asked of the system's heap for a block: the room of its class, so that it can be kept.
size_t roomFor(size_t size) {
  const size_t sizeClass = classWithRoomFor(size);
  return sizeClass < roomClasses && !isPlainHeap() ? roomOf(sizeClass) : std::max<size_t>(size, 1);
}

// Whether this thread keeps released blocks. Asked at its first one.
bool startsKeeping() {
  if (kept.isReady) {
    return false;
  }
  kept.isReady = true;
  if (isPlainHeap() || !atExit.request()) {
    return false;
  }
  kept.left = keptAtMost;
  return true;
}

bool hasKept(size_t sizeClass) {
  return sizeClass < roomClasses && kept.blocks[sizeClass] != nullptr;
}

// A call of the system's heap, and once more when this thread's blocks have gone back to it.
template <typename Call> void *orGiveBack(Call call) {
  void *block = call();
  if (block == nullptr && giveBack()) {
    block = call();
  }
  return block;
}

void *orThrow(void *block) {
  if (block == nullptr) {
    throwNoMemory();
  }
  return block;
}

} // namespace

void *sprig::runtime::tryAllocate(size_t size) {
  return hasKept(classWithRoomFor(size)) ? allocate(size)
                                         : orGiveBack([=] { return malloc(roomFor(size)); });
}

void *sprig::runtime::allocateElsewhere(size_t size) { return orThrow(tryAllocate(size)); }

void sprig::runtime::releaseElsewhere(void *block, size_t sizeClass) {
  if (sizeClass < roomClasses && startsKeeping()) {
    releaseOfClass(block, sizeClass);
  } else {
    free(block);
  }
}

void *sprig::runtime::tryReallocate(void *block, size_t size) {
  return orGiveBack([=] { return realloc(block, roomFor(size)); });
}

size_t sprig::runtime::blockSize(void *block) {
  static const bool isKnown = isSizeKnown();
  return isKnown ? malloc_usable_size(block) : SIZE_MAX;
}

void *mg_malloc(size_t size) { return allocate(size); }

// The block is zero to its end, also where it is larger than it need be.
void *mg_calloc(size_t count, size_t size) {
  size_t bytes = 0;
  if (__builtin_mul_overflow(count, size, &bytes)) {
    throwNoMemory();
  }
  const size_t room = roomFor(bytes);
  if (hasKept(classWithRoomFor(bytes))) {
    return memset(allocate(bytes), 0, room);
  }
  return orThrow(orGiveBack([=] { return calloc(1, room); }));
}

void *mg_realloc(void *block, size_t size) { return orThrow(tryReallocate(block, size)); }

char *mg_strdup(const char *text) {
  if (text == nullptr) {
    return nullptr;
  }
  const size_t size = strlen(text) + 1;
  return static_cast<char *>(memcpy(allocate(size), text, size));
}

void mg_free(void *block) {
  if (block == nullptr) {
    return;
  }
  if (kept.left == 0 && !startsKeeping()) {
    free(block);
    return;
  }
  releaseOfClass(block, (malloc_usable_size(block) - smallestRoom) / roomStep);
}

// The one place where the library meets the system's allocator.
#include <cstdlib>
#include <cstring>

#include "posix/error.h"

namespace {

bool isCopyable(const void *target, const void *source, ssize_t size) {
  return target != source && target != nullptr && source != nullptr && size > 0;
}

} // namespace

void *PalMemoryMalloc(size_t size) { return size == 0 ? nullptr : malloc(size); }

void *PalMemoryCalloc(size_t count, size_t size) {
  return count == 0 || size == 0 ? nullptr : calloc(count, size);
}

void *PalMemoryRealloc(void *address, size_t size) {
  return size == 0 ? nullptr : realloc(address, size);
}

void PalMemoryFree(void *address) { free(address); }

int PalMemoryCmp(const void *address1, const void *address2, size_t size) {
  if (address1 == address2) {
    return 0;
  }
  if (address1 == nullptr) {
    return -1;
  }
  return address2 == nullptr ? 1 : memcmp(address1, address2, size);
}

void PalMemoryCpy(void *address1, const void *address2, ssize_t size) {
  if (isCopyable(address1, address2, size)) {
    memcpy(address1, address2, static_cast<size_t>(size));
  }
}

void PalMemoryMove(void *address1, const void *address2, ssize_t size) {
  if (isCopyable(address1, address2, size)) {
    memmove(address1, address2, static_cast<size_t>(size));
  }
}

PalError PalMemorySet(void *address, ssize_t size, int value) {
  if (address == nullptr || size <= 0) {
    return sprig::invalidParameter(0);
  }
  memset(address, value, static_cast<size_t>(size));
  return sprig::success;
}

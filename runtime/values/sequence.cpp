#include <algorithm>
#include <cstdint>
#include <cstring>

#include <sprig/framework.h>

#include "values/layout.h"

using namespace sprig::runtime;

namespace {

constexpr uint32_t firstRoom = 4; // elements

void grow(Sequence &sequence, size_t elementSize) {
  if (sequence.length == UINT32_MAX) {
    vaThrow(nullptr, 0, "A sequence cannot have more than %1$u elements.\n", UINT32_MAX);
  }
  const uint32_t doubled = sequence.length > UINT32_MAX / 2 ? UINT32_MAX : 2 * sequence.length;
  const uint32_t maximum = std::max(firstRoom, doubled);
  size_t size = 0;
  if (__builtin_mul_overflow(maximum, elementSize, &size)) {
    size = SIZE_MAX; // which nobody has
  }
  if (sequence.maximum > 0) {
    sequence.buffer = mg_realloc(sequence.buffer, size);
  } else { // a buffer that belongs to somebody else stays
    void *buffer = mg_malloc(size);
    if (sequence.length > 0) {
      memcpy(buffer, sequence.buffer, sequence.length * elementSize);
    }
    sequence.buffer = buffer;
  }
  sequence.maximum = maximum;
}

} // namespace

void seq_add(void *sequence, const void *element, size_t element_size) {
  auto &list = as<Sequence>(sequence);
  // One of its own elements moves with the buffer.
  const auto place =
      reinterpret_cast<uintptr_t>(element) - reinterpret_cast<uintptr_t>(list.buffer);
  const bool isOwn = list.buffer != nullptr && place < list.length * element_size;
  if (list.length >= list.maximum) {
    grow(list, element_size);
  }
  memcpy(at(list.buffer, list.length * element_size), isOwn ? at(list.buffer, place) : element,
         element_size);
  ++list.length;
}

void *seq_remove(void *sequence, uint32_t index, size_t element_size) {
  auto &list = as<Sequence>(sequence);
  if (index >= list.length) {
    return nullptr;
  }
  void *removed = mg_malloc(element_size);
  void *place = at(list.buffer, index * element_size);
  memcpy(removed, place, element_size);
  --list.length;
  memmove(place, at(place, element_size), (list.length - index) * element_size);
  return removed;
}

void seq_free_buffer(void *sequence) {
  auto &list = as<Sequence>(sequence);
  if (list.maximum > 0) {
    mg_free(list.buffer);
  }
  list = {};
}

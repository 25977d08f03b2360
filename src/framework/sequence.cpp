#include <cstring>

#include <sprig/exceptions.h>
#include <sprig/framework.h>

namespace {

constexpr int32_t notReplaced = 39;

} // namespace

void seq_init(void *sequence) { *static_cast<Sequence *>(sequence) = {}; }

void seq_free(void *sequence) {
  const auto *list = static_cast<const Sequence *>(sequence);
  if (list != nullptr && list->maximum != 0) {
    mg_free(list->buffer);
  }
  mg_free(sequence);
}

void *seq_replace(void *sequence, const void *element, uint32_t index, size_t element_size) {
  const auto *list = static_cast<const Sequence *>(sequence);
  if (index >= list->length) {
    vaThrow(Sprig2Catalog[0], notReplaced, Sprig2Catalog[notReplaced], index, list->length);
  }
  char *slot = static_cast<char *>(list->buffer) + index * element_size;
  void *old = mg_malloc(element_size);
  memcpy(old, slot, element_size);
  memcpy(slot, element, element_size);
  return old;
}

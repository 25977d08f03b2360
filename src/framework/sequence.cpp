#include <cstring>

#include <sprig/framework.h>

#include "framework/message.h"

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
    sprig::throwMessage(sprig::MessageId::elementNotReplaced, index, list->length);
  }
  char *slot = static_cast<char *>(list->buffer) + index * element_size;
  void *old = mg_malloc(element_size);
  memcpy(old, slot, element_size);
  memcpy(slot, element, element_size);
  return old;
}

// The array-backed list. Live slots form a chain from the newest element to the oldest. Removed
// slots form a chain of their own that ends at the first slot that was never used; slots behind
// that one are not linked, but reached in index order.
#include <atomic>
#include <cstring>
#include <limits>

#include "posix/error.h"
#include "posix/list.h"

namespace {

constexpr int32_t none = -1;

struct Slot {
  int32_t inUse;      // 1 for a live element, 0 for a free slot
  int32_t next;       // towards the oldest element; in a free slot the next free one, or none for
                      // the slot right behind this one
  int32_t prev;       // towards the newest element
  PalListValue value; // the caller's
};

} // namespace

struct PalList1Header {
  int32_t head;     // the newest element
  int32_t freeHead; // the first free slot; the capacity when the list is full
  Slot *elements;
  int32_t capacity;
  int32_t increment;
};

struct PalList1IteratorState {
  PalList1Header *list;
  int32_t current; // none before the first step
};

static_assert(sizeof(void *) != 4 || sizeof(Slot) == 16);
static_assert(sizeof(void *) != 4 || sizeof(PalList1Header) == 20);
static_assert(sizeof(void *) != 4 || sizeof(PalList1Iterator) == 12);

namespace {

// The header as it is allocated, with what only the library sees behind it.
struct WatchedHeader : PalList1Header {
  uint32_t number; // of the list, among all of this process
  uint32_t changes;
};

std::atomic<uint32_t> listsMade = 0;

void countChange(PalList1Header &list) { ++static_cast<WatchedHeader &>(list).changes; }

PalList1Header *headerOf(PalList1 *list) { return list == nullptr ? nullptr : *list; }

// The slot one past the end counts as a free one, never as storage.
bool IsValidDescriptor(const PalList1Header &list, int32_t descriptor) {
  return descriptor >= 0 && descriptor < list.capacity && list.elements[descriptor].inUse != 0;
}

void endFreeChainAt(PalList1Header &list, int32_t slot) {
  if (slot < list.capacity) {
    list.elements[slot].next = none;
  }
}

bool grow(PalList1Header &list) {
  if (list.increment == 0 || list.capacity > std::numeric_limits<int32_t>::max() - list.increment) {
    return false;
  }
  const auto oldCount = static_cast<size_t>(list.capacity);
  const auto newCount = oldCount + static_cast<size_t>(list.increment);
  if (newCount > std::numeric_limits<size_t>::max() / sizeof(Slot)) {
    return false;
  }
  auto *elements = static_cast<Slot *>(PalMemoryRealloc(list.elements, newCount * sizeof(Slot)));
  if (elements == nullptr) {
    return false;
  }
  memset(elements + oldCount, 0, (newCount - oldCount) * sizeof(Slot));
  list.elements = elements;
  list.capacity += list.increment;
  endFreeChainAt(list, list.freeHead);
  return true;
}

// Takes the first free slot off its chain; there must be one.
int32_t takeFreeSlot(PalList1Header &list) {
  const int32_t taken = list.freeHead;
  list.freeHead = list.elements[taken].next;
  if (list.freeHead == none) {
    list.freeHead = taken + 1;
    endFreeChainAt(list, list.freeHead);
  }
  return taken;
}

} // namespace

int PalList1Create(PalList1 *list, int32_t count, int32_t increment) {
  if (list == nullptr || increment < 0) {
    return -1;
  }
  *list = nullptr;
  if (count < 0) {
    return -1;
  }
  auto *header = static_cast<WatchedHeader *>(PalMemoryMalloc(sizeof(WatchedHeader)));
  auto *elements = static_cast<Slot *>(PalMemoryCalloc(static_cast<size_t>(count), sizeof(Slot)));
  if (header == nullptr || (elements == nullptr && count > 0)) {
    PalMemoryFree(elements);
    PalMemoryFree(header);
    return -1;
  }
  *header = {{none, 0, elements, count, increment}, ++listsMade, 0};
  endFreeChainAt(*header, 0);
  *list = header;
  return 0;
}

void PalList1Destroy(PalList1 *list) {
  PalList1Header *header = headerOf(list);
  if (header != nullptr) {
    PalMemoryFree(header->elements);
    PalMemoryFree(header);
    *list = nullptr;
  }
}

int32_t PalList1Add(PalList1 *list, PalListValue value) {
  PalList1Header *header = headerOf(list);
  if (header == nullptr || (header->freeHead >= header->capacity && !grow(*header))) {
    return -1;
  }
  const int32_t added = takeFreeSlot(*header);
  header->elements[added] = {1, header->head, none, value};
  if (header->head != none) {
    header->elements[header->head].prev = added;
  }
  header->head = added;
  countChange(*header);
  return added;
}

int PalList1Remove(PalList1 *list, int32_t descriptor) {
  PalList1Header *header = headerOf(list);
  if (header == nullptr || !IsValidDescriptor(*header, descriptor)) {
    return -1;
  }
  Slot &removed = header->elements[descriptor];
  int32_t &towardsIt = removed.prev == none ? header->head : header->elements[removed.prev].next;
  towardsIt = removed.next;
  if (removed.next != none) {
    header->elements[removed.next].prev = removed.prev;
  }
  removed.inUse = 0;
  removed.next = header->freeHead;
  header->freeHead = descriptor;
  countChange(*header);
  return 0;
}

uint64_t sprig::stateOf(PalList1 list) {
  const auto *header = static_cast<const WatchedHeader *>(list);
  return header == nullptr ? 0 : uint64_t{header->number} << 32 | header->changes;
}

PalListValue PalList1Access(PalList1 *list, int32_t descriptor) {
  const PalList1Header *header = headerOf(list);
  return header != nullptr && IsValidDescriptor(*header, descriptor)
             ? header->elements[descriptor].value
             : 0;
}

int32_t PalList1GetSize(PalList1 *list) {
  const PalList1Header *header = headerOf(list);
  return header == nullptr ? 0 : header->capacity;
}

void PalList1SetSize(PalList1 * /*list*/, int32_t /*count*/) {}

PalError PalList1IteratorCreate(PalList1 *list, PalList1Iterator *iterator) {
  if (iterator == nullptr) {
    return sprig::invalidParameter(0);
  }
  PalList1Header *header = headerOf(list);
  if (header == nullptr) {
    return sprig::invalidParameter(1);
  }
  auto *state =
      static_cast<PalList1IteratorState *>(PalMemoryMalloc(sizeof(PalList1IteratorState)));
  if (state == nullptr) {
    return sprig::outOfMemory(3);
  }
  *state = {header, none};
  *iterator = {state, PalList1IteratorNext, PalList1IteratorEnd};
  return {PAL_OK, 0, 4};
}

PalError PalList1IteratorNext(PalList1IteratorState **state, int32_t *descriptor,
                              PalListValue *value) {
  const void *const required[] = {state, descriptor, value, state == nullptr ? nullptr : *state};
  for (int32_t argument = 0; argument < 4; ++argument) {
    if (required[argument] == nullptr) {
      return sprig::invalidParameter(argument);
    }
  }
  const PalList1Header &list = *(*state)->list;
  const int32_t current = (*state)->current;
  const int32_t candidate = current == none ? list.head : list.elements[current].next;
  // A current element that was removed meanwhile leads into the free chain, or behind the storage.
  if (!IsValidDescriptor(list, candidate)) {
    return {PAL_END_OF_LIST, 0, 4};
  }
  (*state)->current = candidate;
  *descriptor = candidate;
  *value = list.elements[candidate].value;
  return {PAL_OK, 0, 5};
}

PalError PalList1IteratorEnd(PalList1IteratorState **state) {
  if (state == nullptr) {
    return sprig::invalidParameter(0);
  }
  PalMemoryFree(*state);
  *state = nullptr;
  return {PAL_OK, 0, 1};
}

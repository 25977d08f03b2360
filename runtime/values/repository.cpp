#include "values/repository.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "exceptions/exhaustion.h"

using namespace sprig::runtime;

namespace {

// Types by name, hashed. Types are added while others look; a table that is full gives way to a
// larger one, and stays for those who are looking into it.
struct Table {
  const Table *earlier;
  uint32_t count;
  uint32_t mask;
  std::atomic<TypeCode> slots[1]; // mask + 1 of them, at most half of them in use
};

std::atomic<Table *> registered = nullptr;
std::mutex registration;

// Eight bytes at a time: each list within a list costs the decoder a look at its type's name.
uint32_t hashOf(std::string_view name) {
  uint64_t hash = name.size();
  while (!name.empty()) {
    const size_t length = std::min(name.size(), sizeof(uint64_t));
    uint64_t word = 0;
    memcpy(&word, name.data(), length);
    hash = (hash ^ word) * 0x9E3779B97F4A7C15U;
    name.remove_prefix(length);
  }
  return static_cast<uint32_t>(hash >> 32);
}

// The slot of a name, or the free one that it would have.
uint32_t slotOf(const Table &table, std::string_view name) {
  uint32_t i = hashOf(name) & table.mask;
  for (;; i = (i + 1) & table.mask) {
    const TypeCode type = table.slots[i];
    if (type == nullptr || type->name == name) {
      return i;
    }
  }
}

TypeCode findOwn(std::string_view name) {
  for (uint32_t i = 0; i < stypes_type_repository->count; ++i) {
    if (stypes_type_repository->types[i]->name == name) {
      return stypes_type_repository->types[i];
    }
  }
  return nullptr;
}

Table *newTable(const Table *earlier, uint32_t capacity) {
  auto *table =
      static_cast<Table *>(calloc(1, sizeof(Table) + capacity * sizeof(std::atomic<TypeCode>)));
  if (table != nullptr) {
    table->earlier = earlier;
    table->mask = capacity - 1;
  }
  return table;
}

// The table with room for one more; null where memory runs out.
Table *tableWithRoom() {
  constexpr uint32_t smallest = 128;
  Table *table = registered;
  if (table != nullptr && table->count < table->mask / 2) {
    return table;
  }
  Table *larger = newTable(table, table == nullptr ? smallest : 2 * (table->mask + 1));
  if (larger == nullptr) {
    return nullptr;
  }
  for (uint32_t i = 0; table != nullptr && i <= table->mask; ++i) {
    if (const TypeCode type = table->slots[i]) {
      larger->slots[slotOf(*larger, type->name)] = type;
      ++larger->count;
    }
  }
  registered = larger;
  return larger;
}

bool add(TypeCode type) {
  if (type == nullptr || type->name == nullptr || findType(type->name) != nullptr) {
    return true;
  }
  Table *table = tableWithRoom();
  if (table == nullptr) {
    return false;
  }
  table->slots[slotOf(*table, type->name)] = type;
  ++table->count;
  return true;
}

bool registerTypes(const TypeRepository *repository) {
  const std::lock_guard lock(registration);
  for (; repository != nullptr; repository = repository->parent) {
    for (uint32_t i = 0; i < repository->count; ++i) {
      if (!add(repository->types[i])) {
        return false;
      }
    }
  }
  return true;
}

// The numbers of the own types of a kind, which follow each other.
struct Numbers {
  uint32_t first, end;
};

constexpr auto ownNumbers = [] {
  std::array<Numbers, TYPE_KIND_EXCEPTION + 1> numbers{};
  numbers[TYPE_KIND_STRING] = {1, 2};
  numbers[TYPE_KIND_LONG] = {2, 3};
  numbers[TYPE_KIND_ULONG] = {3, 4};
  numbers[TYPE_KIND_SHORT] = {4, 5};
  numbers[TYPE_KIND_BOOLEAN] = {5, 6};
  numbers[TYPE_KIND_OCTET] = {6, 7};
  numbers[TYPE_KIND_ANY] = {7, 8};
  numbers[TYPE_KIND_OBJECT] = {8, 9};
  numbers[TYPE_KIND_SEQUENCE] = {9, 13};
  numbers[TYPE_KIND_STRUCT] = {13, 14};
  numbers[TYPE_KIND_EXCEPTION] = {14, 15};
  return numbers;
}();

} // namespace

TypeCode sprig::runtime::findRegisteredType(std::string_view name) {
  const Table *table = registered;
  return table == nullptr ? nullptr : table->slots[slotOf(*table, name)].load();
}

TypeCode sprig::runtime::findType(std::string_view name) {
  const TypeCode own = findOwn(name);
  return own != nullptr ? own : findRegisteredType(name);
}

uint32_t sprig::runtime::numberOf(TypeCode type) {
  const auto kind = static_cast<uint32_t>(type->kind);
  if (kind >= ownNumbers.size()) {
    return 0;
  }
  const TypeCode *const own = stypes_type_repository->types;
  const auto [first, end] = ownNumbers[kind];
  for (uint32_t number = first; number < end; ++number) {
    if (own[number - 1] == type) {
      return number;
    }
  }
  // An executable may have a copy of a type's record, at another address.
  for (uint32_t number = first; number < end; ++number) {
    if (TypeCode_equal(own[number - 1], type) != 0) {
      return number;
    }
  }
  return 0;
}

TypeCode sprig::runtime::typeWithNumber(uint32_t number) {
  return number == 0 || number > stypes_type_repository->count
             ? nullptr
             : stypes_type_repository->types[number - 1];
}

void adr_type_init(const TypeRepository *repository) {
  if (!registerTypes(repository)) {
    throwNoMemory();
  }
}

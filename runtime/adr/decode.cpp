#include <cstdint>
#include <cstring>
#include <limits>

#include <endian.h>

#include "adr/buffer.h"
#include "adr/move.h"
#include "memory/heap.h"
#include "values/depth.h"
#include "values/layout.h"
#include "values/repository.h"

using namespace sprig::runtime;

namespace {

// Takes nothing for granted: every length is checked before anything is allocated for it. Functions
// take where to read and return where to go on, or null when something is wrong: passed by hand,
// the place stays in a register.
class Decoder {
public:
  explicit Decoder(AdrState &state) : state_(state), end_(state.data + state.length) {}

  void run(TypeCode type, void *value) {
    const uint8_t *next = this->value(type->kind, type, value, state_.data + state_.position, {});
    if (next != nullptr) {
      state_.position = static_cast<uint32_t>(next - state_.data);
    }
  }

private:
  [[gnu::always_inline]] const uint8_t *value(int32_t kind, TypeCode type, void *value,
                                              const uint8_t *next, Nesting nesting) {
    switch (kind) {
    case TYPE_KIND_SHORT:
      return narrow<int16_t, int32_t>(value, next);
    case TYPE_KIND_LONG:
    case TYPE_KIND_ULONG:
      return number(as<uint32_t>(value), next);
    case TYPE_KIND_BOOLEAN:
    case TYPE_KIND_OCTET:
      return narrow<uint8_t, uint32_t>(value, next);
    case TYPE_KIND_STRING:
      return text(as<char *>(value), false, next);
    case TYPE_KIND_OBJECT:
      return text(as<char *>(value), true, next);
    case TYPE_KIND_ANY:
      return typed(as<any>(value), next, nesting.inAny());
    case TYPE_KIND_SEQUENCE:
      return sequence(elementOf(type), as<Sequence>(value), next, nesting.inList());
    case TYPE_KIND_STRUCT:
    case TYPE_KIND_EXCEPTION:
      return structure(type, value, next, nesting);
    default:
      return fail(RUNTIME_ADR_TYPE);
    }
  }

  [[gnu::noinline]] const uint8_t *structure(TypeCode type, void *value, const uint8_t *next,
                                             Nesting nesting) {
    visitMembers(type, [&](TypeCode member, size_t offset) {
      next = member != nullptr ? this->value(member->kind, member, at(value, offset), next, nesting)
                               : fail(RUNTIME_ADR_TYPE);
      return next != nullptr;
    });
    return next;
  }

  [[gnu::cold, gnu::noinline]] const uint8_t *fail(RuntimeAdrError error) {
    state_.error = error;
    return nullptr;
  }

  size_t left(const uint8_t *next) const { return static_cast<size_t>(end_ - next); }

  static uint32_t numberAt(const uint8_t *place) {
    uint32_t number = 0;
    memcpy(&number, place, unit);
    return be32toh(number);
  }

  const uint8_t *number(uint32_t &number, const uint8_t *next) {
    if (left(next) < unit) {
      return fail(RUNTIME_ADR_TRUNCATED);
    }
    number = numberAt(next);
    return next + unit;
  }

  template <typename Narrow, typename Wide>
  const uint8_t *narrow(void *value, const uint8_t *next) {
    uint32_t encoded = 0;
    next = number(encoded, next);
    if (next == nullptr) {
      return nullptr;
    }
    const Wide wide = static_cast<Wide>(encoded);
    if (wide < std::numeric_limits<Narrow>::min() || wide > std::numeric_limits<Narrow>::max()) {
      return fail(RUNTIME_ADR_RANGE);
    }
    as<Narrow>(value) = static_cast<Narrow>(wide);
    return next;
  }

  // A length, that many bytes, and padding: the length, and where the padding ends.
  const uint8_t *bytes(uint32_t &length, const uint8_t *next) {
    next = number(length, next);
    if (next == nullptr) {
      return nullptr;
    }
    const size_t size = withPadding(length);
    if (left(next) < size || size < length) {
      return fail(RUNTIME_ADR_TRUNCATED);
    }
    // The last word begins with what is left of the bytes.
    const size_t padding = size - length;
    if (padding != 0 && (numberAt(next + size - unit) & ((1U << 8 * padding) - 1)) != 0) {
      return fail(RUNTIME_ADR_PADDING);
    }
    return next + size;
  }

  // Short texts without a call.
  static bool hasNul(const uint8_t *text, size_t length) {
    if (length - 8 > 24) {
      return memchr(text, '\0', length) != nullptr;
    }
    const uint8_t *const last = text + length - 8;
    uint64_t found = nulIn(text) | nulIn(last);
    if (length > 16) {
      found |= nulIn(text + 8) | nulIn(last - 8);
    }
    return found != 0;
  }
  static uint64_t nulIn(const uint8_t *text) {
    uint64_t word = 0;
    memcpy(&word, text, sizeof word);
    return (word - 0x0101010101010101U) & ~word & 0x8080808080808080U;
  }

  const uint8_t *text(char *&text, bool isNullWhereEmpty, const uint8_t *next) {
    uint32_t length = 0;
    next = bytes(length, next);
    if (next == nullptr || (length == 0 && isNullWhereEmpty)) {
      return next;
    }
    const uint8_t *const from = next - withPadding(length);
    if (hasNul(from, length)) {
      return fail(RUNTIME_ADR_TEXT);
    }
    char *const copy = static_cast<char *>(allocate(size_t{length} + 1));
    move(copy, from, length);
    copy[length] = '\0';
    text = copy;
    return next;
  }

  const uint8_t *typeTag(TypeCode &type, const uint8_t *next) {
    uint32_t tag = 0;
    next = number(tag, next);
    if (next == nullptr) {
      return nullptr;
    }
    if (tag != namedTypeTag) {
      type = typeWithNumber(tag);
      return type != nullptr || tag == 0 ? next : fail(RUNTIME_ADR_TYPE);
    }
    uint32_t length = 0;
    next = bytes(length, next);
    if (next == nullptr) {
      return nullptr;
    }
    const uint8_t *const name = next - withPadding(length);
    type = findRegisteredType({reinterpret_cast<const char *>(name), length});
    return type != nullptr ? next : fail(RUNTIME_ADR_TYPE_NAME);
  }

  // A value in a block of its own, which is reached from the any before more is allocated.
  template <typename Value> static Value &newValue(any &value, TypeCode type) {
    auto *block = static_cast<Value *>(allocate(sizeof(Value)));
    *block = {};
    value = {type, block};
    return *block;
  }

  [[gnu::noinline]] const uint8_t *typed(any &value, const uint8_t *next, Nesting nesting) {
    if (nesting.isTooDeep()) {
      return fail(RUNTIME_ADR_DEPTH);
    }
    TypeCode named = nullptr;
    next = typeTag(named, next);
    if (next == nullptr || named == nullptr) {
      return next;
    }
    const TypeCode type = withoutAlias(named);
    if (type == nullptr) {
      return fail(RUNTIME_ADR_TYPE);
    }
    if (left(next) < smallestEncoding(type)) {
      return fail(RUNTIME_ADR_TRUNCATED);
    }
    switch (type->kind) { // the most usual ones without detours
    case TYPE_KIND_STRING:
      return text(newValue<char *>(value, named), false, next);
    case TYPE_KIND_LONG:
      return number(newValue<uint32_t>(value, named), next);
    case TYPE_KIND_BOOLEAN:
      return narrow<uint8_t, uint32_t>(&newValue<uint8_t>(value, named), next);
    case TYPE_KIND_SEQUENCE:
      return sequence(elementOf(type), newValue<Sequence>(value, named), next, nesting.inList());
    default:
      value.value = mg_calloc(1, type->size);
      value.type = named;
      return this->value(type->kind, type, value.value, next, nesting);
    }
  }

  [[gnu::noinline]] const uint8_t *sequence(TypeCode element, Sequence &sequence,
                                            const uint8_t *next, Nesting nesting) {
    if (nesting.isTooDeep()) {
      return fail(RUNTIME_ADR_DEPTH);
    }
    if (isOctets(element)) {
      return octets(sequence, next);
    }
    uint32_t count = 0;
    next = number(count, next);
    return next == nullptr || count == 0 ? next : elements(element, count, sequence, next, nesting);
  }

  const uint8_t *octets(Sequence &sequence, const uint8_t *next) {
    uint32_t length = 0;
    next = bytes(length, next);
    if (next != nullptr && length > 0) {
      sequence.buffer = memcpy(allocate(length), next - withPadding(length), length);
      sequence.maximum = sequence.length = length;
    }
    return next;
  }

  const uint8_t *elements(TypeCode element, uint32_t count, Sequence &sequence, const uint8_t *next,
                          Nesting nesting) {
    const size_t smallest = element == nullptr ? 0 : smallestEncoding(element);
    if (smallest == 0) {
      return fail(element == nullptr ? RUNTIME_ADR_TYPE : RUNTIME_ADR_EMPTY_ELEMENT);
    }
    if (left(next) < claimed_ || count > (left(next) - claimed_) / smallest) {
      return fail(RUNTIME_ADR_COUNT);
    }
    void *const buffer = mg_calloc(count, element->size);
    sequence = {count, count, buffer};
    const size_t share = isNamedValue(element) ? unit : smallest;
    claimed_ += count * smallest;
    visitElements(element, count, [&](int32_t kind, TypeCode type, size_t offset) {
      claimed_ -= share;
      next = value(kind, type, at(buffer, offset), next, nesting);
      return next != nullptr;
    });
    return next;
  }

  AdrState &state_;
  const uint8_t *end_;
  size_t claimed_ = 0; // by elements to come: lists within lists cannot all count on the same bytes
};

} // namespace

void sprig::runtime::decode(AdrState &state, TypeCode type, void *value) {
  Decoder(state).run(type, value);
}

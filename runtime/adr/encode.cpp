#include <algorithm>
#include <cstring>

#include <endian.h>

#include "adr/buffer.h"
#include "adr/move.h"
#include "values/depth.h"
#include "values/layout.h"
#include "values/repository.h"

using namespace sprig::runtime;

namespace {

constexpr size_t firstRoom = 4096;

// Their places in the runtime's repository.
constexpr uint32_t stringTag = 1;
constexpr uint32_t longTag = 2;

// One pass over the value. Short encodings are written on the stack first, and get a block that
// fits them; longer ones a block that grows. Functions take where to write and return where to go
// on, or null when something is wrong: passed by hand, the place stays in a register.
class Encoder {
public:
  explicit Encoder(AdrState &state) : state_(state) {
    start_ = state.data == nullptr ? scratch_ : state.data;
    end_ = state.data == nullptr ? scratch_ + firstRoom : state.data + state.room;
  }

  void run(TypeCode type, const void *value) {
    uint8_t *next = this->value(type->kind, type, value, start_ + state_.length, {});
    if (next != nullptr) {
      finish(next);
    }
  }

private:
  void finish(uint8_t *next) {
    const auto length = static_cast<uint32_t>(next - start_);
    if (start_ == scratch_) {
      state_.data = static_cast<uint8_t *>(mg_malloc(length));
      state_.room = length;
      memcpy(state_.data, scratch_, length);
    }
    state_.length = length;
  }

  [[gnu::always_inline]] uint8_t *value(int32_t kind, TypeCode type, const void *value,
                                        uint8_t *next, Nesting nesting) {
    switch (kind) {
    case TYPE_KIND_SHORT:
      return number(static_cast<uint32_t>(int32_t{as<int16_t>(value)}), next);
    case TYPE_KIND_LONG:
    case TYPE_KIND_ULONG:
      return number(as<uint32_t>(value), next);
    case TYPE_KIND_BOOLEAN:
    case TYPE_KIND_OCTET:
      return number(as<uint8_t>(value), next);
    case TYPE_KIND_STRING:
    case TYPE_KIND_OBJECT:
      return text(as<const char *>(value), next);
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

  [[gnu::noinline]] uint8_t *structure(TypeCode type, const void *value, uint8_t *next,
                                       Nesting nesting) {
    visitMembers(type, [&](TypeCode member, size_t offset) {
      next = member != nullptr ? this->value(member->kind, member, at(value, offset), next, nesting)
                               : fail(RUNTIME_ADR_TYPE);
      return next != nullptr;
    });
    return next;
  }

  [[gnu::cold, gnu::noinline]] uint8_t *fail(RuntimeAdrError error) {
    state_.error = error;
    return nullptr;
  }

  // Makes room, where there is none; false when there cannot be.
  bool hasRoomFor(size_t size, uint8_t *&next) {
    return size <= static_cast<size_t>(end_ - next) || (next = grown(size, next)) != nullptr;
  }

  [[gnu::noinline]] uint8_t *grown(size_t size, uint8_t *next) {
    const size_t used = static_cast<size_t>(next - start_);
    if (size > UINT32_MAX - used) {
      return fail(RUNTIME_ADR_TOO_LARGE);
    }
    const size_t doubled = std::min<size_t>(2 * static_cast<size_t>(end_ - start_), UINT32_MAX);
    const size_t room = std::max({4 * firstRoom, used + size, doubled});
    state_.data = static_cast<uint8_t *>(mg_realloc(state_.data, room));
    state_.room = static_cast<uint32_t>(room);
    if (start_ == scratch_) {
      memcpy(state_.data, scratch_, used);
    }
    start_ = state_.data;
    end_ = start_ + room;
    return start_ + used;
  }

  uint8_t *number(uint32_t number, uint8_t *next) {
    return hasRoomFor(unit, next) ? put(number, next) : nullptr;
  }

  static uint8_t *put(uint32_t number, uint8_t *next) {
    number = htobe32(number);
    memcpy(next, &number, unit);
    return next + unit;
  }

  // A length, that many bytes, and padding.
  uint8_t *bytes(const void *bytes, size_t length, uint8_t *next) {
    const size_t size = unit + withPadding(length);
    if (size < length) {
      return fail(RUNTIME_ADR_TOO_LARGE);
    }
    return hasRoomFor(size, next) ? putBytes(bytes, length, next) : nullptr;
  }

  [[gnu::always_inline]] static uint8_t *putBytes(const void *bytes, size_t length, uint8_t *next) {
    uint8_t *const end = next + unit + withPadding(length);
    memset(end - unit, 0, unit); // the padding; the length itself, where that is all
    next = put(static_cast<uint32_t>(length), next);
    if (length > 0) {
      move(next, bytes, length);
    }
    return end;
  }

  uint8_t *text(const char *text, uint8_t *next) {
    return bytes(text, text == nullptr ? 0 : strlen(text), next);
  }

  // Nearly all values are texts and numbers of the runtime's own types: their tags take no search.
  [[gnu::noinline]] uint8_t *typed(const any &value, uint8_t *next, Nesting nesting) {
    if (value.value == nullptr || nesting.isTooDeep()) {
      return otherTyped(value, next, nesting);
    }
    if (value.type == TC_string) {
      const char *text = as<const char *>(value.value);
      const size_t length = text == nullptr ? 0 : strlen(text);
      return hasRoomFor(2 * unit + withPadding(length), next)
                 ? putBytes(text, length, put(stringTag, next))
                 : nullptr;
    }
    if (value.type == TC_long) {
      return hasRoomFor(2 * unit, next) ? put(as<uint32_t>(value.value), put(longTag, next))
                                        : nullptr;
    }
    return otherTyped(value, next, nesting);
  }

  [[gnu::noinline]] uint8_t *otherTyped(const any &value, uint8_t *next, Nesting nesting) {
    if (nesting.isTooDeep()) {
      return fail(RUNTIME_ADR_DEPTH);
    }
    if (value.type == nullptr) {
      return number(0, next);
    }
    const TypeCode type = withoutAlias(value.type);
    if (type == nullptr || value.value == nullptr) {
      return fail(type == nullptr ? RUNTIME_ADR_TYPE : RUNTIME_ADR_NO_VALUE);
    }
    next = typeTag(value.type, next);
    return next == nullptr ? nullptr : this->value(type->kind, type, value.value, next, nesting);
  }

  uint8_t *typeTag(TypeCode type, uint8_t *next) {
    if (const uint32_t own = numberOf(type)) {
      return number(own, next);
    }
    if (type->name == nullptr) {
      return fail(RUNTIME_ADR_TYPE_NAME);
    }
    next = number(namedTypeTag, next);
    return next == nullptr ? nullptr : text(type->name, next);
  }

  [[gnu::noinline]] uint8_t *sequence(TypeCode element, const Sequence &sequence, uint8_t *next,
                                      Nesting nesting) {
    if (nesting.isTooDeep()) {
      return fail(RUNTIME_ADR_DEPTH);
    }
    if (isOctets(element)) {
      return bytes(sequence.buffer, sequence.length, next);
    }
    next = number(sequence.length, next);
    if (next == nullptr || sequence.length == 0) {
      return next;
    }
    if (element == nullptr || smallestEncoding(element) == 0) {
      return fail(element == nullptr ? RUNTIME_ADR_TYPE : RUNTIME_ADR_EMPTY_ELEMENT);
    }
    visitElements(element, sequence.length, [&](int32_t kind, TypeCode type, size_t offset) {
      next = value(kind, type, at(sequence.buffer, offset), next, nesting);
      return next != nullptr;
    });
    return next;
  }

  AdrState &state_;
  uint8_t *start_;
  uint8_t *end_;
  uint8_t scratch_[firstRoom];
};

} // namespace

void sprig::runtime::encode(AdrState &state, TypeCode type, const void *value) {
  Encoder(state).run(type, value);
}

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <sprig/framework.h>

#include "values/layout.h"

using namespace sprig::runtime;

namespace {

// Values of one type in a block of their own: an any's value, a sequence's elements.
struct Block {
  TypeCode type;
  void *values;
  uint32_t count;
};

bool ownsAnything(TypeCode type) {
  switch (type->kind) {
  case TYPE_KIND_SHORT:
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
    return false;
  default:
    return true;
  }
}

// Releases what values own. Blocks within blocks are released on the stack down to some depth; what
// lies deeper waits in a list, so that no nesting exhausts the stack.
class Release {
public:
  ~Release() { free(waiting_); }
  Release() = default;
  Release(const Release &) = delete;
  Release &operator=(const Release &) = delete;

  void all(TypeCode type, void *value) {
    release(type->kind, type, value, 0);
    while (count_ > 0) {
      const Block next = waiting_[--count_];
      release(next, 0);
    }
  }

private:
  static constexpr unsigned deepest = 64;

  [[gnu::always_inline]] void release(int32_t kind, TypeCode type, void *value, unsigned depth) {
    switch (kind) {
    case TYPE_KIND_STRING:
    case TYPE_KIND_OBJECT:
      mg_free(as<char *>(value));
      break;
    case TYPE_KIND_ANY: {
      const any &typed = as<any>(value);
      release({withoutAlias(typed.type), typed.value, 1}, depth);
      break;
    }
    case TYPE_KIND_SEQUENCE: {
      const Sequence &sequence = as<Sequence>(value);
      if (sequence.maximum > 0) { // else the buffer belongs to somebody else
        release({elementOf(type), sequence.buffer, sequence.length}, depth);
      }
      break;
    }
    case TYPE_KIND_STRUCT:
    case TYPE_KIND_EXCEPTION:
      releaseStruct(type, value, depth);
      break;
    default:
      break;
    }
  }

  [[gnu::noinline]] void releaseStruct(TypeCode type, void *value, unsigned depth) {
    visitMembers(type, [&](TypeCode member, size_t offset) {
      if (member != nullptr) {
        release(member->kind, member, at(value, offset), depth);
      }
      return true;
    });
  }

  [[gnu::noinline]] void release(const Block &block, unsigned depth) {
    if (block.values == nullptr || (depth == deepest && isPutOff(block))) {
      return;
    }
    if (block.type != nullptr && ownsAnything(block.type)) {
      visitElements(block.type, block.count, [&](int32_t kind, TypeCode type, size_t offset) {
        release(kind, type, at(block.values, offset), depth + 1);
        return true;
      });
    }
    mg_free(block.values);
  }

  // Without memory for the list, the stack has to do.
  bool isPutOff(const Block &block) {
    if (count_ == capacity_) {
      const size_t capacity = capacity_ == 0 ? 64 : 2 * capacity_;
      void *grown = realloc(waiting_, capacity * sizeof(Block));
      if (grown == nullptr) {
        return false;
      }
      waiting_ = static_cast<Block *>(grown);
      capacity_ = capacity;
    }
    waiting_[count_++] = block;
    return true;
  }

  Block *waiting_ = nullptr;
  size_t count_ = 0;
  size_t capacity_ = 0;
};

} // namespace

void nex_free_generic(void *value, TypeCode type) {
  type = withoutAlias(type);
  if (value == nullptr || type == nullptr) {
    return;
  }
  Release().all(type, value);
  memset(value, 0, type->size);
}

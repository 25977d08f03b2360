// The functions of each type of values, made from the one list of types.
#include <type_traits>

#include <sprig/framework.h>
#include <sprig/properties.h>

#include "framework/new_record.h"
#include "properties/value.h"

namespace {

// Scalars, text and references are handed out themselves, anything else by address.
template <typename Got, typename Block> Got valueIn(void *block) {
  if constexpr (std::is_same_v<Got, Block>) {
    return static_cast<Block>(block);
  } else {
    return *static_cast<Block>(block);
  }
}

template <typename Value> Value writable(Value value) { return value; }
char *writable(const char *text) { return const_cast<char *>(text); } // the caller's own

// The same for what is handed in.
template <typename Stored, typename Copied> const void *addressOf(const Copied &value) {
  if constexpr (std::is_same_v<Copied, const Stored *>) {
    return value;
  } else {
    return &value;
  }
}

template <const TypeCodeRecord *type> void release(void *block) {
  nex_free_generic(block, type);
  mg_free(block);
}

template <typename Block, const TypeCodeRecord *type, typename Copied>
void putCopy(Properties *list, const char *key, const Copied &value) {
  using Stored = std::remove_pointer_t<Block>;
  sprig::newRecord<Stored>(release<type>, [&](Stored *block) {
    if constexpr (std::is_arithmetic_v<Stored>) {
      *block = value;
    } else {
      sprig::copyValue(type, addressOf<Stored>(value), block);
    }
    properties_put(list, key, type, block);
  });
}

} // namespace

// NOLINTBEGIN(bugprone-macro-parentheses): types cannot stand in parentheses
#define DEFINE_PROPERTY_TYPE(F, type, Got, Otherwise, Block, Copied)                               \
  Got properties_get_##F(const Properties *list, const char *key) {                                \
    return valueIn<Got, Block>(properties_get(list, key, type, 1));                                \
  }                                                                                                \
  Got properties_get_##F##2(const Properties *list, const char *key, Otherwise otherwise) {        \
    void *block = properties_get(list, key, type, 0);                                              \
    return block == nullptr ? writable(otherwise) : valueIn<Got, Block>(block);                    \
  }                                                                                                \
  void properties_put_##F(Properties *list, const char *key, Block block) {                        \
    properties_put(list, key, type, block);                                                        \
  }                                                                                                \
  void properties_put_##F##_dup(Properties *list, const char *key, Copied value) {                 \
    putCopy<Block, type>(list, key, value);                                                        \
  }
// NOLINTEND(bugprone-macro-parentheses)

SPRIG_PROPERTY_TYPES(DEFINE_PROPERTY_TYPE)

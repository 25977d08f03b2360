// How values lie in memory, as their types tell.
#ifndef SPRIG_RUNTIME_VALUES_LAYOUT_H
#define SPRIG_RUNTIME_VALUES_LAYOUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <sprig/framework.h>

namespace sprig::runtime {

inline TypeCode withoutAlias(TypeCode type) {
  while (type != nullptr && type->kind == TYPE_KIND_ALIAS) {
    type = type->member_count == 0 ? nullptr : type->members[0].type;
  }
  return type;
}

inline bool isStruct(TypeCode type) {
  return type->kind == TYPE_KIND_STRUCT || type->kind == TYPE_KIND_EXCEPTION;
}

// Type of a sequence's elements.
inline TypeCode elementOf(TypeCode sequence) {
  return sequence->member_count == 0 ? nullptr : withoutAlias(sequence->members[0].type);
}

inline bool isOctets(TypeCode element) {
  return element != nullptr && element->kind == TYPE_KIND_OCTET;
}

inline size_t alignmentOf(TypeCode type) {
  type = withoutAlias(type);
  if (type == nullptr) {
    return 1;
  }
  switch (type->kind) {
  case TYPE_KIND_SHORT:
    return alignof(int16_t);
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
    return alignof(int32_t);
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
    return 1;
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION: {
    size_t widest = 1;
    for (uint32_t i = 0; i < type->member_count; ++i) {
      widest = std::max(widest, alignmentOf(type->members[i].type));
    }
    return widest;
  }
  default:
    return alignof(void *);
  }
}

// Calls visit(type, offset) for each member of a struct, with aliases resolved; stops when it gives
// false.
template <typename Visit> inline bool visitMembers(TypeCode type, Visit &&visit) {
  size_t offset = 0;
  for (uint32_t i = 0; i < type->member_count; ++i) {
    const TypeCode member = withoutAlias(type->members[i].type);
    const size_t alignment = alignmentOf(member);
    offset = (offset + alignment - 1) & ~(alignment - 1);
    if (!visit(member, offset)) {
      return false;
    }
    offset += member == nullptr ? 0 : member->size;
  }
  return true;
}

// Whether values of a type are a text and an any, as named values are. Nearly everything is made of
// them, so that they are worth a way of their own.
inline bool isNamedValue(TypeCode type) {
  if (type->kind != TYPE_KIND_STRUCT || type->size != sizeof(char *) + sizeof(any) ||
      type->member_count != 2) {
    return false;
  }
  const TypeCode name = type->members[0].type;
  const TypeCode value = type->members[1].type;
  return name != nullptr && value != nullptr && name->kind == TYPE_KIND_STRING &&
         value->kind == TYPE_KIND_ANY;
}

// Calls visit(kind, type, offset) for the elements of a sequence, and for both members where they
// are named values; stops when it gives false.
template <typename Visit>
[[gnu::always_inline]] inline bool visitElements(TypeCode element, uint32_t count, Visit &&visit) {
  struct NamedValue {
    char *name;
    any value;
  };
  const size_t end = size_t{count} * element->size;
  if (isNamedValue(element)) {
    for (size_t at = 0; at != end; at += sizeof(NamedValue)) {
      if (!visit(TYPE_KIND_STRING, element->members[0].type, at + offsetof(NamedValue, name)) ||
          !visit(TYPE_KIND_ANY, element->members[1].type, at + offsetof(NamedValue, value))) {
        return false;
      }
    }
    return true;
  }
  for (size_t at = 0; at != end; at += element->size) {
    if (!visit(element->kind, element, at)) {
      return false;
    }
  }
  return true;
}

template <typename Value> Value &as(void *value) { return *static_cast<Value *>(value); }
template <typename Value> const Value &as(const void *value) {
  return *static_cast<const Value *>(value);
}

inline void *at(void *start, size_t offset) { return static_cast<std::byte *>(start) + offset; }
inline const void *at(const void *start, size_t offset) {
  return static_cast<const std::byte *>(start) + offset;
}

} // namespace sprig::runtime

#endif

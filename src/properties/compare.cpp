// Equality and matching. What is equal has the same encoding.
#include <algorithm>
#include <cstdint>

#include <sprig/framework.h>
#include <sprig/properties.h>

#include "framework/environment.h"
#include "framework/try_frame.h"
#include "properties/buffer.h"
#include "properties/key.h"

namespace {

// What lies at the start of a value, whatever it is a part of; null where that is not known.
TypeCode firstPartOf(TypeCode type) {
  while (type != nullptr && (type->kind == TYPE_KIND_ALIAS || type->kind == TYPE_KIND_STRUCT ||
                             type->kind == TYPE_KIND_EXCEPTION)) {
    type = type->member_count == 0 ? TC_octet : type->members[0].type;
  }
  return type;
}

// Whether a pointer to text can lie at the start of a value.
bool canBeText(TypeCode wholeType) {
  TypeCode type = firstPartOf(wholeType);
  switch (type == nullptr ? TYPE_KIND_STRING : type->kind) {
  case TYPE_KIND_SHORT:
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
  case TYPE_KIND_SEQUENCE:
  case TYPE_KIND_ANY: // begins with its type
    return false;
  default:
    return true;
  }
}

// The text that a value is taken for, or null.
const char *textOf(const any &value) {
  return value.value != nullptr && canBeText(value.type) ? *static_cast<char **>(value.value)
                                                         : nullptr;
}

// Without an encoding, nothing is equal.
bool areEqual(const any &a, const any &b) {
  Environment environment{};
  const bool isEqual = krt_generic_equal(TC_any, &environment, &a, &b) != 0;
  return !sprig::forgetException(environment) && isEqual;
}

} // namespace

int krt_generic_equal(TypeCode type, Environment *environment, const void *a, const void *b) {
  environment->exception = nullptr;
  if (a == b) {
    return 1;
  }
  int32_t error = 0;
  bool isEqual = false;
  sprig::inTryFrame([&] {
    const AdrBuffer *first = sprig::encoded(type, a);
    const AdrBuffer *second = sprig::encoded(type, b);
    error = first->error != 0 ? first->error : second->error;
    isEqual = error == 0 && std::equal(first->data, first->data + first->length, second->data,
                                       second->data + second->length);
  });
  if (error != 0) {
    vaRaiseException(environment, 0, -1, "Marshalling error (%1$d)", error);
  }
  return isEqual ? 1 : 0;
}

int property_equal(const Property *a, const Property *b) {
  return sprig::hasKey(*a, sprig::keyOf(*b)) && areEqual(a->value, b->value) ? 1 : 0;
}

int property_match(const Property *pattern, const Property *property) {
  if (!sprig::hasKey(*pattern, sprig::keyOf(*property))) {
    return 0;
  }
  const bool isMatch = TypeCode_equal(pattern->value.type, TC_string) != 0
                           ? match(textOf(pattern->value), textOf(property->value)) == 0
                           : areEqual(pattern->value, property->value);
  return isMatch ? 1 : 0;
}

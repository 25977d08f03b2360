#include <cstring>

#include <sprig/framework.h>

#include "exceptions/frame.h"
#include "values/depth.h"
#include "values/layout.h"

using namespace sprig::runtime;

namespace {

[[gnu::always_inline]] inline bool isEqual(int32_t kind, TypeCode type, const void *a,
                                           const void *b, Nesting nesting);

bool isSameText(const char *a, const char *b) {
  return strcmp(a == nullptr ? "" : a, b == nullptr ? "" : b) == 0;
}

[[gnu::noinline]] bool isSameSequence(TypeCode element, const Sequence &a, const Sequence &b,
                                      Nesting nesting) {
  nesting.check();
  if (a.length != b.length) {
    return false;
  }
  if (a.length == 0 || element == nullptr) {
    return true;
  }
  if (isOctets(element)) {
    return memcmp(a.buffer, b.buffer, a.length) == 0;
  }
  return visitElements(element, a.length, [&](int32_t kind, TypeCode type, size_t offset) {
    return isEqual(kind, type, at(a.buffer, offset), at(b.buffer, offset), nesting);
  });
}

[[gnu::noinline]] bool isSameAny(const any &a, const any &b, Nesting nesting) {
  nesting.check();
  if (a.type != b.type && TypeCode_equal(a.type, b.type) == 0) {
    return false;
  }
  const TypeCode type = withoutAlias(a.type);
  if (type == nullptr || a.value == nullptr || b.value == nullptr) {
    return type == nullptr || a.value == b.value;
  }
  return isEqual(type->kind, type, a.value, b.value, nesting);
}

[[gnu::noinline]] bool isSameStruct(TypeCode type, const void *a, const void *b, Nesting nesting) {
  return visitMembers(type, [&](TypeCode member, size_t offset) {
    return member == nullptr ||
           isEqual(member->kind, member, at(a, offset), at(b, offset), nesting);
  });
}

bool isEqual(int32_t kind, TypeCode type, const void *a, const void *b, Nesting nesting) {
  switch (kind) {
  case TYPE_KIND_STRING:
  case TYPE_KIND_OBJECT:
    return isSameText(as<char *>(a), as<char *>(b));
  case TYPE_KIND_ANY:
    return isSameAny(as<any>(a), as<any>(b), nesting.inAny());
  case TYPE_KIND_SEQUENCE:
    return isSameSequence(elementOf(type), as<Sequence>(a), as<Sequence>(b), nesting.inList());
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION:
    return isSameStruct(type, a, b, nesting);
  default:
    return memcmp(a, b, type->size) == 0;
  }
}

} // namespace

int _t_generic_equal(TypeCode type, Environment *environment, const void *a, const void *b) {
  const TypeCode resolved = withoutAlias(type);
  if (resolved == nullptr) {
    return 1;
  }
  bool result = false;
  inTryFrame([&] { result = isEqual(resolved->kind, resolved, a, b, {}); },
             [&](void *exception) { putInto(environment, exception); });
  return result ? 1 : 0;
}

int _generic_equal(Environment *environment, TypeCode type, const void *a, const void *b) {
  return _t_generic_equal(type, environment, a, b);
}

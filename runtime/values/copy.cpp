#include <cstring>

#include <sprig/framework.h>

#include "exceptions/frame.h"
#include "memory/heap.h"
#include "values/depth.h"
#include "values/layout.h"

using namespace sprig::runtime;

namespace {

// Copies into zeroed storage, which at any time holds what can be released.
[[gnu::always_inline]] inline void copy(int32_t kind, TypeCode type, const void *source,
                                        void *target, Nesting nesting);

[[gnu::noinline]] void copySequence(TypeCode element, const Sequence &source, Sequence &target,
                                    Nesting nesting) {
  nesting.check();
  if (source.length == 0 || element == nullptr) {
    return;
  }
  if (isOctets(element)) {
    target.buffer = memcpy(mg_malloc(source.length), source.buffer, source.length);
    target.maximum = target.length = source.length;
    return;
  }
  target.buffer = mg_calloc(source.length, element->size);
  target.maximum = target.length = source.length;
  visitElements(element, source.length, [&](int32_t kind, TypeCode type, size_t offset) {
    copy(kind, type, at(source.buffer, offset), at(target.buffer, offset), nesting);
    return true;
  });
}

[[gnu::noinline]] void copyStruct(TypeCode type, const void *source, void *target,
                                  Nesting nesting) {
  visitMembers(type, [&](TypeCode member, size_t offset) {
    if (member != nullptr) {
      copy(member->kind, member, at(source, offset), at(target, offset), nesting);
    }
    return true;
  });
}

[[gnu::noinline]] void copyAny(const any &source, any &target, Nesting nesting) {
  nesting.check();
  target.type = source.type;
  const TypeCode type = withoutAlias(source.type);
  if (type != nullptr && source.value != nullptr) {
    target.value = allocate(type->size);
    memset(target.value, 0, type->size);
    copy(type->kind, type, source.value, target.value, nesting);
  }
}

void copy(int32_t kind, TypeCode type, const void *source, void *target, Nesting nesting) {
  switch (kind) {
  case TYPE_KIND_STRING:
  case TYPE_KIND_OBJECT:
    as<char *>(target) = mg_strdup(as<char *>(source));
    break;
  case TYPE_KIND_ANY:
    copyAny(as<any>(source), as<any>(target), nesting.inAny());
    break;
  case TYPE_KIND_SEQUENCE:
    copySequence(elementOf(type), as<Sequence>(source), as<Sequence>(target), nesting.inList());
    break;
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION:
    copyStruct(type, source, target, nesting);
    break;
  default:
    memcpy(target, source, type->size);
  }
}

} // namespace

void _t_generic_copy(TypeCode type, Environment *environment, const void *source, void *target) {
  const TypeCode resolved = withoutAlias(type);
  if (resolved == nullptr) {
    return;
  }
  memset(target, 0, resolved->size);
  inTryFrame([&] { copy(resolved->kind, resolved, source, target, {}); },
             [&](void *exception) {
               nex_free_generic(target, resolved);
               putInto(environment, exception);
             });
}

void _generic_copy(Environment *environment, TypeCode type, const void *source, void *target) {
  _t_generic_copy(type, environment, source, target);
}

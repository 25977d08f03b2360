#include <cstdarg>
#include <cstdint>

#include <sprig/framework.h>

#include "exceptions/frame.h"
#include "values/layout.h"

using namespace sprig::runtime;

namespace {

// The value of a member, as it stands among the arguments.
void takeMember(TypeCode type, void *target, va_list &arguments) {
  switch (type->kind) {
  case TYPE_KIND_STRING:
  case TYPE_KIND_OBJECT:
    as<char *>(target) = mg_strdup(va_arg(arguments, const char *));
    break;
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
    as<int32_t>(target) = va_arg(arguments, int32_t);
    break;
  case TYPE_KIND_SHORT:
    as<int16_t>(target) = static_cast<int16_t>(va_arg(arguments, int));
    break;
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
    as<uint8_t>(target) = static_cast<uint8_t>(va_arg(arguments, int));
    break;
  default:
    if (const void *source = va_arg(arguments, const void *)) {
      _t_generic_copy(type, nullptr, source, target);
    }
  }
}

} // namespace

void *generic_create(TypeCode type, ...) {
  void *value = mg_calloc(1, type->size);
  if (type->kind != TYPE_KIND_EXCEPTION) {
    return value;
  }
  va_list arguments;
  va_start(arguments, type);
  inTryFrame(
      [&] {
        visitMembers(type, [&](TypeCode member, size_t offset) {
          if (member != nullptr) {
            takeMember(member, at(value, offset), arguments);
          }
          return true;
        });
      },
      [&](void *exception) {
        nex_free_generic(value, type);
        mg_free(value);
        throwRecord(exception);
      });
  va_end(arguments);
  return value;
}

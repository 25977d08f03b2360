#include "records/member.h"

#include <cstring>

#include <sprig/properties.h>

using sprig::Member;

namespace {

bool isNumber(TypeCode type) {
  return type->kind == TYPE_KIND_SHORT || type->kind == TYPE_KIND_LONG ||
         type->kind == TYPE_KIND_BOOLEAN;
}

// Numbers, text and references are what lies in a property's block; anything else is the block.
bool isInBlock(TypeCode type) {
  return isNumber(type) || type->kind == TYPE_KIND_STRING || type->kind == TYPE_KIND_OBJECT;
}

template <typename Number> void store(void *place, Number number) {
  memcpy(place, &number, sizeof number);
}

void storeNumber(TypeCode type, void *place, uint8_t number) {
  switch (type->kind) {
  case TYPE_KIND_SHORT:
    return store<int16_t>(place, number);
  case TYPE_KIND_LONG:
    return store<int32_t>(place, number);
  default:
    return store<uint8_t>(place, number);
  }
}

void readMember(const Properties *properties, const Member &member, void *place) {
  const void *block =
      properties_get(properties, *member.key, member.type, member.mustExist ? 1 : 0);
  if (block == nullptr) {
    if (isNumber(member.type)) {
      storeNumber(member.type, place, member.otherwise);
    }
  } else if (isInBlock(member.type)) {
    memcpy(place, block, member.type->size);
  } else {
    store(place, block);
  }
}

} // namespace

void sprig::readMembers(const Properties *properties, const Member *members, size_t count,
                        void *record) {
  for (size_t i = 0; i < count; ++i) {
    readMember(properties, members[i], static_cast<char *>(record) + members[i].offset);
  }
}

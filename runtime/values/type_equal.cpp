#include <cstring>

#include <sprig/framework.h>

namespace {

bool isSameName(const char *a, const char *b) {
  return a == b || (a != nullptr && b != nullptr && strcmp(a, b) == 0);
}

// A pair of types that is being compared, and the one whose members led to it.
struct Pair {
  TypeCode a;
  TypeCode b;
  const Pair *outer;
};

// A type can lead back to itself through its members: the pair is then the same if the rest is.
bool isBeingCompared(TypeCode a, TypeCode b, const Pair *outer) {
  while (outer != nullptr && (outer->a != a || outer->b != b)) {
    outer = outer->outer;
  }
  return outer != nullptr;
}

bool isSame(TypeCode a, TypeCode b, const Pair *outer) {
  if (a == b) {
    return true;
  }
  if (a == nullptr || b == nullptr || !isSameName(a->name, b->name) || a->kind != b->kind ||
      a->size != b->size || a->member_count != b->member_count) {
    return false;
  }
  const Pair pair{a, b, outer};
  for (uint32_t i = 0; i < a->member_count; ++i) {
    const TypeCodeMember &ofA = a->members[i];
    const TypeCodeMember &ofB = b->members[i];
    if (!isSameName(ofA.name, ofB.name) ||
        (!isBeingCompared(ofA.type, ofB.type, &pair) && !isSame(ofA.type, ofB.type, &pair))) {
      return false;
    }
  }
  return true;
}

} // namespace

int TypeCode_equal(TypeCode a, TypeCode b) { return isSame(a, b, nullptr) ? 1 : 0; }

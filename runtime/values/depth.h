// How deep values lie within each other.
#ifndef SPRIG_RUNTIME_VALUES_DEPTH_H
#define SPRIG_RUNTIME_VALUES_DEPTH_H

#include <sprig/framework.h>

namespace sprig::runtime {

// How many lists may lie within each other. An any that lies in an any without a list in between
// counts as one.
inline constexpr unsigned deepestNesting = 64;

// One number, which stays in a register: the depth, and in the lowest bit whether the innermost is
// an any.
class Nesting {
public:
  Nesting() = default;

  Nesting inList() const { return Nesting((bits_ | 1) + 1); }
  Nesting inAny() const { return Nesting((bits_ & 1) != 0 ? bits_ + 2 : bits_ | 1); }
  bool isTooDeep() const { return bits_ >> 1 > deepestNesting; }

  // Where that is thrown.
  void check() const {
    if (isTooDeep()) {
      vaThrow(nullptr, 0, "The value has more than %1$u lists within lists.\n", deepestNesting);
    }
  }

private:
  explicit Nesting(unsigned bits) : bits_(bits) {}

  unsigned bits_ = 0;
};

} // namespace sprig::runtime

#endif

// Moving short pieces without a call.
#ifndef SPRIG_RUNTIME_ADR_MOVE_H
#define SPRIG_RUNTIME_ADR_MOVE_H

#include <cstddef>
#include <cstring>

namespace sprig::runtime {

// By two moves that meet or overlap.
template <size_t size> inline void moveEnds(char *target, const char *from, size_t length) {
  struct Piece {
    char bytes[size];
  };
  Piece first, last;
  memcpy(&first, from, size);
  memcpy(&last, from + length - size, size);
  memcpy(target, &first, size);
  memcpy(target + length - size, &last, size);
}

// memcpy(), for what is mostly 8 to 32 bytes long, as names and texts are.
[[gnu::always_inline]] inline void move(void *to, const void *source, size_t length) {
  auto *target = static_cast<char *>(to);
  const auto *from = static_cast<const char *>(source);
  if (length - 8 <= 8) {
    moveEnds<8>(target, from, length);
  } else if (length - 16 <= 16) {
    moveEnds<16>(target, from, length);
  } else {
    memcpy(target, source, length);
  }
}

} // namespace sprig::runtime

#endif

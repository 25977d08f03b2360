// What is behind an AdrBuffer.
#ifndef SPRIG_RUNTIME_ADR_BUFFER_H
#define SPRIG_RUNTIME_ADR_BUFFER_H

#include <cstddef>
#include <cstdint>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "values/layout.h"

namespace sprig::runtime {

// The record that callers see comes first.
struct AdrState : AdrBuffer {
  bool isDecoding;
  uint32_t room;     // encoding: how many bytes the block has room for
  uint32_t position; // decoding: where the next value begins
};

inline constexpr size_t unit = 4; // everything is aligned to this many bytes

// How an any names its type: 0 is no type, then the numbers of the runtime's own types; all others
// have this, and their name behind it.
inline constexpr uint32_t namedTypeTag = UINT32_MAX;

// The length of text or octets with the padding behind them.
constexpr size_t withPadding(size_t length) { return (length + unit - 1) & ~(unit - 1); }

// The least that the encoding of a value takes.
size_t smallestStructEncoding(TypeCode type);
inline size_t smallestEncoding(TypeCode type) {
  return !isStruct(type) ? unit : isNamedValue(type) ? 2 * unit : smallestStructEncoding(type);
}

// Encodes a value behind what the buffer has, or says in it what is wrong.
void encode(AdrState &state, TypeCode type, const void *value);
// Decodes the next value into zeroed storage, which can be released also when that fails.
void decode(AdrState &state, TypeCode type, void *value);

} // namespace sprig::runtime

#endif

// The vector block coder, written once for every vector width. A file that includes this is
// compiled for one instruction set and brings the few operations that differ, as `Lanes`: vectors
// of 16-byte lanes in which every step but the last store happens lane by lane.
//
// Such a file calls no inline function of another header but the compiler's own: the linker could
// pick its copy, with its instruction set, for the whole library.
#ifndef SPRIG_ENCODING_BASE64_VECTOR_H
#define SPRIG_ENCODING_BASE64_VECTOR_H

#include <cstring>
#include <immintrin.h>

#include "encoding/base64.h"

// NOLINTBEGIN(cert-dcl59-cpp, misc-definitions-in-headers): a copy for each file is the point
namespace sprig::base64 {
namespace {

// What to add to a digit's value to get its character, by range of values: see `range` below.
constexpr int8_t toCharacter[16] = {'A' - 0,  'a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                                    '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                                    '+' - 62, '/' - 63, 0,        0};

// What to add to a character to get its digit's value, by its high half; "/" alone uses place 1.
constexpr int8_t toValue[16] = {
    0, 63 - '/', 62 - '+', 52 - '0', 0 - 'A', 0 - 'A', 26 - 'a', 26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0};

// A character is a digit when the class of its high half is not among those that its low half
// excludes. The classes: 1 has "+" and "/", 2 the digits 0 to 9, 4 the letters up to O, 8 those
// from P, and 16 nothing.
constexpr int8_t classOfHigh[16] = {16, 16, 1, 2, 4, 8, 4, 8, 16, 16, 16, 16, 16, 16, 16, 16};
constexpr int8_t excludedByLow[16] = {
    1 | 4 | 16,     1 | 16,         1 | 16,         1 | 16,     1 | 16,     1 | 16,
    1 | 16,         1 | 16,         1 | 16,         1 | 16,     1 | 2 | 16, 2 | 8 | 16,
    1 | 2 | 8 | 16, 1 | 2 | 8 | 16, 1 | 2 | 8 | 16, 2 | 8 | 16,
};

template <typename Lanes> typename Lanes::Bytes load(const void *source) {
  typename Lanes::Bytes bytes;
  memcpy(&bytes, source, sizeof(bytes));
  return bytes;
}

// Looks 4-bit indexes up in a table.
template <typename Lanes>
typename Lanes::Bytes lookUp(const int8_t (&table)[16], typename Lanes::Bytes index) {
  return Lanes::shuffle(Lanes::repeat(table), index);
}

template <typename Lanes> size_t encodeBlocks(const uint8_t *data, size_t length, char *text) {
  using Bytes = typename Lanes::Bytes;
  constexpr size_t step = sizeof(Bytes) / 4 * 3;
  size_t taken = 0;
  for (; length - taken >= Lanes::encodeReads; taken += step, text += sizeof(Bytes)) {
    // Each 32-bit group holds three bytes a b c as b a c b. Two multiplications of its 16-bit
    // halves move every digit's six bits to the low end of a byte of their own.
    const Bytes spread = Lanes::loadSpread(data + taken);
    const Bytes values =
        Lanes::multiplyHigh(spread & Lanes::groups(0x0FC0FC00), Lanes::groups(0x04000040)) |
        Lanes::multiplyLow(spread & Lanes::groups(0x003F03F0), Lanes::groups(0x01000010));
    // 0 for capitals, 1 for small letters, 2 to 11 for digits, 12 for "+" and 13 for "/". A
    // comparison that holds is -1.
    const Bytes range = Lanes::subtractSaturated(values, 51) - (values > 25);
    const Bytes characters = values + lookUp<Lanes>(toCharacter, range);
    memcpy(text, &characters, sizeof(characters));
  }
  return taken == length ? taken : taken + encodePortable(data + taken, length - taken, text);
}

// A block of text as digit values, and marks wherever they are none.
template <typename Lanes> struct DecodedBlock {
  typename Lanes::Bytes values;
  typename Lanes::Bytes excluded;
};

template <typename Lanes> DecodedBlock<Lanes> decodeBlock(const char *text) {
  const auto characters = load<Lanes>(text);
  const auto high = Lanes::highHalves(characters);
  return {characters + lookUp<Lanes>(toValue, high + (characters == '/')),
          lookUp<Lanes>(excludedByLow, characters & 15) & lookUp<Lanes>(classOfHigh, high)};
}

// Two blocks a step, as long as there are two: the test for plain text is then paid for once.
template <typename Lanes> size_t decodeBlocks(const char *text, size_t length, uint8_t *data) {
  constexpr size_t characters = sizeof(typename Lanes::Bytes);
  constexpr size_t bytes = characters / 4 * 3;
  size_t taken = 0;
  for (; length - taken >= 2 * characters; taken += 2 * characters, data += 2 * bytes) {
    const auto first = decodeBlock<Lanes>(text + taken);
    const auto second = decodeBlock<Lanes>(text + taken + characters);
    if (Lanes::isAnySet(first.excluded | second.excluded)) {
      break;
    }
    Lanes::storeJoined(first.values, data);
    Lanes::storeJoined(second.values, data + bytes);
  }
  for (; length - taken >= characters; taken += characters, data += bytes) {
    const auto block = decodeBlock<Lanes>(text + taken);
    if (Lanes::isAnySet(block.excluded)) {
      break;
    }
    Lanes::storeJoined(block.values, data);
  }
  return taken == length ? taken : taken + decodePortable(text + taken, length - taken, data);
}

} // namespace
} // namespace sprig::base64
// NOLINTEND(cert-dcl59-cpp, misc-definitions-in-headers)

#endif

#include "channel/crc32c.h"

#include <cstring>

#include <endian.h>

using namespace sprig::runtime;

namespace {

constexpr size_t slices = 8;

// slice[n][b]: what the byte b adds when n more bytes follow it.
struct Tables {
  uint32_t slice[slices][256];

  constexpr Tables() : slice{} {
    for (uint32_t byte = 0; byte < 256; ++byte) {
      uint32_t value = byte;
      for (int bit = 0; bit < 8; ++bit) {
        value = value >> 1 ^ ((value & 1) != 0 ? crc32cPolynomial : 0);
      }
      slice[0][byte] = value;
    }
    for (size_t n = 1; n < slices; ++n) {
      for (uint32_t byte = 0; byte < 256; ++byte) {
        const uint32_t value = slice[n - 1][byte];
        slice[n][byte] = value >> 8 ^ slice[0][value & 0xFF];
      }
    }
  }
};

constexpr Tables tables;

} // namespace

uint32_t sprig::runtime::crc32cPortable(uint32_t value, const uint8_t *data, size_t length) {
  for (; length >= slices; data += slices, length -= slices) {
    uint64_t bytes = 0;
    memcpy(&bytes, data, sizeof bytes);
    bytes = le64toh(bytes) ^ value;
    const auto &slice = tables.slice;
    value = slice[7][bytes & 0xFF] ^ slice[6][bytes >> 8 & 0xFF] ^ slice[5][bytes >> 16 & 0xFF] ^
            slice[4][bytes >> 24 & 0xFF] ^ slice[3][bytes >> 32 & 0xFF] ^
            slice[2][bytes >> 40 & 0xFF] ^ slice[1][bytes >> 48 & 0xFF] ^ slice[0][bytes >> 56];
  }
  for (; length > 0; ++data, --length) {
    value = value >> 8 ^ tables.slice[0][(value ^ *data) & 0xFF];
  }
  return value;
}

uint32_t sprig::runtime::crc32c(const uint8_t *data, size_t length, uint32_t before) {
  const Crc32cCoder *coder = crc32cCoders;
  while (!coder->isSupported()) {
    ++coder;
  }
  return ~coder->carryOn(~before, data, length);
}

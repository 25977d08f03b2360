// The Base64 coder behind Encode() and Decode(): an exact path that follows every rule of the
// lenient format, and block coders for the plain part of the data, one of which is chosen at run
// time. Plain are whole groups of three bytes, and whole groups of four alphabet characters with
// nothing between them. docs/formats/base64.md has the format.
#ifndef SPRIG_ENCODING_BASE64_H
#define SPRIG_ENCODING_BASE64_H

#include <array>
#include <cstddef>
#include <cstdint>

#include <sprig/pal.h>

namespace sprig::base64 {

inline constexpr char Base64Digits[] =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline constexpr uint8_t notADigit = 254;
inline constexpr uint8_t paddingMark = 255;

constexpr std::array<uint8_t, 256> init() {
  constexpr uint8_t eighthBit = 0x80;
  std::array<uint8_t, 256> table{};
  table.fill(notADigit);
  for (uint8_t value = 0; value < 64; ++value) {
    const auto digit = static_cast<uint8_t>(Base64Digits[value]);
    table[digit] = value;
    table[digit | eighthBit] = value;
  }
  table['='] = paddingMark;
  table['=' | eighthBit] = paddingMark;
  return table;
}

// What each byte of a text stands for: a digit's value or one of the two marks above.
inline constexpr std::array<uint8_t, 256> m_DecodeTable = init();

// Splits three bytes into four digit values.
constexpr void EncodeRaw(uint8_t *out4, const uint8_t *in3) {
  out4[0] = static_cast<uint8_t>(in3[0] >> 2);
  out4[1] = static_cast<uint8_t>((in3[0] << 4 | in3[1] >> 4) & 63);
  out4[2] = static_cast<uint8_t>((in3[1] << 2 | in3[2] >> 6) & 63);
  out4[3] = static_cast<uint8_t>(in3[2] & 63);
}

// Joins four digit values into three bytes. Values above 63 leave bits where they fall.
constexpr void DecodeRaw(uint8_t *out3, const uint8_t *in4) {
  out3[0] = static_cast<uint8_t>(in4[0] << 2 | (in4[1] >> 4 & 3));
  out3[1] = static_cast<uint8_t>(in4[1] << 4 | (in4[2] >> 2 & 15));
  out3[2] = static_cast<uint8_t>(in4[2] << 6 | (in4[3] & 63));
}

// A way to code the plain part of the data in large steps.
struct BlockCoder {
  const char *name;

  // Whether this processor can run it.
  bool (*isSupported)();

  // Encodes all whole groups of three bytes. Returns the number of bytes taken; four characters
  // were written for each three of them, and nothing behind those.
  size_t (*encode)(const uint8_t *data, size_t length, char *text);

  // Decodes groups of four characters up to the first group that is not plain. Returns the number
  // of characters taken; three bytes were written for each four of them. May write anything behind
  // those, but stays within the first `length` bytes of `data`.
  size_t (*decode)(const char *text, size_t length, uint8_t *data);
};

size_t encodePortable(const uint8_t *data, size_t length, char *text);
size_t decodePortable(const char *text, size_t length, uint8_t *data);

// All coders that this build has, the widest first; a null name ends them. The last one runs on
// every processor.
extern const BlockCoder blockCoders[];

// The first one that this processor can run.
const BlockCoder &widestBlockCoder();

// Coding into memory that the caller has. Encoding fills encodedSize() characters, with no NUL
// behind them. Decoding may write anywhere in decodingRoom() bytes, and returns how many of them
// count.
constexpr uint64_t encodedSize(uint64_t length) { return (length + 2) / 3 * 4; }
constexpr uint64_t decodingRoom(uint64_t length) { return length + 2; } // the last group is whole
void encodeText(const BlockCoder &coder, const uint8_t *data, size_t length, char *text);
size_t decodeText(const BlockCoder &coder, const char *text, size_t length, uint8_t *data);

// Encode() and Decode() with a given coder.
void encode(const BlockCoder &coder, const void *data, uint32_t length, char **encoded,
            uint32_t *encodedLength);
void decode(const BlockCoder &coder, const char *text, uint32_t length, unsigned char **decoded,
            uint32_t *decodedLength);

} // namespace sprig::base64

#endif

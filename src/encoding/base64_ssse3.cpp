// The vector block coder with SSSE3: 12 bytes to 16 characters a step.
#include "encoding/base64_vector.h"
#include "encoding/base64_x86.h"

namespace sprig::base64 {
namespace {

struct Ssse3 {
  using Bytes = int8_t __attribute__((vector_size(16)));

  static constexpr size_t encodeReads = 16;

  static Bytes repeat(const int8_t (&table)[16]) { return load<Ssse3>(table); }
  static Bytes groups(int32_t value) { return Bytes(_mm_set1_epi32(value)); }

  static Bytes shuffle(Bytes table, Bytes index) {
    return Bytes(_mm_shuffle_epi8(__m128i(table), __m128i(index)));
  }
  static Bytes multiplyHigh(Bytes a, Bytes b) {
    return Bytes(_mm_mulhi_epu16(__m128i(a), __m128i(b)));
  }
  static Bytes multiplyLow(Bytes a, Bytes b) {
    return Bytes(_mm_mullo_epi16(__m128i(a), __m128i(b)));
  }
  static Bytes subtractSaturated(Bytes a, int8_t b) {
    return Bytes(_mm_subs_epu8(__m128i(a), _mm_set1_epi8(b)));
  }
  static Bytes highHalves(Bytes a) { return Bytes(_mm_srli_epi32(__m128i(a), 4)) & 15; }
  static bool isAnySet(Bytes a) {
    return _mm_movemask_epi8(_mm_cmpeq_epi8(__m128i(a), _mm_setzero_si128())) != 0xFFFF;
  }

  static Bytes loadSpread(const uint8_t *data) {
    constexpr int8_t spread[16] = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};
    return shuffle(load<Ssse3>(data), repeat(spread));
  }

  // Joins four values a b c d as a*64+b and c*64+d, those as 24 bits, and puts the bytes in order.
  static void storeJoined(Bytes values, uint8_t *data) {
    constexpr int8_t inOrder[16] = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1};
    const __m128i pairs = _mm_maddubs_epi16(__m128i(values), _mm_set1_epi32(0x01400140));
    const __m128i joined = _mm_madd_epi16(pairs, _mm_set1_epi32(0x00011000));
    const Bytes bytes = shuffle(Bytes(joined), repeat(inOrder));
    memcpy(data, &bytes, sizeof(bytes));
  }
};

} // namespace

size_t encodeSsse3(const uint8_t *data, size_t length, char *text) {
  return encodeBlocks<Ssse3>(data, length, text);
}

size_t decodeSsse3(const char *text, size_t length, uint8_t *data) {
  return decodeBlocks<Ssse3>(text, length, data);
}

} // namespace sprig::base64

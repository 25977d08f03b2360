// The vector block coder with AVX2: 24 bytes to 32 characters a step.
#include "encoding/base64_vector.h"
#include "encoding/base64_x86.h"

namespace sprig::base64 {
namespace {

struct Avx2 {
  using Bytes = int8_t __attribute__((vector_size(32)));

  static constexpr size_t encodeReads = 24;

  static __m128i loadLane(const void *source) {
    return _mm_loadu_si128(static_cast<const __m128i *>(source));
  }
  static Bytes repeat(const int8_t (&table)[16]) {
    return Bytes(_mm256_broadcastsi128_si256(loadLane(table)));
  }
  static Bytes groups(int32_t value) { return Bytes(_mm256_set1_epi32(value)); }

  static Bytes shuffle(Bytes table, Bytes index) {
    return Bytes(_mm256_shuffle_epi8(__m256i(table), __m256i(index)));
  }
  static Bytes multiplyHigh(Bytes a, Bytes b) {
    return Bytes(_mm256_mulhi_epu16(__m256i(a), __m256i(b)));
  }
  static Bytes multiplyLow(Bytes a, Bytes b) {
    return Bytes(_mm256_mullo_epi16(__m256i(a), __m256i(b)));
  }
  static Bytes subtractSaturated(Bytes a, int8_t b) {
    return Bytes(_mm256_subs_epu8(__m256i(a), _mm256_set1_epi8(b)));
  }
  static Bytes highHalves(Bytes a) { return Bytes(_mm256_srli_epi32(__m256i(a), 4)) & 15; }
  static bool isAnySet(Bytes a) { return _mm256_testz_si256(__m256i(a), __m256i(a)) == 0; }

  // Loads 16 bytes for each lane, the second time from where both loads end with the step. The
  // second lane's groups therefore begin four bytes into it.
  static Bytes loadSpread(const uint8_t *data) {
    constexpr int8_t spread[32] = {1, 0, 2, 1, 4, 3, 5, 4, 7,  6,  8,  7,  10, 9,  11, 10,
                                   5, 4, 6, 5, 8, 7, 9, 8, 11, 10, 12, 11, 14, 13, 15, 14};
    const __m128i low = loadLane(data);
    const __m128i high = loadLane(data + 8);
    return shuffle(Bytes(_mm256_set_m128i(high, low)), load<Avx2>(spread));
  }

  // Joins four values a b c d as a*64+b and c*64+d, those as 24 bits, puts the bytes in order and
  // stores the second lane's behind the first one's.
  static void storeJoined(Bytes values, uint8_t *data) {
    constexpr int8_t inOrder[16] = {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1};
    const __m256i pairs = _mm256_maddubs_epi16(__m256i(values), _mm256_set1_epi32(0x01400140));
    const __m256i joined = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i lanes = __m256i(shuffle(Bytes(joined), repeat(inOrder)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(data), _mm256_castsi256_si128(lanes));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(data + 12), _mm256_extracti128_si256(lanes, 1));
  }
};

} // namespace

size_t encodeAvx2(const uint8_t *data, size_t length, char *text) {
  return encodeBlocks<Avx2>(data, length, text);
}

size_t decodeAvx2(const char *text, size_t length, uint8_t *data) {
  return decodeBlocks<Avx2>(text, length, data);
}

} // namespace sprig::base64

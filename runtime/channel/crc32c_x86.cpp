// Two instructions can compute it, each in a unit of its own that takes a new word in every cycle:
// the one made for it, and carry-less multiplication. Both are kept busy, with several parts of the
// data at once, for the result of either takes some cycles. Where the latter takes four pairs at a
// time, it is enough alone.
#include "channel/crc32c.h"

#include <cstring>

#include <immintrin.h>

#define WITH_INSTRUCTIONS __attribute__((target("sse4.2,pclmul")))
#define WITH_WIDE_INSTRUCTIONS __attribute__((target("sse4.2,pclmul,avx512f,vpclmulqdq")))

using namespace sprig::runtime;

namespace {

// As wide as the instruction's result, so that nothing has to be widened in between.
#ifdef __x86_64__
using Value = uint64_t;
#else
using Value = uint32_t;
#endif

// x to the power of n, modulo the polynomial.
constexpr int powerOfX(size_t n) {
  uint32_t value = uint32_t{1} << 31;
  for (size_t i = 0; i < n; ++i) {
    value = value >> 1 ^ ((value & 1) != 0 ? crc32cPolynomial : 0);
  }
  return static_cast<int>(value);
}

WITH_INSTRUCTIONS inline Value addWord(Value value, const void *data) {
#ifdef __x86_64__
  uint64_t bytes = 0;
  memcpy(&bytes, data, sizeof bytes);
  return _mm_crc32_u64(value, bytes);
#else
  uint32_t bytes[2];
  memcpy(bytes, data, sizeof bytes);
  return _mm_crc32_u32(_mm_crc32_u32(value, bytes[0]), bytes[1]);
#endif
}

WITH_INSTRUCTIONS inline Value addThreeWords(Value value, const uint8_t *data) {
  return addWord(addWord(addWord(value, data), data + 8), data + 16);
}

// The value behind `skipped` zero bytes: multiplied by that power of x. The product of two values
// counts as x times itself, and adding it as a word multiplies it by x to the power of 32.
template <size_t skipped> WITH_INSTRUCTIONS inline Value skip(Value value) {
  constexpr int factor = powerOfX(8 * skipped - 33);
  const __m128i product = _mm_clmulepi64_si128(_mm_cvtsi32_si128(static_cast<int>(value)),
                                               _mm_cvtsi32_si128(factor), 0);
  uint64_t bytes = 0;
  _mm_storel_epi64(reinterpret_cast<__m128i *>(&bytes), product);
  return addWord(0, &bytes);
}

// 16 bytes that stand for others `distance` bytes before: each half multiplied by that power of x,
// the first by x to the power of 64 more.
template <size_t distance> WITH_INSTRUCTIONS inline __m128i moveUp(__m128i bytes) {
  constexpr int first = powerOfX(8 * distance + 31);
  constexpr int second = powerOfX(8 * distance - 33);
  const __m128i factors = _mm_set_epi32(0, second, 0, first);
  return _mm_xor_si128(_mm_clmulepi64_si128(bytes, factors, 0x00),
                       _mm_clmulepi64_si128(bytes, factors, 0x11));
}

WITH_INSTRUCTIONS inline __m128i moveOnto(__m128i bytes, const uint8_t *data) {
  return _mm_xor_si128(moveUp<64>(bytes), _mm_loadu_si128(reinterpret_cast<const __m128i *>(data)));
}

// Takes blocks of that many rounds while there are any. In each round three parts of a block go on
// by three words, and the rest of it by four times 16 bytes.
template <size_t rounds>
WITH_INSTRUCTIONS inline Value addBlocks(Value value, const uint8_t *&data, size_t &length) {
  constexpr size_t part = rounds * 24;
  constexpr size_t rest = rounds * 64;
  for (; length >= 3 * part + rest; length -= 3 * part + rest) {
    Value second = 0;
    Value third = 0;
    __m128i a{};
    __m128i b{};
    __m128i c{};
    __m128i d{};
    const uint8_t *at = data + 3 * part;
    for (const uint8_t *const end = data + part; data < end; data += 24, at += 64) {
      value = addThreeWords(value, data);
      second = addThreeWords(second, data + part);
      third = addThreeWords(third, data + 2 * part);
      a = moveOnto(a, at);
      b = moveOnto(b, at + 16);
      c = moveOnto(c, at + 32);
      d = moveOnto(d, at + 48);
    }
    data = at;
    a = _mm_xor_si128(_mm_xor_si128(moveUp<48>(a), moveUp<32>(b)), _mm_xor_si128(moveUp<16>(c), d));
    value = skip<2 * part + rest>(value) ^ skip<part + rest>(second) ^ skip<rest>(third) ^
            addWord(addWord(0, &a), reinterpret_cast<const uint8_t *>(&a) + 8);
  }
  return value;
}

WITH_INSTRUCTIONS uint32_t addWithInstructions(uint32_t before, const uint8_t *data,
                                               size_t length) {
  Value value = addBlocks<40>(before, data, length); // three times in a message of 16 KiB
  value = addBlocks<4>(value, data, length);
  for (; length >= 8; data += 8, length -= 8) {
    value = addWord(value, data);
  }
  auto result = static_cast<uint32_t>(value);
  for (; length > 0; ++data, --length) {
    result = _mm_crc32_u8(result, *data);
  }
  return result;
}

constexpr size_t wideStep = 256; // four times 64 bytes

// As moveUp(), for four times 16 bytes, which are added to others.
template <size_t distance>
WITH_WIDE_INSTRUCTIONS inline __m512i moveUpOnto(__m512i bytes, __m512i others) {
  constexpr int first = powerOfX(8 * distance + 31);
  constexpr int second = powerOfX(8 * distance - 33);
  const __m512i factors = _mm512_set4_epi32(0, second, 0, first);
  return _mm512_xor_si512(others, _mm512_xor_si512(_mm512_clmulepi64_epi128(bytes, factors, 0x00),
                                                   _mm512_clmulepi64_epi128(bytes, factors, 0x11)));
}

// The value behind the bytes alone.
WITH_WIDE_INSTRUCTIONS inline Value valueBehind(__m512i bytes) {
  alignas(64) uint8_t words[64];
  _mm512_store_si512(words, bytes);
  Value value = 0;
  for (size_t i = 0; i < sizeof words; i += 8) {
    value = addWord(value, words + i);
  }
  return value;
}

WITH_WIDE_INSTRUCTIONS uint32_t addWithWideInstructions(uint32_t before, const uint8_t *data,
                                                        size_t length) {
  if (length < wideStep) {
    return addWithInstructions(before, data, length);
  }
  const auto load = [&](size_t at) WITH_WIDE_INSTRUCTIONS { return _mm512_loadu_si512(data + at); };
  __m512i a = _mm512_xor_si512(load(0),
                               _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(before))));
  __m512i b = load(64);
  __m512i c = load(128);
  __m512i d = load(192);
  for (data += wideStep, length -= wideStep; length >= wideStep;
       data += wideStep, length -= wideStep) {
    a = moveUpOnto<wideStep>(a, load(0));
    b = moveUpOnto<wideStep>(b, load(64));
    c = moveUpOnto<wideStep>(c, load(128));
    d = moveUpOnto<wideStep>(d, load(192));
  }
  a = moveUpOnto<192>(a, moveUpOnto<128>(b, moveUpOnto<64>(c, d)));
  return addWithInstructions(static_cast<uint32_t>(valueBehind(a)), data, length);
}

} // namespace

namespace sprig::runtime {

const Crc32cCoder crc32cCoders[] = {
    {"avx512",
     [] {
       return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("vpclmulqdq") != 0;
     },
     addWithWideInstructions},
    {"sse4.2",
     [] { return __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("pclmul") != 0; },
     addWithInstructions},
    {"portable", [] { return true; }, crc32cPortable},
    {},
};

} // namespace sprig::runtime

#include <algorithm>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <sprig/framework.h>
#include <sprig/records.h>

namespace {

constexpr int32_t thousand = 1000;
constexpr size_t textSize = 32; // two numbers of 32 bits, a newline and the NUL, and some

Int64Length *newLength(uint32_t high, uint32_t low) {
  auto *length = static_cast<Int64Length *>(mg_calloc(1, sizeof(Int64Length)));
  *length = {high, low};
  return length;
}

// Numbers that do not fit become the nearest that does.
uint32_t numberIn(const char *text) {
  constexpr int base = 10;
  const long long number = text == nullptr ? 0 : strtoll(text, nullptr, base);
  return static_cast<uint32_t>(std::clamp<int64_t>(number, INT32_MIN, UINT32_MAX));
}

} // namespace

Int64Length *int64_length_new(void) { return newLength(0, 0); }

Int64Length *int64_length_new2(const char *high, const char *low) {
  return newLength(numberIn(high), numberIn(low));
}

Int64Length *int64_length_clone(const Int64Length *length) {
  return newLength(length->high, length->low);
}

void int64_length_delete(Int64Length *length) { mg_free(length); }

int int64_length_equal(const Int64Length *a, const Int64Length *b) {
  return a->high == b->high && a->low == b->low ? 1 : 0;
}

void int64_length_add(Int64Length *length, int32_t n) {
  length->high += static_cast<uint32_t>(n / thousand);
  length->low += static_cast<uint32_t>(n % thousand);
  if (static_cast<int32_t>(length->low) >= thousand) {
    length->low -= thousand;
    ++length->high;
  }
}

char *int64_length_to_string(const Int64Length *length) {
  auto *text = static_cast<char *>(mg_calloc(1, textSize));
  static_cast<void>(
      snprintf(text, textSize, "%" PRIu32 "%03" PRIu32 "\n", length->high, length->low));
  return text;
}

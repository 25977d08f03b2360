// Which part of a character a byte is, in UTF-8 (RFC 3629).
#include <cstdint>
#include <cstring>

#include <sprig/framework.h>

namespace {

enum ByteClass { invalid = -1, single = 0, trail = 1, lead = 2 };

bool isTrail(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

// Length of the character at the start of the text, 0 when there is none.
int32_t lengthOf(const unsigned char *text) {
  const unsigned char first = text[0];
  if (first < 0x80) {
    return 1;
  }
  if (first < 0xC2 || first > 0xF4) {
    return 0;
  }
  const int32_t length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  for (int32_t i = 1; i < length; ++i) { // a NUL is no trail byte either
    if (!isTrail(text[i])) {
      return 0;
    }
  }
  const bool isOverlong = (first == 0xE0 && text[1] < 0xA0) || (first == 0xF0 && text[1] < 0x90);
  const bool isSurrogate = first == 0xED && text[1] > 0x9F;
  const bool isTooGreat = first == 0xF4 && text[1] > 0x8F;
  return isOverlong || isSurrogate || isTooGreat ? 0 : length;
}

} // namespace

int ulk_mbsbtype(const char *string, int32_t index) {
  if (string == nullptr || index < 0 ||
      strnlen(string, static_cast<size_t>(index) + 1) <= static_cast<size_t>(index)) {
    return invalid;
  }
  const auto *text = reinterpret_cast<const unsigned char *>(string);
  if (!isTrail(text[index])) {
    const int32_t length = lengthOf(text + index);
    return length == 0 ? invalid : length == 1 ? single : lead;
  }
  for (int32_t back = 1; back <= 3 && back <= index; ++back) {
    if (!isTrail(text[index - back])) {
      return lengthOf(text + index - back) > back ? trail : invalid;
    }
  }
  return invalid;
}

#include "support/encoding_reference.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace test {
namespace {

const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

unsigned valueOf(char character) {
  const char plain = static_cast<char>(character & 0x7F);
  const size_t value = digits.find(plain);
  if (plain == '=') {
    return 255;
  }
  return value == std::string::npos ? 254 : static_cast<unsigned>(value);
}

std::string join(unsigned a, unsigned b, unsigned c, unsigned d) {
  return {static_cast<char>(a << 2 | (b >> 4 & 3)), static_cast<char>(b << 4 | (c >> 2 & 15)),
          static_cast<char>(c << 6 | (d & 63))};
}

unsigned withoutPadding(unsigned value) { return value == 255 ? 0 : value; }

} // namespace

std::string referenceEncode(const std::string &data) {
  std::string text;
  for (size_t at = 0; at < data.size(); at += 3) {
    const size_t size = std::min<size_t>(3, data.size() - at);
    uint32_t bits = 0;
    for (size_t i = 0; i < 3; ++i) {
      bits = bits << 8 | (i < size ? static_cast<unsigned char>(data[at + i]) : 0U);
    }
    for (size_t i = 0; i < 4; ++i) {
      text += i <= size ? digits[bits >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

std::string referenceDecode(const std::string &text) {
  std::string filtered;
  for (const char character : text) {
    if (std::string("\a\b\t\n\v\f\r ").find(character) == std::string::npos) {
      filtered += character;
    }
  }
  std::string data;
  size_t at = 0;
  for (; at + 4 <= filtered.size(); at += 4) {
    data +=
        join(valueOf(filtered[at]), valueOf(filtered[at + 1]),
             withoutPadding(valueOf(filtered[at + 2])), withoutPadding(valueOf(filtered[at + 3])));
  }
  const size_t left = filtered.size() - at;
  if (left > 0) {
    unsigned values[4] = {};
    for (size_t i = 0; i < left; ++i) {
      values[i] = withoutPadding(valueOf(filtered[at + i]));
    }
    data += join(values[0], values[1], values[2], values[3]).substr(0, left);
  }
  return data;
}

TagRanges referenceTagRanges(const char *name, char *document, const char *limit) {
  const size_t length = strlen(name);
  char *bound = document + strlen(document) - 1;
  if (limit != nullptr && limit < bound) {
    bound = document + (limit - document);
  }
  TagRanges ranges{};
  if (document >= bound) {
    return ranges;
  }
  for (char *position = document; ranges.tagStart == nullptr;) {
    char *found = position < bound ? strstr(position, name) : nullptr;
    if (found == nullptr || found + length > bound) {
      return {};
    }
    char *end = strchr(found + length, '>');
    char *nextTag = strchr(found + length, '<');
    const bool isDelimited = strchr(" \t\n/>", found[length]) != nullptr && found[length] != '\0';
    if (found >= position + 1 && found[-1] == '<' && isDelimited && end != nullptr &&
        end <= bound && (nextTag == nullptr || end < nextTag)) {
      ranges.tagStart = found - 1;
      ranges.tagEnd = end;
    }
    position = found + length;
  }
  if (ranges.tagEnd[-1] == '/') {
    ranges.closeStart = ranges.tagStart;
    ranges.closeEnd = ranges.tagEnd;
    return ranges;
  }
  ranges.contentStart = ranges.tagEnd + 1;
  ranges.contentEnd = bound;
  for (char *position = ranges.contentStart; position < bound; position += length) {
    char *found = strstr(position, name);
    if (found == nullptr || found + length + 1 > bound) {
      break;
    }
    if (found >= position + 2 && found[-2] == '<' && found[-1] == '/' && found[length] == '>') {
      ranges.closeStart = found - 2;
      ranges.closeEnd = found + length;
      ranges.contentEnd = ranges.closeStart - 1;
      break;
    }
  }
  return ranges;
}

size_t bufferCapacity(size_t need) { return need / 4096 * 4096 + 4096; }

} // namespace test

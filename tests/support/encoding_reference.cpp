#include "support/encoding_reference.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

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

TextRange referenceDocType(char *document, const char *limit, bool isWhole) {
  const TagRanges ranges = referenceTagRanges("!DOCTYPE", document, limit);
  if (ranges.tagStart == nullptr || isWhole) {
    return {ranges.tagStart, ranges.tagEnd};
  }
  const char *bound = document + strlen(document) - 1;
  if (limit != nullptr && limit < bound) {
    bound = limit;
  }
  const auto isIn = [](const char *set, char character) {
    return character != '\0' && strchr(set, character) != nullptr;
  };
  char *first = ranges.tagStart + 10;
  while (first < bound && isIn(" \t\n", *first)) {
    ++first;
  }
  char *last = first;
  while (last < bound && !isIn(" \t\n/>", last[1])) {
    ++last;
  }
  return {first, last};
}

namespace {

bool isSame(TextRange a, TextRange b) { return a.first == b.first && a.last == b.last; }

bool agree(const char *name, char *document, char *limit, char *subject, char *subjectLimit) {
  // The reference needs a terminator and the subject must not: they may look at copies.
  const auto in = [&](char *position) {
    return position == nullptr ? nullptr : subject + (position - document);
  };
  const TagRanges expected = referenceTagRanges(name, document, limit);
  const TagRanges actual = getTagRanges(name, subject, subjectLimit);
  const bool isSameTag =
      actual.tagStart == in(expected.tagStart) && actual.tagEnd == in(expected.tagEnd) &&
      actual.contentStart == in(expected.contentStart) &&
      actual.contentEnd == in(expected.contentEnd) &&
      actual.closeStart == in(expected.closeStart) && actual.closeEnd == in(expected.closeEnd);
  const bool isSameScope = isSame(getTagScope(name, subject, subjectLimit, 0),
                                  {in(expected.contentStart), in(expected.contentEnd)}) &&
                           isSame(getTagScope(name, subject, subjectLimit, 1),
                                  {in(expected.tagStart), in(expected.closeEnd)});
  bool isSameDocType = true;
  for (const bool isWhole : {false, true}) {
    const TextRange docType = referenceDocType(document, limit, isWhole);
    isSameDocType = isSameDocType && isSame(getDocType(subject, subjectLimit, isWhole ? 1 : 0),
                                            {in(docType.first), in(docType.last)});
  }
  return isSameTag && isSameScope && isSameDocType;
}

} // namespace

bool agreeOnSearch(const std::string &text, const char *name, size_t limitAt) {
  std::string document = text;
  if (limitAt > text.size()) {
    return agree(name, document.data(), nullptr, document.data(), nullptr);
  }
  char *limit = document.data() + limitAt;
  // Up to the limit and no further, so that a sanitizer sees a step too far.
  std::vector<char> cut(text.c_str(), text.c_str() + limitAt + 1);
  return agree(name, document.data(), limit, document.data(), limit) &&
         agree(name, document.data(), limit, cut.data(), &cut.back());
}

bool agreeOnFill(const std::string &text, const char *name, size_t end, size_t room,
                 std::string content, bool isReplaced) {
  std::vector<char> bytes(text.c_str(), text.c_str() + text.size() + 1);
  bytes.resize(bytes.size() + room, 'z');
  const std::string before(bytes.begin(), bytes.end());
  char *document = bytes.data();
  const TagRanges ranges = referenceTagRanges(name, document, document + end);
  const TextRange result =
      addContentToTag({document, document + end}, {nullptr, &bytes.back()}, name,
                      {content.data(), content.data() + content.size() - 1}, isReplaced ? 1 : 0);
  const std::string after(bytes.begin(), bytes.end());
  if (ranges.contentStart == nullptr || ranges.closeEnd == nullptr) {
    return isSame(result, {nullptr, nullptr}) && after == before;
  }
  const auto contentAt = static_cast<size_t>(ranges.contentStart - document);
  const auto tailAt = static_cast<size_t>(ranges.closeStart - document);
  std::string expected = before.substr(0, contentAt) + content;
  expected += isReplaced ? "" : before.substr(contentAt, tailAt - contentAt);
  expected += before.substr(tailAt, end + 1 - tailAt);
  const bool isRoom = expected.size() <= bytes.size();
  const auto newEnd = reinterpret_cast<uintptr_t>(document) + expected.size() - 1;
  if (result.first != (isRoom ? document : nullptr) ||
      reinterpret_cast<uintptr_t>(result.last) != newEnd) {
    return false;
  }
  return isRoom ? after.compare(0, expected.size(), expected) == 0 : after == before;
}

size_t bufferCapacity(size_t need) { return need / 4096 * 4096 + 4096; }

} // namespace test

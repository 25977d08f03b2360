#include "depot/toc_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include <sprig/encoding.h>

#include "posix/error.h"

namespace sprig {
namespace {

constexpr std::array<const char *, tocElementCount> tags{
    "id", "version", "reference_count", "state", "checksum", "deadline", "location", "properties"};

constexpr char emptyText[] =
    "<<id></id><version></version><reference_count></reference_count><state></state><checksum>"
    "</checksum><deadline></deadline><location></location><properties></properties>>";

// Lengths of an element's own text, with its content at that place.
size_t openingSize(size_t element) { return strlen(tags[element]) + 2; }
size_t closingSize(size_t element) { return strlen(tags[element]) + 3; }

bool take(std::string_view &text, std::string_view part) {
  const bool isThere = text.starts_with(part);
  text.remove_prefix(isThere ? part.size() : 0);
  return isThere;
}

// Reads a text that is just as it is written, with no "<" in any content: nothing in it can be
// mistaken, so that a search for each tag would find the same.
bool readInOrder(std::string_view text, ReadContents &contents) {
  bool isInOrder = take(text, "<");
  for (size_t i = 0; isInOrder && i < tocElementCount; ++i) {
    isInOrder = take(text, "<") && take(text, tags[i]) && take(text, ">");
    const std::string_view content = text.substr(0, text.find('<'));
    contents[i] = content;
    text.remove_prefix(content.size());
    isInOrder = isInOrder && take(text, "</") && take(text, tags[i]) && take(text, ">");
  }
  return isInOrder && text == ">";
}

std::optional<std::string_view> search(const char *tag, char *text) {
  const TextRange range = getTagScope(tag, text, nullptr, 0);
  if (range.first == nullptr) {
    return std::nullopt;
  }
  return std::string_view(range.first, static_cast<size_t>(range.last + 1 - range.first));
}

bool hasNoBracket(const TocContents &contents) {
  return std::none_of(contents.begin(), contents.end(), [](std::string_view content) {
    return content.find('<') != std::string_view::npos;
  });
}

size_t sizeOf(const TocContents &contents) {
  size_t size = sizeof "<>";
  for (size_t i = 0; i < tocElementCount; ++i) {
    size += openingSize(i) + contents[i].size() + closingSize(i);
  }
  return size;
}

char *append(char *at, std::string_view part) { return std::copy(part.begin(), part.end(), at); }

void joinInto(char *text, const TocContents &contents) {
  text = append(text, "<");
  for (size_t i = 0; i < tocElementCount; ++i) {
    text = append(append(append(text, "<"), tags[i]), ">");
    text = append(text, contents[i]);
    text = append(append(append(text, "</"), tags[i]), ">");
  }
  *append(text, ">") = '\0';
}

TextRange rangeOf(std::string_view text) {
  if (text.empty()) {
    return {nullptr, nullptr};
  }
  char *first = const_cast<char *>(text.data()); // NOLINT: it is only read
  return {first, first + text.size() - 1};
}

} // namespace

ReadContents readContents(char *text) {
  ReadContents contents;
  if (!readInOrder(text, contents)) {
    std::transform(tags.begin(), tags.end(), contents.begin(),
                   [text](const char *tag) { return search(tag, text); });
  }
  return contents;
}

bool areFoundInPlace(const TocContents &contents) {
  if (hasNoBracket(contents)) {
    return true;
  }
  auto *text = static_cast<char *>(PalMemoryMalloc(sizeOf(contents)));
  if (text == nullptr) {
    return false;
  }
  joinInto(text, contents);
  bool areFound = true;
  const char *at = text + 1;
  for (size_t i = 0; i < tocElementCount; ++i) {
    const TagRanges found = getTagRanges(tags[i], text, nullptr);
    const char *closing = at + openingSize(i) + contents[i].size();
    areFound = areFound && found.tagStart == at && found.closeStart == closing;
    at = closing + closingSize(i);
  }
  PalMemoryFree(text);
  return areFound;
}

PalError TocText::write(const TocContents &contents) {
  return areFoundInPlace(contents) ? join(contents) : fillIn(contents);
}

char *TocText::handOver() {
  char *text = text_;
  text_ = nullptr;
  return text;
}

// What filling in comes to when every element is found in its place.
PalError TocText::join(const TocContents &contents) {
  if (!grow(sizeOf(contents))) {
    return outOfMemory(1);
  }
  joinInto(text_, contents);
  length_ = size_;
  return success;
}

PalError TocText::fillIn(const TocContents &contents) {
  constexpr size_t margin = 200;
  size_t size = margin;
  for (const TocElement element : {tocId, tocVersion, tocLocation, tocProperties}) {
    size += contents[element].size();
  }
  if (!grow(size)) {
    return outOfMemory(1);
  }
  memcpy(text_, emptyText, sizeof emptyText);
  text_[sizeof emptyText] = '\0';
  length_ = sizeof emptyText;
  PalError filled = success;
  for (size_t i = 0; filled.palError == PAL_OK && i < tocElementCount; ++i) {
    filled = fill(static_cast<TocElement>(i), contents[i]);
  }
  return filled;
}

// The document's range ends one byte behind its NUL, as far as the buffer has to reach.
PalError TocText::fill(TocElement element, std::string_view content) {
  const auto tryToFill = [&] {
    return addContentToTag({text_, text_ + length_}, {text_, text_ + size_ - 1}, tags[element],
                           rangeOf(content), 1);
  };
  TextRange filled = tryToFill();
  const bool hasNoRoom = filled.first == nullptr && filled.last != nullptr;
  if (hasNoRoom) {
    const auto end = reinterpret_cast<uintptr_t>(filled.last);
    if (!grow(end - reinterpret_cast<uintptr_t>(text_) + 1)) {
      return outOfMemory(2);
    }
    filled = tryToFill();
  }
  if (filled.first == nullptr) {
    return invalidParameter(hasNoRoom ? 1 : 2);
  }
  length_ = static_cast<size_t>(filled.last - filled.first);
  return success;
}

bool TocText::grow(size_t size) {
  auto *text = static_cast<char *>(PalMemoryRealloc(text_, size));
  if (text != nullptr) {
    text_ = text;
    size_ = size;
  }
  return text != nullptr;
}

} // namespace sprig

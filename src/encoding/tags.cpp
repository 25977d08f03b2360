#include <cstdint>
#include <cstring>
#include <string_view>

#include <sprig/encoding.h>

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n'; }

bool endsName(char c) { return isBlank(c) || c == '/' || c == '>'; }

// The last character that a search looks at; the document's start when there is nothing to search.
char *boundOf(char *document, const char *limit) {
  if (limit != nullptr && limit < document) {
    return document;
  }
  const size_t length = limit == nullptr
                            ? strlen(document)
                            : strnlen(document, static_cast<size_t>(limit - document) + 1);
  return length == 0 ? document : document + length - 1;
}

// The first occurrence of a name that lies before `end` with its whole length.
char *findName(std::string_view name, char *from, char *end) {
  return static_cast<char *>(
      memmem(from, static_cast<size_t>(end - from), name.data(), name.size()));
}

// The ">" of a tag whose name ends before `from`: the first one, unless a "<" comes before it.
char *findTagEnd(char *from, const char *bound) {
  while (from <= bound && *from != '<' && *from != '>') {
    ++from;
  }
  return from <= bound && *from == '>' ? from : nullptr;
}

bool findOpeningTag(std::string_view name, char *document, char *bound, TagRanges &ranges) {
  char *position = document;
  while (position < bound) {
    char *found = findName(name, position, bound);
    if (found == nullptr) {
      return false;
    }
    char *behind = found + name.size();
    if (found > position && found[-1] == '<' && endsName(*behind)) {
      ranges.tagEnd = findTagEnd(behind, bound);
      if (ranges.tagEnd != nullptr) {
        ranges.tagStart = found - 1;
        return true;
      }
    }
    position = behind;
  }
  return false;
}

// A closing tag must end before the bound. The search goes on in steps of the name's length from
// where it was, not from the occurrence it has seen. That decides which tags are met where names
// overlap or have brackets in them, so it is part of the format.
bool findClosingTag(std::string_view name, char *from, char *bound, TagRanges &ranges) {
  char *position = from;
  while (position < bound) {
    char *found = findName(name, position, bound - 1);
    if (found == nullptr) {
      return false;
    }
    const auto distance = static_cast<size_t>(found - position);
    char *behind = found + name.size();
    if (distance >= 2 && found[-2] == '<' && found[-1] == '/' && *behind == '>') {
      ranges.closeStart = found - 2;
      ranges.closeEnd = behind;
      return true;
    }
    position += (distance / name.size() + 1) * name.size();
  }
  return false;
}

// Characters in a range, none for a null or a reversed one.
ptrdiff_t lengthOf(TextRange range) {
  return range.first == nullptr || range.last < range.first ? 0 : range.last - range.first + 1;
}

// Where a document ends that grows, and whether that is at or before a last usable byte. In
// numbers, because the place may lie outside the buffer, where pointers must not go.
class NewEnd {
public:
  NewEnd(const char *end, ptrdiff_t growth)
      : end_(reinterpret_cast<uintptr_t>(end)), growth_(growth) {}

  char *position() const {
    return reinterpret_cast<char *>(address()); // NOLINT(performance-no-int-to-ptr)
  }
  bool isWithin(const char *lastUsable) const {
    const auto last = reinterpret_cast<uintptr_t>(lastUsable);
    return growth_ <= 0 ? address() <= last
                        : end_ <= last && static_cast<uintptr_t>(growth_) <= last - end_;
  }

private:
  uintptr_t address() const { return end_ + static_cast<uintptr_t>(growth_); }

  uintptr_t end_;
  ptrdiff_t growth_;
};

} // namespace

TagRanges getTagRanges(const char *name, char *document, char *limit) {
  TagRanges ranges{};
  if (name == nullptr || *name == '\0' || document == nullptr) {
    return ranges;
  }
  char *bound = boundOf(document, limit);
  if (!findOpeningTag(name, document, bound, ranges)) {
    return ranges;
  }
  if (ranges.tagEnd[-1] == '/') {
    ranges.closeStart = ranges.tagStart;
    ranges.closeEnd = ranges.tagEnd;
    return ranges;
  }
  ranges.contentStart = ranges.tagEnd + 1;
  ranges.contentEnd =
      findClosingTag(name, ranges.contentStart, bound, ranges) ? ranges.closeStart - 1 : bound;
  return ranges;
}

TextRange getTagScope(const char *name, char *document, char *limit, int outer) {
  const TagRanges ranges = getTagRanges(name, document, limit);
  return outer != 0 ? TextRange{ranges.tagStart, ranges.closeEnd}
                    : TextRange{ranges.contentStart, ranges.contentEnd};
}

TextRange getDocType(char *document, char *limit, int whole) {
  constexpr std::string_view mark = "<!DOCTYPE ";
  const TagRanges ranges = getTagRanges("!DOCTYPE", document, limit);
  if (whole != 0 || ranges.tagStart == nullptr) {
    return {ranges.tagStart, ranges.tagEnd};
  }
  const char *bound = boundOf(document, limit);
  char *first = ranges.tagStart + mark.size();
  while (first < bound && isBlank(*first)) {
    ++first;
  }
  char *last = first;
  while (last < bound && !endsName(last[1])) {
    ++last;
  }
  return {first, last};
}

TextRange addContentToTag(TextRange documentRange, TextRange bufferRange, const char *name,
                          TextRange content, int replace) {
  const TagRanges ranges = getTagRanges(name, documentRange.first, documentRange.last);
  const bool isFillable = ranges.contentStart != nullptr && ranges.closeEnd != nullptr &&
                          ranges.closeEnd <= documentRange.last;
  if (!isFillable) {
    return {nullptr, nullptr};
  }
  char *moved = replace != 0 ? ranges.closeStart : ranges.contentStart;
  const ptrdiff_t growth = lengthOf(content) - (moved - ranges.contentStart);
  const NewEnd newEnd(documentRange.last, growth);
  if (!newEnd.isWithin(bufferRange.last)) {
    return {nullptr, newEnd.position()};
  }
  PalMemoryMove(ranges.contentStart + lengthOf(content), moved, documentRange.last - moved + 1);
  PalMemoryMove(ranges.contentStart, content.first, lengthOf(content));
  return {documentRange.first, newEnd.position()};
}

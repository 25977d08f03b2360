// Wildcard patterns.
//
// What stands between two stars takes a fixed number of bytes of the text, and each such segment is
// compared on its own: the first place where it fits leaves the most text to what follows, and no
// later place can do better. So only the last star is ever tried again, and time stays bounded by
// the product of the lengths.
#include <cstring>

#include <sprig/files.h>
#include <sprig/framework.h>

namespace {

enum Result { matches = 0, differs = 1, isNull = -1, isMalformed = -2 };

enum ByteClass { singleByte = 0, leadByte = 2 };

// How a comparison of a segment ended.
enum class Outcome { matched, reachedStar, differed, textEnded, malformed };

// Where a comparison of a segment is. Multibyte characters are told apart from the segment's start.
struct Walk {
  const char *segment;
  const char *pattern;
  const char *text;
};

bool isOfClass(ByteClass kind, const char *segment, const char *place) {
  return ulk_mbsbtype(segment, static_cast<int32_t>(place - segment)) == kind;
}

struct Set {
  const char *end; // what follows; null where it is not closed
  bool isNegated;
  bool hasByte;
};

// Reads the set that begins at a place of the segment, and looks for a byte in it.
Set readSet(const char *segment, const char *start, unsigned char byte) {
  const char *item = start + 1;
  Set set{nullptr, *item == '^', false};
  item += set.isNegated ? 1 : 0;
  while (*item != ']') {
    if (*item == '\0') {
      return set;
    }
    if (item[1] == '-') {
      if (item[2] == '\0') {
        return set;
      }
      set.hasByte |= static_cast<unsigned char>(item[0]) <= byte &&
                     byte <= static_cast<unsigned char>(item[2]);
      item += 3;
      continue;
    }
    const bool isEscape = item[0] == '\\' && item[1] == ']' && isOfClass(singleByte, segment, item);
    item += isEscape ? 1 : 0;
    set.hasByte |= static_cast<unsigned char>(*item) == byte;
    ++item;
  }
  set.end = item + 1;
  return set;
}

// The text has ended before the pattern, or with it.
Outcome outcomeAtEndOfText(const Walk &walk) {
  if (walk.pattern[0] == '\0' || (walk.pattern[0] == '*' && walk.pattern[1] == '\0')) {
    return Outcome::matched;
  }
  return walk.pattern[0] == '[' && readSet(walk.segment, walk.pattern, 0).end == nullptr
             ? Outcome::malformed
             : Outcome::textEnded;
}

// Compares until the next star or the end of either. A set that has matched counts for all sets
// that follow in the segment.
Outcome compareSegment(Walk &walk) {
  bool hasMatchedSet = false;
  for (; *walk.pattern != '\0' && *walk.text != '\0'; ++walk.text) {
    switch (*walk.pattern) {
    case '*':
      return Outcome::reachedStar;
    case '?':
      ++walk.pattern;
      break;
    case '[': {
      const Set set = readSet(walk.segment, walk.pattern, static_cast<unsigned char>(*walk.text));
      if (set.end == nullptr) {
        return Outcome::malformed;
      }
      hasMatchedSet |= set.hasByte;
      if (hasMatchedSet == set.isNegated) {
        return Outcome::differed;
      }
      walk.pattern = set.end;
      break;
    }
    case '\\':
      if (walk.pattern[1] != '\0' && !isOfClass(leadByte, walk.segment, walk.pattern)) {
        ++walk.pattern;
      }
      [[fallthrough]];
    default:
      if (*walk.pattern++ != *walk.text) {
        return Outcome::differed;
      }
    }
  }
  return *walk.text != '\0' ? Outcome::differed : outcomeAtEndOfText(walk);
}

bool isPlain(char byte) { return byte != '*' && byte != '?' && byte != '[' && byte != '\\'; }

// Compares the segment at the walk's place with the text from each of its bytes on, until it fits.
Outcome findSegment(Walk &walk) {
  const char *const segment = walk.pattern;
  const bool beginsPlain = isPlain(*segment);
  Outcome outcome = Outcome::differed;
  for (const char *place = walk.text; *place != '\0'; ++place) {
    if (beginsPlain) {
      place = strchr(place, *segment);
      if (place == nullptr) {
        return Outcome::textEnded;
      }
    }
    walk = {segment, segment, place};
    outcome = compareSegment(walk);
    if (outcome != Outcome::differed) {
      break; // also where it can fit nowhere else
    }
  }
  return outcome;
}

} // namespace

int match(const char *pattern, const char *text) {
  if (pattern == nullptr || text == nullptr) {
    return isNull;
  }
  Walk walk{pattern, pattern, text};
  Outcome outcome = compareSegment(walk);
  if (outcome == Outcome::malformed) {
    return isMalformed;
  }
  while (outcome == Outcome::reachedStar) {
    ++walk.pattern;
    if (*walk.pattern == '\0') {
      return matches;
    }
    outcome = findSegment(walk);
  }
  return outcome == Outcome::matched ? matches : differs;
}

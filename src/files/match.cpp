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

  bool isAt(ByteClass kind) const {
    return ulk_mbsbtype(segment, static_cast<int32_t>(pattern - segment)) == kind;
  }
};

struct Set {
  bool isClosed;
  bool isNegated;
  bool hasByte;
};

// Reads the set at the walk's place, which moves behind it.
Set readSet(Walk &walk) {
  const auto byte = static_cast<unsigned char>(*walk.text);
  const char *&item = walk.pattern;
  ++item;
  Set set{false, *item == '^', false};
  item += set.isNegated ? 1 : 0;
  while (*item != '\0' && *item != ']') {
    if (item[0] == '\\' && item[1] == ']' && walk.isAt(singleByte)) {
      ++item;
    } else if (item[1] == '-') {
      if (item[2] == '\0') {
        return set;
      }
      set.hasByte |= static_cast<unsigned char>(item[0]) <= byte &&
                     byte <= static_cast<unsigned char>(item[2]);
      item += 3;
      continue;
    }
    set.hasByte |= static_cast<unsigned char>(*item) == byte;
    ++item;
  }
  set.isClosed = *item == ']';
  item += set.isClosed ? 1 : 0;
  return set;
}

// The text has ended before the pattern, or with it.
Outcome outcomeAtEndOfText(Walk &walk) {
  if (walk.pattern[0] == '\0' || (walk.pattern[0] == '*' && walk.pattern[1] == '\0')) {
    return Outcome::matched;
  }
  return walk.pattern[0] == '[' && !readSet(walk).isClosed ? Outcome::malformed
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
      const Set set = readSet(walk);
      if (!set.isClosed) {
        return Outcome::malformed;
      }
      hasMatchedSet |= set.hasByte;
      if (hasMatchedSet == set.isNegated) {
        return Outcome::differed;
      }
      break;
    }
    case '\\':
      if (walk.pattern[1] != '\0' && !walk.isAt(leadByte)) {
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

// Compares the segment at the walk's place with the text from each of its bytes on, until it fits.
Outcome findSegment(Walk &walk) {
  const char *const segment = walk.pattern;
  const bool beginsPlain = strchr("*?[\\", *segment) == nullptr;
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

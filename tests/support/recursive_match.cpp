#include "support/recursive_match.h"

#include <cstdint>

#include <sprig/framework.h>

namespace {

constexpr int matches = 0;
constexpr int differs = 1;
constexpr int nothing = -1;
constexpr int malformed = -2;

uint8_t unsignedByte(char byte) { return static_cast<uint8_t>(byte); }

int classOf(const char *pattern, const char *at) {
  return ulk_mbsbtype(pattern, static_cast<int32_t>(at - pattern));
}

// Goes over a set from behind its "[" to behind its "]". Returns null when it is malformed. Sets
// `isMember` when the byte is in it, and else leaves it as it is.
const char *behindSet(const char *pattern, const char *at, char byte, bool &isMember,
                      bool &isNegated) {
  isNegated = *at == '^';
  if (isNegated) {
    ++at;
  }
  while (*at != ']') {
    if (*at == '\0') {
      return nullptr;
    }
    if (at[0] == '\\' && at[1] == ']' && classOf(pattern, at) == 0) {
      isMember = isMember || byte == ']';
      at += 2;
    } else if (at[1] == '-') {
      if (at[2] == '\0') {
        return nullptr;
      }
      isMember = isMember || (unsignedByte(byte) >= unsignedByte(at[0]) &&
                              unsignedByte(byte) <= unsignedByte(at[2]));
      at += 3;
    } else {
      isMember = isMember || byte == at[0];
      at += 1;
    }
  }
  return at + 1;
}

bool beginsWithMalformedSet(const char *pattern, const char *at) {
  bool isMember = false;
  bool isNegated = false;
  return *at == '[' && behindSet(pattern, at + 1, '\0', isMember, isNegated) == nullptr;
}

// From a star on.
int matchStar(const char *star, const char *text) {
  const char *rest = star + 1;
  if (*rest == '\0') {
    return matches;
  }
  for (; *text != '\0'; ++text) {
    if (test::recursiveMatch(rest, text) == matches) {
      return matches;
    }
  }
  return differs;
}

// Where the walk has stopped, because one of them has no bytes left.
int matchEnd(const char *pattern, const char *at, const char *text) {
  if (*text != '\0') {
    return differs;
  }
  if (at[0] == '\0' || (at[0] == '*' && at[1] == '\0')) {
    return matches;
  }
  return beginsWithMalformedSet(pattern, at) ? malformed : differs;
}

} // namespace

int test::recursiveMatch(const char *pattern, const char *text) {
  if (pattern == nullptr || text == nullptr) {
    return nothing;
  }
  bool isMember = false; // for the whole call, not for each set
  const char *at = pattern;
  for (; *at != '\0' && *text != '\0'; ++text) {
    if (*at == '*') {
      return matchStar(at, text);
    }
    if (*at == '?') {
      ++at;
    } else if (*at == '[') {
      bool isNegated = false;
      at = behindSet(pattern, at + 1, *text, isMember, isNegated);
      if (at == nullptr) {
        return malformed;
      }
      if (isMember == isNegated) {
        return differs;
      }
    } else {
      if (at[0] == '\\' && at[1] != '\0' && classOf(pattern, at) != 2) {
        ++at;
      }
      if (*at != *text) {
        return differs;
      }
      ++at;
    }
  }
  return matchEnd(pattern, at, text);
}

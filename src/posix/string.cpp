#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include <sprig/pal.h>

namespace {

// Compares two strings, with nulls put in the layer's order: a null first string is greater,
// whatever the second one is.
template <typename Compare> int compareOrNull(const char *s1, const char *s2, Compare compare) {
  if (s1 == nullptr) {
    return 1;
  }
  return s2 == nullptr ? -1 : compare(s1, s2);
}

// The length of a run, where a null string has none and a null set of characters is empty.
template <typename Span> ssize_t spanOrNull(const char *s1, const char *s2, Span span) {
  return s1 == nullptr ? -1 : static_cast<ssize_t>(span(s1, s2 == nullptr ? "" : s2));
}

} // namespace

int PalStringICmp(const char *s1, const char *s2) { return compareOrNull(s1, s2, strcasecmp); }

int PalStringNICmp(const char *s1, const char *s2, size_t n) {
  return compareOrNull(s1, s2, [n](auto *a, auto *b) { return strncasecmp(a, b, n); });
}

int PalStringCmp(const char *s1, const char *s2) { return compareOrNull(s1, s2, strcmp); }

int PalStringNCmp(const char *s1, const char *s2, size_t n) {
  return compareOrNull(s1, s2, [n](auto *a, auto *b) { return strncmp(a, b, n); });
}

char *PalStringCat(char *s1, const char *s2) {
  return s1 == nullptr || s2 == nullptr ? s1 : strcat(s1, s2);
}

char *PalStringNCat(char *s1, const char *s2, size_t n) {
  return s1 == nullptr || s2 == nullptr ? s1 : strncat(s1, s2, n);
}

char *PalStringChr(const char *s, int c) {
  return s == nullptr ? nullptr : const_cast<char *>(strchr(s, c));
}

char *PalStringRChr(const char *s, int c) {
  return s == nullptr ? nullptr : const_cast<char *>(strrchr(s, c));
}

char *PalStringCpy(char *destination, const char *source) {
  return destination == nullptr ? nullptr : strcpy(destination, source == nullptr ? "" : source);
}

char *PalStringNCpy(char *destination, const char *source, size_t n) {
  if (source == nullptr) {
    return PalStringCpy(destination, source);
  }
  return destination == nullptr ? nullptr : strncpy(destination, source, n);
}

char *PalStringDup(const char *s) {
  if (s == nullptr) {
    return nullptr;
  }
  const size_t size = strlen(s) + 1;
  void *copy = PalMemoryMalloc(size);
  return copy == nullptr ? nullptr : static_cast<char *>(memcpy(copy, s, size));
}

size_t PalStringLen(const char *s) { return s == nullptr ? 0 : strlen(s); }

char *PalStringStr(const char *s1, const char *s2) {
  return s1 == nullptr || s2 == nullptr ? nullptr : const_cast<char *>(strstr(s1, s2));
}

char *PalStringStrpbrk(const char *s1, const char *s2) {
  return s1 == nullptr || s2 == nullptr ? nullptr : const_cast<char *>(strpbrk(s1, s2));
}

ssize_t PalStringStrcspn(const char *s1, const char *s2) { return spanOrNull(s1, s2, strcspn); }

ssize_t PalStringStrspn(const char *s1, const char *s2) { return spanOrNull(s1, s2, strspn); }

int PalStringSprintf(char *string, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int count = vsprintf(string, format, arguments);
  va_end(arguments);
  return count;
}

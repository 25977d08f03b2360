#include "depot/file_names.h"

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>

namespace sprig {
namespace {

// A path that the system has no form for stays as it is, and will not be found.
char *localized(char *path) {
  PalPathLocalize(path);
  return path;
}

} // namespace

char *joined(std::initializer_list<std::string_view> texts) {
  size_t length = 0;
  for (const std::string_view text : texts) {
    length += text.size();
  }
  auto *result = static_cast<char *>(PalMemoryMalloc(length + 1));
  if (result == nullptr) {
    return nullptr;
  }
  char *at = result;
  for (const std::string_view text : texts) {
    memcpy(at, text.data(), text.size());
    at += text.size();
  }
  *at = '\0';
  return result;
}

char *bucketName(uint32_t bucket) {
  char *name = joined({"00000000"});
  for (size_t digit = bucketNameLength; name != nullptr && digit > 0; bucket /= 10) {
    name[--digit] = static_cast<char>('0' + bucket % 10);
  }
  return name;
}

long indexInName(const char *name) { return strtol(name + bucketNameLength + 1, nullptr, 10); }

char *pathOf(const char *directory, const char *name) {
  return localized(joined({directory, "/", name}));
}

char *pathOf(const char *directory, const char *bucket, int32_t index, const char *extension) {
  std::array<char, sizeof "-2147483648"> digits;
  const auto [end, error] = std::to_chars(digits.begin(), digits.end(), index);
  const std::string_view number(digits.begin(), static_cast<size_t>(end - digits.begin()));
  return localized(joined({directory, "/", bucket, ".", number, ".", extension}));
}

} // namespace sprig

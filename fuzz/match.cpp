// Any pattern and any text, each up to a NUL: short ones match as they do in the plainest form,
// which takes for ever on long ones; those are made by repetition, and only have to end.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <sprig/files.h>

#include "support/recursive_match.h"

namespace {

constexpr std::ptrdiff_t fewStars = 4;
constexpr size_t shortText = 32;
constexpr size_t repetitions = 16;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

std::string upToNul(const std::string &bytes, size_t start) {
  return bytes.substr(start, bytes.find('\0', start) - start);
}

std::string repeated(const std::string &text) {
  std::string result;
  for (size_t i = 0; i < repetitions; ++i) {
    result += text;
  }
  return result;
}

bool isShort(const std::string &pattern, const std::string &text) {
  return text.size() <= shortText && std::count(pattern.begin(), pattern.end(), '*') <= fewStars;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string bytes(reinterpret_cast<const char *>(data), size);
  const std::string pattern = upToNul(bytes, 0);
  const std::string text = upToNul(bytes, std::min(pattern.size() + 1, bytes.size()));
  const int result = match(pattern.c_str(), text.c_str());
  expect(result == 0 || result == 1 || result == -2);
  if (isShort(pattern, text)) {
    expect(result == test::recursiveMatch(pattern.c_str(), text.c_str()));
  }
  const int ofLong = match(repeated(pattern).c_str(), repeated(text).c_str());
  expect(ofLong == 0 || ofLong == 1 || ofLong == -2);
  return 0;
}

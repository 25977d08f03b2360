#include "output.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <iostream>
#include <limits>

#include <unistd.h>

#include "failure.h"

namespace tool {
namespace {

// The smallest number that UTF-8 writes with so many bytes: what is smaller is written with fewer.
constexpr std::array<char32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};

// The number of bytes of the letter that text begins with; 1 also for a byte that is no UTF-8.
size_t letterSize(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const size_t size = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF8 ? 4 : 1;
  if (size == 1 || size > text.size()) {
    return 1;
  }
  char32_t number = first & (0x7FU >> size);
  for (const char next : text.substr(1, size - 1)) {
    if ((static_cast<unsigned char>(next) & 0xC0U) != 0x80) {
      return 1;
    }
    number = number << 6U | (static_cast<unsigned char>(next) & 0x3FU);
  }
  const bool isSurrogate = number >= 0xD800 && number < 0xE000;
  return number < smallest[size] || isSurrogate || number > 0x10FFFF ? 1 : size;
}

// Those of ASCII, and 0x80 to 0x9F, be it as UTF-8 or as bytes of their own.
bool isControl(std::string_view letter) {
  const auto last = static_cast<unsigned char>(letter.back());
  const bool isFurther = last >= 0x80 && last < 0xA0;
  return last < ' ' || last == 0x7F ||
         (isFurther && (letter.size() == 1 || (letter.size() == 2 && letter[0] == '\xC2')));
}

} // namespace

bool isTerminal(int descriptor) { return isatty(descriptor) == 1; }

std::string shownSize(uint64_t bytes) {
  static constexpr std::array units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  if (bytes < 1024) {
    return std::to_string(bytes) + " B";
  }
  auto value = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  while (value >= 1023.95 && unit + 1 < units.size()) {
    value /= 1024;
    ++unit;
  }
  std::array<char, 32> text{};
  (void)snprintf(text.data(), text.size(), "%.1f %s", value, units[unit]);
  return text.data();
}

std::string shownDuration(std::chrono::seconds duration) {
  const long long seconds = duration.count();
  std::array<char, 64> text{};
  if (seconds < 60) {
    (void)snprintf(text.data(), text.size(), "%lld s", seconds);
  } else if (seconds < 3600) {
    (void)snprintf(text.data(), text.size(), "%lld min %02lld s", seconds / 60, seconds % 60);
  } else {
    (void)snprintf(text.data(), text.size(), "%lld h %02lld min", seconds / 3600,
                   seconds / 60 % 60);
  }
  return text.data();
}

std::string counted(uint64_t count, const std::string &thing) {
  return std::to_string(count) + ' ' + thing + (count == 1 ? "" : "s");
}

std::chrono::seconds parseDuration(const std::string &text) {
  static constexpr std::string_view letters = "smhdw";
  static constexpr std::array<int64_t, 5> lengths{1, 60, 3600, 86400, 604800};
  int64_t number = 0;
  const char *end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, number);
  const size_t unit = next == end ? 0 : letters.find(*next);
  const bool isWhole = next == end || next + 1 == end;
  if (error != std::errc() || number < 0 || unit == std::string_view::npos || !isWhole ||
      number > std::numeric_limits<int32_t>::max() / lengths[unit]) {
    throw Failure("\"" + text + "\" is no duration", "write 90s, 15m, 12h, 30d or 4w", wrongUsage);
  }
  return std::chrono::seconds(number * lengths[unit]);
}

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::string_view letter = text.substr(0, letterSize(text));
    shown += isControl(letter) ? "?" : letter;
    text.remove_prefix(letter.size());
  }
  return shown;
}

void warn(std::string_view text) { std::cerr << "warning: " << printable(text) << '\n'; }

} // namespace tool

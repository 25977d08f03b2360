#include "output.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>

#include <unistd.h>

#include "failure.h"

namespace tool {

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
  std::string shown(text);
  for (size_t i = 0; i < shown.size(); ++i) {
    const auto octet = static_cast<unsigned char>(shown[i]);
    const auto next = static_cast<unsigned char>(i + 1 < shown.size() ? shown[i + 1] : 0);
    if (octet < ' ' || octet == 0x7F) {
      shown[i] = '?';
    } else if (octet == 0xC2 && next >= 0x80 && next < 0xA0) { // further ones, in UTF-8
      shown.replace(i, 2, "?");
    }
  }
  return shown;
}

} // namespace tool

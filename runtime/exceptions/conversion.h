// The conversions of message texts: "%1$s", "%2$d", "%1$t{%H:%M}", "%%".
#ifndef SPRIG_RUNTIME_EXCEPTIONS_CONVERSION_H
#define SPRIG_RUNTIME_EXCEPTIONS_CONVERSION_H

#include <cstddef>
#include <string_view>

namespace sprig::runtime {

// Texts name no more arguments than this; what looks like a conversion of one is plain text.
inline constexpr unsigned mostArguments = 100;

struct Conversion {
  std::string_view whole;  // as it stands in the text
  unsigned position = 0;   // of its argument, from 1; 0 for "%%"
  char letter = '\0';      // what to do with it
  std::string_view format; // of a time: how to show it
};

// The conversions of a text, from left to right. One that names no position takes the argument
// behind that of the last such one. What is not understood is plain text.
class Conversions {
public:
  explicit Conversions(std::string_view text) : rest_(text) {}

  // Finds the next one, and the plain text before it. False at the end of the text; then only the
  // plain text is set.
  bool next(std::string_view &plain, Conversion &conversion);

private:
  bool parse(std::string_view text, Conversion &conversion);

  std::string_view rest_;
  unsigned unnamed_ = 0;
};

} // namespace sprig::runtime

#endif

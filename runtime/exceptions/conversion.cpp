#include "exceptions/conversion.h"

using namespace sprig::runtime;

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The number at the start of a text, which is taken off; mostArguments + 1 for all greater ones.
unsigned takeNumber(std::string_view &text) {
  unsigned number = 0;
  while (!text.empty() && isDigit(text.front())) {
    number = number * 10 + static_cast<unsigned>(text.front() - '0');
    number = number > mostArguments ? mostArguments + 1 : number;
    text.remove_prefix(1);
  }
  return number;
}

// "1$" at the start of a text, which is taken off; 0 when it is not there.
unsigned takePosition(std::string_view &text) {
  std::string_view rest = text;
  const unsigned number = takeNumber(rest);
  if (number == 0 || rest.empty() || rest.front() != '$') {
    return 0;
  }
  rest.remove_prefix(1);
  text = rest;
  return number;
}

// "{...}" at the start of a text, which is taken off.
std::string_view takeBraces(std::string_view &text) {
  const size_t end = text.find('}');
  if (text.empty() || text.front() != '{' || end == std::string_view::npos) {
    return {};
  }
  const std::string_view content = text.substr(1, end - 1);
  text.remove_prefix(end + 1);
  return content;
}

} // namespace

bool Conversions::parse(std::string_view text, Conversion &conversion) {
  std::string_view rest = text.substr(1);
  conversion = {};
  if (!rest.empty() && rest.front() == '%') {
    conversion.letter = '%';
    conversion.whole = text.substr(0, 2);
    return true;
  }
  unsigned position = takePosition(rest);
  const bool isNamed = position > 0;
  if (!isNamed) {
    position = unnamed_ + 1;
  }
  if (rest.empty() || std::string_view("diuoxXcstM").find(rest.front()) == std::string_view::npos ||
      position > mostArguments) {
    return false;
  }
  unnamed_ = isNamed ? unnamed_ : position;
  conversion.position = position;
  conversion.letter = rest.front();
  rest.remove_prefix(1);
  if (conversion.letter == 't') {
    conversion.format = takeBraces(rest);
  }
  conversion.whole = text.substr(0, text.size() - rest.size());
  return true;
}

bool Conversions::next(std::string_view &plain, Conversion &conversion) {
  size_t at = rest_.find('%');
  while (at != std::string_view::npos && !parse(rest_.substr(at), conversion)) {
    at = rest_.find('%', at + 1);
  }
  plain = rest_.substr(0, at);
  if (at == std::string_view::npos) {
    rest_ = {};
    return false;
  }
  rest_.remove_prefix(at + conversion.whole.size());
  return true;
}

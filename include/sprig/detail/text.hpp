/**
 * @file
 * @brief sprig::Text, sprig::match(). Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_TEXT_HPP
#define SPRIG_DETAIL_TEXT_HPP

#include <stdexcept>
#include <string>
#include <string_view>

#include <sprig/detail/error.hpp>
#include <sprig/files.h>

namespace sprig {

/**
 * Text as the library's C functions take it. It is a parameter's type: text of any kind converts to
 * it, and is borrowed where that is possible.
 *
 * Text with a NUL inside, which C would cut, is refused with std::invalid_argument, and so is a
 * null pointer.
 */
class Text {
public:
  /** @param text  text that ends with a NUL. */
  Text(const char *text) : text_(text) {
    if (text == nullptr) {
      throw std::invalid_argument("a null pointer for text");
    }
  }
  /** @param text  text. */
  Text(const std::string &text) : text_(text.c_str()) { refuse_nul(text); }
  /** @param text  text, which is copied. */
  Text(std::string_view text) : copy_(text), text_(copy_.c_str()) { refuse_nul(text); }
  Text(const Text &) = delete;
  Text &operator=(const Text &) = delete;
  ~Text() = default;

  /** @return the text, with a NUL at its end. */
  const char *c_str() const noexcept { return text_; }

private:
  static void refuse_nul(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) {
      throw std::invalid_argument("text with a NUL inside");
    }
  }

  std::string copy_;
  const char *text_;
};

/**
 * Compares text with a wildcard pattern, as the C function of the same name does. A set that is not
 * closed is refused with std::invalid_argument where that finds it.
 *
 * @param pattern  the pattern.
 * @param text     the text.
 * @return         whether it matches.
 */
inline bool match(const Text &pattern, const Text &text) {
  const int result = call([&] { return ::match(pattern.c_str(), text.c_str()); });
  if (result < 0) {
    throw std::invalid_argument(std::string("a pattern with an open set: ") + pattern.c_str());
  }
  return result == 0;
}

} // namespace sprig

#endif

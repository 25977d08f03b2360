// The text of a TOC file: eight elements, one behind the other, inside one more pair of brackets.
#ifndef SPRIG_DEPOT_TOC_TEXT_H
#define SPRIG_DEPOT_TOC_TEXT_H

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include <sprig/pal.h>

namespace sprig {

// In the order in which they stand in the text.
enum TocElement : size_t {
  tocId,
  tocVersion,
  tocReferenceCount,
  tocState,
  tocChecksum,
  tocDeadline,
  tocLocation,
  tocProperties,
  tocElementCount
};

// What stands in each element.
using TocContents = std::array<std::string_view, tocElementCount>;

// The same as read; nothing for an element that the text does not have.
using ReadContents = std::array<std::optional<std::string_view>, tocElementCount>;
ReadContents readContents(char *text);

// Whether contents that look like tags themselves leave every element where a search finds it.
bool areFoundInPlace(const TocContents &contents);

// A text that is being written.
class TocText {
public:
  TocText() = default;
  ~TocText() { PalMemoryFree(text_); }
  TocText(const TocText &) = delete;
  TocText &operator=(const TocText &) = delete;

  // Success; {12, 0, 1} or {12, 0, 2} without memory; {21, 0, 1} or {21, 0, 2} when the contents
  // hide an element from those that fill it in.
  PalError write(const TocContents &contents);

  // The length counts the NUL.
  size_t length() const { return length_; }
  char *handOver();

private:
  PalError join(const TocContents &contents);
  PalError fillIn(const TocContents &contents);
  PalError fill(TocElement element, std::string_view content);
  bool grow(size_t size);

  char *text_ = nullptr;
  size_t size_ = 0;
  size_t length_ = 0;
};

} // namespace sprig

#endif

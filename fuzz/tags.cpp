// Tag markup with any text: every operation gives what its plainest form gives. The first bytes say
// which name is looked for, where the limit lies and how much room there is; then come the content
// to fill in, up to a NUL, and the document, up to the next.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/encoding_reference.h"

namespace {

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

std::string upToNul(const std::string &bytes, size_t start) {
  return bytes.substr(start, bytes.find('\0', start) - start);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *const names[] = {"id", "a", "!DOCTYPE", "d>", "</a", "properties"};
  if (size < 3) {
    return 0;
  }
  const char *name = names[data[0] % std::size(names)];
  const size_t place = data[1];
  const size_t room = data[2];
  const std::string rest(reinterpret_cast<const char *>(data) + 3, size - 3);
  const std::string content = upToNul(rest, 0);
  const std::string text = upToNul(rest, std::min(content.size() + 1, rest.size()));
  expect(test::agreeOnSearch(text, name, place));
  for (const bool isReplaced : {false, true}) {
    expect(test::agreeOnFill(text, name, std::min(place, text.size()), room, content, isReplaced));
  }
  return 0;
}

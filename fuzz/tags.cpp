// Tag markup with any text. The first bytes say which name is looked for, where the limit lies and
// how much room there is; then come the content to fill in, up to a NUL, and the document.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sprig/encoding.h>

#include "support/encoding_reference.h"

namespace {

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

void find(const char *name, const std::string &text, size_t limitAt) {
  std::vector<char> bytes(text.c_str(), text.c_str() + text.size() + 1);
  char *document = bytes.data();
  char *limit = limitAt > text.size() ? nullptr : document + limitAt;
  const TagRanges expected = test::referenceTagRanges(name, document, limit);
  const TagRanges actual = getTagRanges(name, document, limit);
  expect(memcmp(&actual, &expected, sizeof(actual)) == 0);
  getTagScope(name, document, limit, 0);
  getTagScope(name, document, limit, 1);
  getDocType(document, limit, 0);
  getDocType(document, limit, 1);

  if (limit != nullptr) { // up to the limit, a document needs no terminator
    bytes.resize(limitAt + 1);
    bytes.shrink_to_fit();
    getTagRanges(name, bytes.data(), &bytes.back());
    getDocType(bytes.data(), &bytes.back(), 0);
  }
}

void fill(const char *name, const std::string &text, std::string content, size_t room,
          int replace) {
  std::vector<char> bytes(text.c_str(), text.c_str() + text.size() + 1);
  bytes.resize(bytes.size() + room);
  const TextRange document{bytes.data(), bytes.data() + text.size()};
  const TextRange buffer{nullptr, bytes.data() + bytes.size() - 1};
  const TextRange inserted{content.data(), content.data() + content.size() - 1};
  const TextRange result = addContentToTag(document, buffer, name, inserted, replace);
  expect(result.first == nullptr || *result.last == '\0');
  expect(result.first != nullptr || result.last == nullptr || result.last > buffer.last);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const char *const names[] = {"id", "a", "!DOCTYPE", "d>", "</a", "properties"};
  if (size < 3) {
    return 0;
  }
  const char *name = names[data[0] % std::size(names)];
  const char *rest = reinterpret_cast<const char *>(data) + 3;
  const std::string content(rest, strnlen(rest, size - 3));
  const size_t skipped = 3 + content.size() + 1;
  // As a C string: the document ends at its first NUL.
  const std::string text =
      size > skipped ? std::string(rest + content.size() + 1, size - skipped).c_str() : content;
  find(name, text, data[1]);
  fill(name, text, content, data[2], data[1] % 2);
  return 0;
}

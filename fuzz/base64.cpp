// Base64 with any bytes: every block coder gives what the plainest form gives, and what is encoded
// decodes to itself.
#include "encoding/base64.h"

#include <cstdlib>
#include <string>

#include "support/encoding_reference.h"

namespace base64 = sprig::base64;

namespace {

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

std::string take(void *buffer, uint32_t length) {
  std::string result(static_cast<const char *>(buffer), length);
  PalMemoryFree(buffer);
  return result;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::string input(reinterpret_cast<const char *>(data), size);
  const auto length = static_cast<uint32_t>(size);
  for (const auto *coder = base64::blockCoders; coder->name != nullptr; ++coder) {
    if (!coder->isSupported() || size == 0) {
      continue;
    }
    char *text = nullptr;
    unsigned char *decoded = nullptr;
    uint32_t count = 0;
    // From the fuzzer's own bytes: a sanitizer sees a step behind them.
    base64::decode(*coder, reinterpret_cast<const char *>(data), length, &decoded, &count);
    expect(take(decoded, count) == test::referenceDecode(input));

    base64::encode(*coder, data, length, &text, &count);
    const std::string encoded = take(text, count);
    expect(encoded == test::referenceEncode(input));

    base64::decode(*coder, encoded.data(), static_cast<uint32_t>(encoded.size()), &decoded, &count);
    expect(take(decoded, count).substr(0, size) == input);
  }
  return 0;
}

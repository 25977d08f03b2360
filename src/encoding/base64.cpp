#include "encoding/base64.h"

#include <cstring>
#include <limits>

#include <sprig/encoding.h>

namespace sprig::base64 {
namespace {

struct Base64Quantum {
  uint8_t data[4]; // three bytes, or four digit values
  uint8_t size;    // how many of them are in use
};

// A buffer for what a call hands out, released by the caller with PalMemoryFree(). Its capacity is
// part of the contract: always more than the need, in steps of 4096.
class ResultBuffer {
public:
  explicit ResultBuffer(uint64_t need) : capacity_(need - need % step + step) {
    if (need > 0 && capacity_ <= std::numeric_limits<ptrdiff_t>::max()) {
      data_ = PalMemoryMalloc(static_cast<size_t>(capacity_));
    }
  }

  template <typename Byte> Byte *as() const { return static_cast<Byte *>(data_); }

  // Clears what lies behind a result of the given length, and only that.
  void clearBehind(size_t length) const {
    memset(as<char>() + length, 0, static_cast<size_t>(capacity_) - length);
  }

private:
  static constexpr uint64_t step = 4096;

  uint64_t capacity_;
  void *data_ = nullptr;
};

bool IsBadMimeChar(char c) { return (c >= '\a' && c <= '\r') || c == ' '; }

void EncodeToBuffer(const Base64Quantum &quantum, char *out) {
  uint8_t values[4];
  EncodeRaw(values, quantum.data);
  for (int i = 0; i < 4; ++i) {
    out[i] = i <= quantum.size ? Base64Digits[values[i]] : '=';
  }
}

// Reads up to four characters, without those to skip, as their table values. Returns where the
// next quantum begins.
const char *readQuantum(const char *text, const char *end, Base64Quantum &quantum) {
  quantum = {};
  for (; text < end && quantum.size < 4; ++text) {
    if (!IsBadMimeChar(*text)) {
      quantum.data[quantum.size++] = m_DecodeTable[static_cast<uint8_t>(*text)];
    }
  }
  return text;
}

// Padding counts as zero: anywhere in a group that the text ends in, at the last two places of a
// whole one.
void DecodeToBuffer(Base64Quantum quantum, uint8_t *out) {
  for (int i = quantum.size == 4 ? 2 : 0; i < 4; ++i) {
    if (quantum.data[i] == paddingMark) {
      quantum.data[i] = 0;
    }
  }
  DecodeRaw(out, quantum.data);
}

} // namespace

void encodeText(const BlockCoder &coder, const uint8_t *data, size_t length, char *text) {
  const size_t taken = coder.encode(data, length, text);
  if (taken < length) {
    Base64Quantum last{};
    last.size = static_cast<uint8_t>(length - taken);
    memcpy(last.data, data + taken, last.size);
    EncodeToBuffer(last, text + taken / 3 * 4);
  }
}

// Alternates between the plain groups, which the block coder takes, and single quanta of anything
// else. A whole quantum counts as three bytes, what is left at the end as its characters.
size_t decodeText(const BlockCoder &coder, const char *text, size_t length, uint8_t *data) {
  const char *const end = text + length;
  size_t written = 0;
  while (text < end) {
    const size_t taken = coder.decode(text, static_cast<size_t>(end - text), data + written);
    text += taken;
    written += taken / 4 * 3;

    Base64Quantum quantum;
    text = readQuantum(text, end, quantum);
    if (quantum.size > 0) {
      DecodeToBuffer(quantum, data + written);
      written += quantum.size == 4 ? 3 : quantum.size;
    }
  }
  return written;
}

size_t encodePortable(const uint8_t *data, size_t length, char *text) {
  size_t taken = 0;
  for (; length - taken >= 3; taken += 3, text += 4) {
    uint8_t values[4];
    EncodeRaw(values, data + taken);
    for (int i = 0; i < 4; ++i) {
      text[i] = Base64Digits[values[i]];
    }
  }
  return taken;
}

size_t decodePortable(const char *text, size_t length, uint8_t *data) {
  const auto *bytes = reinterpret_cast<const uint8_t *>(text);
  size_t taken = 0;
  for (; length - taken >= 4; taken += 4, data += 3) {
    uint8_t values[4];
    uint8_t seen = 0;
    for (size_t i = 0; i < 4; ++i) {
      values[i] = m_DecodeTable[bytes[taken + i]];
      seen |= values[i];
    }
    if (seen > 63) {
      break;
    }
    DecodeRaw(data, values);
  }
  return taken;
}

const BlockCoder &widestBlockCoder() {
  const BlockCoder *coder = blockCoders;
  while (!coder->isSupported()) {
    ++coder;
  }
  return *coder;
}

void encode(const BlockCoder &coder, const void *data, uint32_t length, char **encoded,
            uint32_t *encodedLength) {
  *encoded = nullptr;
  *encodedLength = 0;
  const uint64_t textLength = encodedSize(length);
  if (data == nullptr || textLength > std::numeric_limits<uint32_t>::max()) {
    return;
  }
  const ResultBuffer buffer(uint64_t{length} * 2);
  if (auto *text = buffer.as<char>()) {
    buffer.clearBehind(static_cast<size_t>(textLength));
    encodeText(coder, static_cast<const uint8_t *>(data), length, text);
    *encoded = text;
    *encodedLength = static_cast<uint32_t>(textLength);
  }
}

void decode(const BlockCoder &coder, const char *text, uint32_t length, unsigned char **decoded,
            uint32_t *decodedLength) {
  *decoded = nullptr;
  *decodedLength = 0;
  if (text == nullptr) {
    return;
  }
  const ResultBuffer buffer(length);
  if (auto *data = buffer.as<uint8_t>()) {
    const size_t written = decodeText(coder, text, length, data);
    buffer.clearBehind(written);
    *decoded = data;
    *decodedLength = static_cast<uint32_t>(written);
  }
}

} // namespace sprig::base64

void Encode(const void *data, uint32_t length, char **encoded, uint32_t *encodedLength) {
  using namespace sprig::base64;
  encode(widestBlockCoder(), data, length, encoded, encodedLength);
}

PalError Decode(const char *text, uint32_t length, unsigned char **decoded,
                uint32_t *decodedLength) {
  using namespace sprig::base64;
  decode(widestBlockCoder(), text, length, decoded, decodedLength);
  return {PAL_OK, 0, 0};
}

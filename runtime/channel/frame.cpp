#include "channel/frame.h"

#include <algorithm>

#include "channel/crc32c.h"

using namespace sprig::runtime;

namespace {

constexpr uint8_t magic[] = {'S', 'P', 'R', 1}; // the last byte is the version

// Where the numbers stand.
constexpr size_t typeAt = 4;
constexpr size_t sessionAt = 8;
constexpr size_t lengthAt = 12;
constexpr size_t checksumAt = 16;

uint32_t checksumOf(const uint8_t *header, const uint8_t *payload, uint32_t length) {
  return crc32c(payload, length, crc32c(header, checksumAt));
}

} // namespace

void sprig::runtime::writeHeader(uint8_t *header, const RuntimeMessage &message) {
  memcpy(header, magic, sizeof magic);
  putNumber(header + typeAt, static_cast<uint32_t>(message.type));
  putNumber(header + sessionAt, static_cast<uint32_t>(message.session_id));
  putNumber(header + lengthAt, message.length);
  putNumber(header + checksumAt, checksumOf(header, message.data, message.length));
}

bool sprig::runtime::isHeaderBegun(const uint8_t *header, size_t length) {
  return memcmp(header, magic, std::min(length, sizeof magic)) == 0;
}

RuntimeMessage sprig::runtime::readHeader(const uint8_t *header) {
  return {static_cast<int32_t>(getNumber(header + typeAt)),
          static_cast<int32_t>(getNumber(header + sessionAt)), getNumber(header + lengthAt),
          nullptr};
}

bool sprig::runtime::hasChecksumOf(const uint8_t *header, const uint8_t *payload) {
  return getNumber(header + checksumAt) ==
         checksumOf(header, payload, getNumber(header + lengthAt));
}

// The layout of a frame: docs/formats/channel.md.
#ifndef SPRIG_RUNTIME_CHANNEL_FRAME_H
#define SPRIG_RUNTIME_CHANNEL_FRAME_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <endian.h>

#include <sprig/runtime.h>

namespace sprig::runtime {

inline constexpr size_t headerSize = 20;
inline constexpr uint32_t longestPayload = uint32_t{256} << 20;

// The header of a message, with its checksum.
void writeHeader(uint8_t *header, const RuntimeMessage &message);

// Whether bytes may be the beginning of a header.
bool isHeaderBegun(const uint8_t *header, size_t length);

// What a whole header says of its message, which has no data yet.
RuntimeMessage readHeader(const uint8_t *header);

// Whether a header belongs to a payload of the length that it says.
bool hasChecksumOf(const uint8_t *header, const uint8_t *payload);

// Numbers are big-endian wherever they stand in a message.
inline void putNumber(uint8_t *place, uint32_t number) {
  number = htobe32(number);
  memcpy(place, &number, sizeof number);
}

inline uint32_t getNumber(const uint8_t *place) {
  uint32_t number = 0;
  memcpy(&number, place, sizeof number);
  return be32toh(number);
}

} // namespace sprig::runtime

#endif

// The checksum of frames: CRC-32C (Castagnoli), with its bits reflected, as in iSCSI.
#ifndef SPRIG_RUNTIME_CHANNEL_CRC32C_H
#define SPRIG_RUNTIME_CHANNEL_CRC32C_H

#include <cstddef>
#include <cstdint>

namespace sprig::runtime {

// The polynomial without its highest term. The lowest bit stands for the highest power.
inline constexpr uint32_t crc32cPolynomial = 0x82F63B78;

// One way to compute it. The value carried on is the complement of the checksum.
struct Crc32cCoder {
  const char *name; // null behind the last one
  bool (*isSupported)();
  uint32_t (*carryOn)(uint32_t value, const uint8_t *data, size_t length);
};

// Those that this program has, the fastest first. The last one is supported everywhere.
extern const Crc32cCoder crc32cCoders[];

uint32_t crc32cPortable(uint32_t value, const uint8_t *data, size_t length);

// The checksum of bytes whose first part has the checksum `before`.
uint32_t crc32c(const uint8_t *data, size_t length, uint32_t before = 0);

} // namespace sprig::runtime

#endif

// The block coders for x86, each in a file compiled for its instruction set.
#ifndef SPRIG_ENCODING_BASE64_X86_H
#define SPRIG_ENCODING_BASE64_X86_H

#include <cstddef>
#include <cstdint>

namespace sprig::base64 {

size_t encodeAvx2(const uint8_t *data, size_t length, char *text);
size_t decodeAvx2(const char *text, size_t length, uint8_t *data);

size_t encodeSsse3(const uint8_t *data, size_t length, char *text);
size_t decodeSsse3(const char *text, size_t length, uint8_t *data);

} // namespace sprig::base64

#endif

// The encodings in their plainest form, step by step and without regard to speed. Tests and fuzz
// targets hold the library against them.
#ifndef SPRIG_TESTS_SUPPORT_ENCODING_REFERENCE_H
#define SPRIG_TESTS_SUPPORT_ENCODING_REFERENCE_H

#include <string>

#include <sprig/encoding.h>

namespace test {

std::string referenceEncode(const std::string &data);
std::string referenceDecode(const std::string &text);

TagRanges referenceTagRanges(const char *name, char *document, const char *limit);

// The room that the buffers of Encode() and Decode() have for a need.
size_t bufferCapacity(size_t need);

} // namespace test

#endif

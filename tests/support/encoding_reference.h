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
TextRange referenceDocType(char *document, const char *limit, bool isWhole);

// Whether all operations that search agree with their plainest form, up to a limit at a given place
// or, behind the text, without one.
bool agreeOnSearch(const std::string &text, const char *name, size_t limitAt);

// Whether addContentToTag() does, with a document that ends at a given place of the text (the last
// is its terminator), in a buffer with some room behind the text.
bool agreeOnFill(const std::string &text, const char *name, size_t end, size_t room,
                 std::string content, bool isReplaced);

// The room that the buffers of Encode() and Decode() have for a need.
size_t bufferCapacity(size_t need);

} // namespace test

#endif

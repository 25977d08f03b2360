// Values of the library's types with much in them, and their encoding by a type's own functions.
#ifndef SPRIG_TESTS_FRAMEWORK_SAMPLES_H
#define SPRIG_TESTS_FRAMEWORK_SAMPLES_H

#include <cstdint>
#include <span>

#include <gtest/gtest.h>

#include <sprig/types.h>

#include "framework/records.h"
#include "support/values.h"

namespace test {

// The smallest value of a type with a property in it.
template <typename Content> Content around(const Property &content);
template <> Property around(const Property &content);
template <> Properties around(const Property &content);
template <> PropertiesList around(const Property &content);
template <> PropertiesListList around(const Property &content);

// A value that differs somewhere deep inside from that of another number.
template <typename Content> Content sample(int32_t number);
template <> Property sample(int32_t number);
template <> Properties sample(int32_t number);
template <> PropertiesList sample(int32_t number);
template <> PropertiesListList sample(int32_t number);
template <> StreamKey sample(int32_t number);

// A record without an empty member, made by the type's own function.
RecordPtr sampleRecord(const ExceptionType &type);

// A sequence of anys with a value of each of the library's types.
Value sampleOfEachType();
std::span<any> anysIn(const Value &sequence);

// What `marshal` makes of a buffer, and what it takes out of one.
template <typename Marshal> Bytes encodedBy(const Marshal &marshal) {
  AdrBuffer *buffer = adr_init_encode_buffer(TC_any, nullptr);
  marshal(buffer);
  EXPECT_EQ(buffer->error, 0);
  Bytes bytes(buffer->data, buffer->data + buffer->length);
  adr_free_buf(buffer);
  return bytes;
}
template <typename Marshal> void decodeBy(const Bytes &bytes, const Marshal &marshal) {
  AdrBuffer *buffer = adr_init_decode_buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  marshal(buffer);
  EXPECT_EQ(buffer->error, 0);
  adr_free_buf(buffer);
}

} // namespace test

#endif

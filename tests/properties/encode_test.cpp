// Values of every type to bytes and back. What the bytes are is the encoding's own tests' to say;
// here are the failures, and who owns what.
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/runtime.h>

#include "files/failure.h"
#include "support/values.h"

using test::anyOf;
using test::Bytes;
using test::bytesOf;
using test::cannotDecode;
using test::cannotEncode;
using test::Failure;
using test::failureOf;
using test::listOf;
using test::Value;

namespace {

class PropertyEncoding : public testing::Test {
protected:
  PropertyEncoding() { test::registerTypes(); }
};

Bytes encode(const Value &value) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  properties_encode(value.type(), value.data(), &data, &length);
  Bytes bytes(data, data + length);
  mg_free(data);
  return bytes;
}

std::optional<Failure> encodeFailure(const Value &value) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  auto failure = failureOf([&] { properties_encode(value.type(), value.data(), &data, &length); });
  mg_free(data);
  return failure;
}

std::optional<Failure> decodeInto(const Value &target, const Bytes &bytes) {
  return failureOf([&] {
    properties_decode(target.type(), bytes.data(), static_cast<uint32_t>(bytes.size()),
                      target.data());
  });
}

std::optional<Failure> decodeFailure(TypeCode type, const Bytes &bytes) {
  return decodeInto(Value(type), bytes);
}

} // namespace

TEST_F(PropertyEncoding, IsThatOfTheFramework) {
  test::RandomValues random(11);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value value(type);
      random.fill(value);
      EXPECT_EQ(encode(value), test::encoded(value)) << type->name;
    }
  }
}

TEST_F(PropertyEncoding, OfAListHasItsPropertiesInOrder) {
  const Value list(
      TC_NEX_Sprig2_Properties,
      listOf<Properties>({test::propertyOf("b", anyOf(TC_long, int32_t{-2})),
                          test::propertyOf("a", anyOf(TC_string, mg_strdup("rose")))}));
  EXPECT_EQ(encode(list), bytesOf(2, 1, std::string("b\0\0\0", 4), 2, -2, 1,
                                  std::string("a\0\0\0", 4), 1, 4, std::string("rose")));
}

TEST_F(PropertyEncoding, OfAnEmptyListIsItsLength) {
  EXPECT_EQ(encode(Value(TC_NEX_Sprig2_Properties)), bytesOf(0));
  EXPECT_EQ(encode(Value(TC_NEX_Sprig2_PropertiesList)), bytesOf(0));
}

TEST_F(PropertyEncoding, IsTheCallers) {
  const Value list(TC_NEX_Sprig2_Properties, test::someProperties());
  uint8_t *data = nullptr;
  uint32_t length = 0;
  properties_encode(list.type(), list.data(), &data, &length);
  ASSERT_EQ(length, test::encoded(list).size());
  std::memset(data, 0, length);
  EXPECT_EQ(encode(list), test::encoded(list));
  mg_free(data);
}

TEST_F(PropertyEncoding, ThrowsForATypeWithoutAValue) {
  const Value list(TC_NEX_Sprig2_Properties,
                   listOf<Properties>({test::propertyOf("none", any{TC_string, nullptr})}));
  EXPECT_EQ(encodeFailure(list), cannotEncode(RUNTIME_ADR_NO_VALUE));
}

TEST_F(PropertyEncoding, ThrowsForATypeWithoutAName) {
  static const TypeCodeMember member[] = {{"number", TC_long}};
  static const TypeCodeRecord nameless[1] = {
      {nullptr, TYPE_KIND_STRUCT, sizeof(int32_t), nullptr, member, 1, nullptr}};
  const Value value(TC_any, anyOf(nameless, int32_t{1}));
  EXPECT_EQ(encodeFailure(value), cannotEncode(RUNTIME_ADR_TYPE_NAME));
}

TEST_F(PropertyEncoding, ThrowsWhereListsAreNestedTooDeep) {
  for (const test::Nesting &nesting : test::nestings()) {
    EXPECT_EQ(encodeFailure(*nesting.make(nesting.deepest)), std::nullopt) << nesting;
    EXPECT_EQ(encodeFailure(*nesting.make(nesting.tooDeep)), cannotEncode(RUNTIME_ADR_DEPTH))
        << nesting;
  }
}

TEST_F(PropertyEncoding, ThrowsForElementsWithoutAnEncoding) {
  static const TypeCodeRecord nothing[1] = {
      {"Test::Nothing", TYPE_KIND_STRUCT, 1, nullptr, nullptr, 0, nullptr}};
  static const TypeCodeMember element[] = {{nullptr, nothing}};
  static const TypeCodeRecord nothings[1] = {{"Test::_sequence_Nothing", TYPE_KIND_SEQUENCE,
                                              sizeof(Sequence), nullptr, element, 1, nullptr}};
  const Value list(nothings, listOf<OctetList, uint8_t>({1}));
  EXPECT_EQ(encodeFailure(list), cannotEncode(RUNTIME_ADR_EMPTY_ELEMENT));
}

TEST_F(PropertyEncoding, LeadsBackToTheSameValue) {
  test::RandomValues random(12);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value value(type);
      random.fill(value);
      const Value decoded(type);
      EXPECT_EQ(decodeInto(decoded, encode(value)), std::nullopt);
      EXPECT_TRUE(_t_generic_equal(type, nullptr, value.data(), decoded.data())) << type->name;
    }
  }
}

TEST_F(PropertyEncoding, IsReadIntoStorageWithAnyContent) {
  const Value list(TC_NEX_Sprig2_Properties, test::someProperties());
  Value decoded(TC_NEX_Sprig2_Properties);
  decoded.scribble();
  EXPECT_EQ(decodeInto(decoded, encode(list)), std::nullopt);
  EXPECT_EQ(encode(decoded), encode(list));
}

TEST_F(PropertyEncoding, SharesNothingWithTheBytes) {
  Bytes bytes = encode(Value(TC_NEX_Sprig2_Properties, test::someProperties()));
  const Bytes before = bytes;
  const Value decoded(TC_NEX_Sprig2_Properties);
  EXPECT_EQ(decodeInto(decoded, bytes), std::nullopt);
  EXPECT_EQ(bytes, before) << "the bytes stay as they are, and the caller's";
  std::fill(bytes.begin(), bytes.end(), uint8_t{0xff});
  EXPECT_EQ(encode(decoded), before);
}

TEST_F(PropertyEncoding, MayHaveBytesBehindIt) {
  const Value decoded(TC_string);
  EXPECT_EQ(decodeInto(decoded, bytesOf(4, std::string("rose"), 0, 99, std::string("x"))),
            std::nullopt);
  EXPECT_STREQ(decoded.as<char *>(), "rose");
}

TEST_F(PropertyEncoding, ThrowsTheReasonWhyItCannotBeRead) {
  const struct {
    TypeCode type;
    Bytes bytes;
    int32_t code;
  } cases[] = {
      {TC_NEX_Sprig2_Properties, {}, RUNTIME_ADR_TRUNCATED},
      {TC_NEX_Sprig2_Properties, {0, 0, 0}, RUNTIME_ADR_TRUNCATED},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 0), RUNTIME_ADR_COUNT},
      {TC_NEX_Sprig2_Properties, bytesOf(0xffffffff), RUNTIME_ADR_COUNT},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 1, std::string("a\0\0\1", 4), 0), RUNTIME_ADR_PADDING},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 0, 4, 0x8000), RUNTIME_ADR_RANGE},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 2, std::string("a\0\0\0", 4), 0), RUNTIME_ADR_TEXT},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 0, 15, 0), RUNTIME_ADR_TYPE},
      {TC_NEX_Sprig2_Properties, bytesOf(1, 0, -1, 4, std::string("rose"), 0),
       RUNTIME_ADR_TYPE_NAME},
      {TC_string, bytesOf(0xffffffff), RUNTIME_ADR_TRUNCATED},
  };
  for (const auto &[type, bytes, code] : cases) {
    EXPECT_EQ(decodeFailure(type, bytes), cannotDecode(code));
  }
}

TEST_F(PropertyEncoding, CannotBeReadWhereListsAreNestedTooDeep) {
  Bytes bytes = bytesOf(0);
  for (int depth = 0; depth < 65; ++depth) {
    const Bytes count = bytesOf(1);
    bytes.insert(bytes.begin(), count.begin(), count.end());
  }
  EXPECT_EQ(decodeFailure(test::nestType, bytes), cannotDecode(RUNTIME_ADR_DEPTH));
}

TEST_F(PropertyEncoding, LeavesWhatWasReadBeforeAFailure) {
  Bytes bytes = encode(Value(TC_NEX_Sprig2_Properties, test::someProperties()));
  for (size_t size = 0; size < bytes.size(); ++size) {
    const Value decoded(TC_NEX_Sprig2_Properties);
    const std::optional<Failure> failure =
        decodeInto(decoded, Bytes(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(size)));
    ASSERT_TRUE(failure) << size;
    EXPECT_EQ(failure->id, 35);
  } // and the list, whatever is in it, can be released
}

// Buffers that values are encoded to and decoded from.
#include <functional>
#include <limits>
#include <set>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/values.h"

using namespace std::string_view_literals;

using test::Bytes;
using test::bytesOf;
using test::encoded;
using test::Value;

namespace {

// Encodes by calls of its own, in whatever way the caller does.
template <typename Marshal> Bytes encodedBy(const Marshal &marshal) {
  AdrBuffer *buffer = adr_init_encode_buffer(TC_any, nullptr);
  marshal(buffer);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
  Bytes bytes(buffer->data, buffer->data + buffer->length);
  adr_free_buf(buffer);
  return bytes;
}

void marshalProperty(AdrBuffer *buffer, Property *property) {
  adr_start_struct(buffer, TC_NEX_Sprig2_Property);
  adr_v_string(buffer, &property->key);
  adr_v_any(buffer, &property->value);
  adr_end_struct(buffer, TC_NEX_Sprig2_Property);
}

void marshalException(AdrBuffer *buffer, ExErrorMsg *record) {
  adr_start_struct(buffer, TC_NEX_Sprig2_ExInvalidCall);
  adr_v_string(buffer, &record->type_name);
  adr_v_string(buffer, &record->catalog);
  adr_v_long(buffer, &record->key);
  adr_v_string(buffer, &record->default_msg);
  adr_v_long(buffer, &record->time_stamp);
  adr_v_tc_sequence(buffer, TC__sequence_any_MsgContext, &record->msg_context);
  adr_v_NEX_Types_XOpenMessage(buffer, &record->emsg);
  adr_end_struct(buffer, TC_NEX_Sprig2_ExInvalidCall);
}

// What a function of a type's own does with random values is what marshal_item() does.
template <typename T>
void expectSame(TypeCode type, const std::function<void(AdrBuffer *, T *)> &marshal) {
  test::registerTypes();
  test::RandomValues random(1);
  for (int i = 0; i < 200; ++i) {
    Value value(type);
    random.fill(value);
    const Bytes bytes = encoded(value);
    EXPECT_EQ(encodedBy([&](AdrBuffer *buffer) { marshal(buffer, &value.as<T>()); }), bytes);
    const Value copy(type);
    AdrBuffer *buffer = adr_init_decode_buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
    marshal(buffer, &copy.as<T>());
    EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
    EXPECT_NE(_t_generic_equal(type, nullptr, value.data(), copy.data()), 0);
    adr_free_buf(buffer);
  }
}

} // namespace

TEST(EncodeBuffer, IsEmptyAtFirst) {
  int32_t number = 1;
  AdrBuffer *buffer = adr_init_encode_buffer(TC_long, &number);
  ASSERT_NE(buffer, nullptr);
  EXPECT_EQ(buffer->length, 0U);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
  adr_free_buf(buffer);
}

TEST(EncodeBuffer, TakesOneValueBehindTheOther) {
  int32_t number = -2;
  auto *text = const_cast<char *>("rose");
  const Value list(TC_NEX_Types_StringList, test::stringsOf({"a", "b"}));
  EXPECT_EQ(encodedBy([&](AdrBuffer *buffer) {
              marshal_item(buffer, TC_long, &number);
              EXPECT_EQ(buffer->length, 4U);
              marshal_item(buffer, TC_string, &text);
              EXPECT_EQ(buffer->length, 12U);
              marshal_item(buffer, list.type(), list.data());
              marshal_item(buffer, TC_long, &number);
            }),
            bytesOf(-2, 4, "rose"sv, encoded(list), -2));
}

TEST(EncodeBuffer, LeavesItsBytesToTheCaller) {
  const Value list(TC_NEX_Sprig2_Properties, test::someProperties());
  AdrBuffer *buffer = adr_init_encode_buffer(list.type(), list.data());
  marshal_item(buffer, list.type(), list.data());
  uint8_t *data = buffer->data;
  const uint32_t length = buffer->length;
  mg_free(buffer);
  EXPECT_EQ(Bytes(data, data + length), encoded(list));
  mg_free(data);
}

TEST(EncodeBuffer, TakesNothingAfterAFailure) {
  any withoutValue{TC_long, nullptr};
  int32_t number = 1;
  AdrBuffer *buffer = adr_init_encode_buffer(TC_any, &withoutValue);
  marshal_item(buffer, TC_any, &withoutValue);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_NO_VALUE);
  const uint32_t length = buffer->length;
  marshal_item(buffer, TC_long, &number);
  adr_v_long(buffer, &number);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_NO_VALUE);
  EXPECT_EQ(buffer->length, length);
  adr_free_buf(buffer);
}

TEST(EncodeBuffer, MayBeNullWhereItIsReleased) { adr_free_buf(nullptr); }

TEST(DecodeBuffer, GivesOneValueBehindTheOther) {
  const Bytes bytes = bytesOf(-2, 4, "rose"sv, 7);
  AdrBuffer *buffer = adr_init_decode_buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  int32_t number = 0;
  const Value text(TC_string);
  marshal_item(buffer, TC_long, &number);
  EXPECT_EQ(number, -2);
  marshal_item(buffer, TC_string, text.data());
  EXPECT_STREQ(text.as<char *>(), "rose");
  marshal_item(buffer, TC_long, &number);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_OK);
  marshal_item(buffer, TC_long, &number);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_TRUNCATED);
  adr_free_buf(buffer);
}

TEST(DecodeBuffer, GivesNothingAfterAFailure) {
  const Bytes bytes = bytesOf(256, 1, 2, 3);
  AdrBuffer *buffer = adr_init_decode_buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  uint8_t octet = 0;
  marshal_item(buffer, TC_octet, &octet);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_RANGE);
  int32_t number = 77;
  marshal_item(buffer, TC_long, &number);
  adr_v_long(buffer, &number);
  EXPECT_NE(number, 1);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_RANGE);
  adr_free_buf(buffer);
}

TEST(DecodeBuffer, LeavesTheBytesToTheCaller) {
  Bytes bytes = bytesOf(4, "rose"sv);
  const Value text(TC_string);
  EXPECT_EQ(test::decode(bytes, text), RUNTIME_ADR_OK);
  EXPECT_EQ(bytes, bytesOf(4, "rose"sv));
  bytes.assign(bytes.size(), 0xff);
  EXPECT_STREQ(text.as<char *>(), "rose");
}

TEST(Primitives, EncodeWhatMarshalItemDoes) {
  expectSame<char *>(TC_string, adr_v_string);
  expectSame<int32_t>(TC_long, adr_v_long);
  expectSame<any>(TC_any, adr_v_any);
  expectSame<Object>(TC_Object, adr_v_Object);
  expectSame<XOpenMessage>(TC_NEX_Types_XOpenMessage, adr_v_NEX_Types_XOpenMessage);
  for (const TypeCode type : {TC_NEX_Types_OctetList, TC_NEX_Types_StringList, test::shortsType,
                              TC_NEX_Sprig2_PropertiesList}) {
    expectSame<Sequence>(
        type, [&](AdrBuffer *buffer, Sequence *value) { adr_v_tc_sequence(buffer, type, value); });
  }
}

TEST(Primitives, EncodeAStructMemberByMember) {
  expectSame<Property>(TC_NEX_Sprig2_Property, marshalProperty);
  expectSame<ExErrorMsg>(TC_NEX_Sprig2_ExInvalidCall, marshalException);
}

TEST(Primitives, EncodeNothingForADummy) {
  int32_t number = 1;
  EXPECT_EQ(encodedBy([&](AdrBuffer *buffer) {
              adr_v_dummy(buffer, &number);
              adr_v_dummy(buffer, nullptr);
            }),
            Bytes{});
}

TEST(Primitives, EncodeNothingForAStructWithoutMembers) {
  EXPECT_EQ(encodedBy([](AdrBuffer *buffer) {
              adr_start_struct(buffer, test::recordType);
              adr_end_struct(buffer, test::recordType);
            }),
            Bytes{});
}

TEST(Primitives, HaveNoBound) { EXPECT_EQ(_any_bound_zero, 0U); }

TEST(ErrorText, IsThereForEveryCode) {
  std::set<std::string> texts;
  for (int32_t code = RUNTIME_ADR_OK; code <= RUNTIME_ADR_EMPTY_ELEMENT; ++code) {
    const char *text = runtime_adr_error_text(code);
    ASSERT_NE(text, nullptr);
    EXPECT_STRNE(text, "");
    EXPECT_EQ(text, runtime_adr_error_text(code));
    EXPECT_TRUE(texts.insert(text).second) << text;
  }
}

TEST(ErrorText, IsOneOfItsOwnForCodesThatThereAreNot) {
  std::set<std::string> texts;
  for (int32_t code = RUNTIME_ADR_OK; code <= RUNTIME_ADR_EMPTY_ELEMENT; ++code) {
    texts.insert(runtime_adr_error_text(code));
  }
  for (const int32_t code :
       {-1, RUNTIME_ADR_EMPTY_ELEMENT + 1, 1000, std::numeric_limits<int32_t>::min(),
        std::numeric_limits<int32_t>::max()}) {
    const char *text = runtime_adr_error_text(code);
    ASSERT_NE(text, nullptr);
    EXPECT_STRNE(text, "");
    EXPECT_EQ(texts.count(text), 0U) << text;
  }
}

// The bytes that values are encoded to.
#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>

#include <sys/mman.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/values.h"

using namespace std::string_view_literals;

using test::anyOf;
using test::Bytes;
using test::bytesOf;
using test::encoded;
using test::encodingError;
using test::listOf;
using test::Value;

namespace {

// A value that owns nothing.
template <typename T> Bytes encodedPlain(TypeCode type, const T &value) {
  return encoded(type, &value);
}

Bytes encodedText(TypeCode type, const char *text) { return encodedPlain(type, text); }

Bytes concatenated(const Bytes &a, const Bytes &b) { return bytesOf(a, b); }

Bytes endOf(const Bytes &bytes, size_t size) {
  return {bytes.end() - static_cast<ptrdiff_t>(size), bytes.end()};
}

test::Record someRecord() {
  return {.octet = 200,
          .number = -2,
          .flag = 1,
          .small = -3,
          .text = mg_strdup("rose"),
          .last = 5,
          .large = 0x80000000,
          .reference = mg_strdup("bed#1"),
          .octets = listOf<OctetList, uint8_t>({1, 2, 3})};
}

const Bytes someRecordBytes =
    bytesOf(200, -2, 1, -3, 4, "rose"sv, 5, 0x80000000, 5, "bed#1\0\0\0"sv, 3, "\1\2\3\0"sv);

} // namespace

TEST(Encoding, OfNumbersIsOneWordEach) {
  for (const int32_t number : {0, 1, -1, 0x01020304, std::numeric_limits<int32_t>::min()}) {
    EXPECT_EQ(encodedPlain(TC_long, number), bytesOf(number));
    EXPECT_EQ(encodedPlain(TC_ulong, static_cast<uint32_t>(number)), bytesOf(number));
  }
  for (const int16_t number : std::initializer_list<int16_t>{0, 1, -1, 0x0102, 32767, -32768}) {
    EXPECT_EQ(encodedPlain(TC_short, number), bytesOf(int32_t{number}));
  }
  for (const uint8_t number : {0, 1, 127, 128, 255}) {
    EXPECT_EQ(encodedPlain(TC_octet, number), bytesOf(number));
  }
}

TEST(Encoding, OfBooleansIsOneWordThatIsZeroForFalse) {
  EXPECT_EQ(encodedPlain(TC_boolean, uint8_t{0}), bytesOf(0));
  EXPECT_EQ(encodedPlain(TC_boolean, uint8_t{1}), bytesOf(1));
  for (const uint8_t flag : {2, 128, 255}) {
    EXPECT_NE(encodedPlain(TC_boolean, flag), bytesOf(0));
  }
}

TEST(Encoding, OfTextsIsTheirLengthAndTheirBytesUpToAWholeWord) {
  for (const TypeCode type : {TC_string, TC_Object}) {
    EXPECT_EQ(encodedText(type, ""), bytesOf(0));
    EXPECT_EQ(encodedText(type, "a"), bytesOf(1, "a\0\0\0"sv));
    EXPECT_EQ(encodedText(type, "ab"), bytesOf(2, "ab\0\0"sv));
    EXPECT_EQ(encodedText(type, "abc"), bytesOf(3, "abc\0"sv));
    EXPECT_EQ(encodedText(type, "abcd"), bytesOf(4, "abcd"sv));
    EXPECT_EQ(encodedText(type, "abcde"), bytesOf(5, "abcde\0\0\0"sv));
    EXPECT_EQ(encodedText(type, "\xff\x80\x01%\n"), bytesOf(5, "\xff\x80\x01%\n\0\0\0"sv));
  }
}

TEST(Encoding, OfNullTextIsThatOfEmptyText) {
  for (const TypeCode type : {TC_string, TC_Object, TC_NEX_Sprig2_Repeater}) {
    EXPECT_EQ(encodedText(type, nullptr), bytesOf(0));
  }
  const Value nulls(TC_NEX_Types_StringList, test::stringsOf({nullptr, "a", nullptr}));
  EXPECT_EQ(encoded(nulls), bytesOf(3, 0, 1, "a\0\0\0"sv, 0));
}

TEST(Encoding, OfLongTextsIsAsLong) {
  for (size_t length = 1000; length < 70000; length = length * 2 + 1) {
    std::string text(length, 'x');
    Bytes expected = bytesOf(length, text);
    expected.resize((expected.size() + 3) / 4 * 4);
    EXPECT_EQ(encodedText(TC_string, text.c_str()), expected);
  }
}

TEST(Encoding, OfOctetsIsTheirCountAndTheirBytesUpToAWholeWord) {
  for (const TypeCode type : {TC_NEX_Types_OctetList, TC_NEX_Sprig2_StreamKey}) {
    EXPECT_EQ(encodedPlain(type, OctetList{}), bytesOf(0));
    const uint8_t octets[] = {0, 255, 1, 128, 7};
    Bytes expected = bytesOf(0);
    for (const uint8_t &octet : octets) {
      ++expected[3];
      expected.resize(3 + expected[3]);
      expected.push_back(octet);
      const uint32_t length = expected[3];
      expected.resize((expected.size() + 3) / 4 * 4);
      EXPECT_EQ(encodedPlain(type, OctetList{5, length, const_cast<uint8_t *>(octets)}), expected);
    }
  }
}

TEST(Encoding, OfSequencesIsTheirCountAndTheirElements) {
  EXPECT_EQ(encodedPlain(TC_NEX_Types_StringList, StringList{}), bytesOf(0));
  EXPECT_EQ(encoded(Value(TC_NEX_Types_StringList, test::stringsOf({"a", "bcde"}))),
            bytesOf(2, 1, "a\0\0\0"sv, 4, "bcde"sv));
  EXPECT_EQ(encoded(Value(test::shortsType, listOf<Sequence, int16_t>({1, -2, 3}))),
            bytesOf(3, 1, -2, 3));
  EXPECT_EQ(encoded(Value(test::booleansType, listOf<Sequence, uint8_t>({1, 0, 1}))),
            bytesOf(3, 1, 0, 1));
  EXPECT_EQ(encoded(Value(test::objectsType, test::stringsOf({"a#1", nullptr}))),
            bytesOf(2, 3, "a#1\0"sv, 0));
  EXPECT_EQ(encoded(Value(TC__sequence_any_MsgContext, listOf<Sequence, any>({{}, {}}))),
            bytesOf(2, 0, 0));
  EXPECT_EQ(encoded(Value(test::nestType, test::nestedLists(3))), bytesOf(1, 1, 0));
}

TEST(Encoding, OfAnAliasIsThatOfItsType) {
  EXPECT_EQ(encodedPlain(test::countType, int32_t{-7}), bytesOf(-7));
  EXPECT_EQ(encoded(Value(test::countsType, listOf<Sequence, int32_t>({1, -2}))),
            bytesOf(2, 1, -2));
}

TEST(Encoding, OfStructsIsThatOfTheirMembersInOrder) {
  EXPECT_EQ(encoded(Value(test::recordType, someRecord())), someRecordBytes);
  const Value outer(test::outerType);
  outer.as<test::Outer>() = {.mark = 1,
                             .record = someRecord(),
                             .extra = {},
                             .records = listOf<test::Records>({someRecord()}),
                             .count = -1};
  EXPECT_EQ(encoded(outer), bytesOf(1, someRecordBytes, 0, 1, someRecordBytes, -1));
}

TEST(Encoding, OfExceptionsIsThatOfTheirMembersInOrder) {
  const Value value(TC_NEX_Sprig2_ExDistributionDeferred);
  auto &record = value.as<ExDistributionDeferred>();
  record.base.type_name = mg_strdup("Ex");
  record.base.key = 7;
  record.base.default_msg = mg_strdup("%7$M");
  record.base.time_stamp = 1234567890;
  record.base.emsg =
      listOf<XOpenMessage>({MessageEntry{mg_strdup("Garden"), mg_strdup("no"), 36, any{}}});
  record.defer_time = -1;
  EXPECT_EQ(encoded(value), bytesOf(2, "Ex\0\0"sv, 0, 7, 4, "%7$M"sv, 1234567890, 0, 1, 6,
                                    "Garden\0\0"sv, 2, "no\0\0"sv, 36, 0, -1));
}

TEST(Encoding, OfAnEmptyAnyIsAZero) { EXPECT_EQ(encodedPlain(TC_any, any{}), bytesOf(0)); }

TEST(Encoding, OfAnAnyIsATagAndTheValue) {
  test::registerTypes();
  test::RandomValues random(1);
  for (const TypeCode type : test::allTypes()) {
    Value value(type);
    random.fill(value);
    const Bytes plain = encoded(value);
    const any wrapped{type, value.data()};
    const Bytes bytes = encodedPlain(TC_any, wrapped);
    ASSERT_GE(bytes.size(), plain.size() + 4) << type->name;
    EXPECT_EQ(endOf(bytes, plain.size()), plain) << type->name;
    EXPECT_NE(Bytes(bytes.begin(), bytes.begin() + 4), bytesOf(0)) << type->name;
  }
}

TEST(Encoding, OfAnAnyHasTheSameTagForEveryValueOfAType) {
  for (const TypeCode type : test::allTypes()) {
    const Value empty(type);
    const size_t plainSize = encoded(empty).size();
    Bytes tag = encodedPlain(TC_any, any{type, empty.data()});
    tag.resize(tag.size() - plainSize);
    Value other(type);
    test::RandomValues(2).fill(other);
    EXPECT_EQ(encodedPlain(TC_any, any{type, other.data()}), concatenated(tag, encoded(other)))
        << type->name;
  }
}

TEST(Encoding, OfAnAnyTellsTypesApart) {
  std::vector<Bytes> encodings;
  encodings.reserve(test::allTypes().size());
  for (const TypeCode type : test::allTypes()) {
    const Value empty(type);
    encodings.push_back(encodedPlain(TC_any, any{type, empty.data()}));
  }
  std::sort(encodings.begin(), encodings.end());
  EXPECT_EQ(std::adjacent_find(encodings.begin(), encodings.end()), encodings.end());
}

TEST(Encoding, OfPropertiesIsThatOfTheirKeysAndValues) {
  const Value list(TC_NEX_Sprig2_Properties, listOf<Properties>({test::propertyOf("key", {}),
                                                                 test::propertyOf(nullptr, {})}));
  EXPECT_EQ(encoded(list), bytesOf(2, 3, "key\0"sv, 0, 0, 0));
  const Value number(TC_NEX_Sprig2_Property, test::propertyOf("n", anyOf(TC_long, int32_t{-2})));
  EXPECT_EQ(encoded(number),
            bytesOf(1, "n\0\0\0"sv, encoded(TC_any, &number.as<Property>().value)));
}

TEST(Encoding, DoesNotShowWhatIsNoValue) {
  const Value value(test::recordType, someRecord());
  Value padded(test::recordType);
  padded.scribble();
  auto &record = padded.as<test::Record>();
  const auto &source = value.as<test::Record>();
  record.octet = source.octet;
  record.number = source.number;
  record.flag = source.flag;
  record.small = source.small;
  record.text = mg_strdup(source.text);
  record.last = source.last;
  record.large = source.large;
  record.reference = mg_strdup(source.reference);
  record.octets = listOf<OctetList, uint8_t>({1, 2, 3, 0, 0, 0, 0, 0});
  record.octets.length = 3;
  EXPECT_EQ(encoded(padded), someRecordBytes);
}

TEST(Encoding, NeedsAValueWhereThereIsAType) {
  const any withoutValue{TC_long, nullptr};
  EXPECT_EQ(encodingError(TC_any, &withoutValue), RUNTIME_ADR_NO_VALUE);
  const Value list(TC_NEX_Sprig2_Properties,
                   listOf<Properties>({test::propertyOf("key", withoutValue)}));
  EXPECT_EQ(encodingError(list.type(), list.data()), RUNTIME_ADR_NO_VALUE);
}

TEST(Encoding, NeedsANameOfATypeThatIsNotTheRuntimes) {
  static const TypeCodeRecord unnamed = {
      nullptr, TYPE_KIND_STRUCT,          sizeof(test::Record),
      nullptr, test::recordType->members, test::recordType->member_count,
      nullptr};
  const Value record(test::recordType, someRecord());
  EXPECT_EQ(encoded(&unnamed, record.data()), someRecordBytes);
  const any value{&unnamed, record.data()};
  const int32_t error = encodingError(TC_any, &value);
  EXPECT_TRUE(error == RUNTIME_ADR_TYPE || error == RUNTIME_ADR_TYPE_NAME) << error;
}

TEST(Encoding, NeedsAKindOfTypeThatThereIs) {
  for (const int32_t kind : {0, 1, 99, -1}) {
    const TypeCodeRecord unknown = {"Test::Unknown", kind, 4, nullptr, nullptr, 0, nullptr};
    const int32_t number = 1;
    EXPECT_EQ(encodingError(&unknown, &number), RUNTIME_ADR_TYPE) << kind;
  }
}

TEST(Encoding, NeedsElementsThatHaveOne) {
  static const TypeCodeRecord nothing = {"Test::Nothing", TYPE_KIND_STRUCT, 1, nullptr, nullptr, 0,
                                         nullptr};
  static const TypeCodeMember element = {nullptr, &nothing};
  static const TypeCodeRecord nothings = {"Test::_sequence_Nothing",
                                          TYPE_KIND_SEQUENCE,
                                          sizeof(Sequence),
                                          nullptr,
                                          &element,
                                          1,
                                          nullptr};
  uint8_t elements[3] = {};
  EXPECT_EQ(encodedPlain(&nothing, elements), Bytes{});
  const Sequence list{3, 3, elements};
  EXPECT_EQ(encodingError(&nothings, &list), RUNTIME_ADR_EMPTY_ELEMENT);
}

#if UINTPTR_MAX > UINT32_MAX
TEST(Encoding, IsNoLongerThanABuffer) {
  constexpr uint32_t length = std::numeric_limits<uint32_t>::max();
  void *zeros =
      mmap(nullptr, length, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(zeros, MAP_FAILED);
  const OctetList list{length, length, static_cast<uint8_t *>(zeros)};
  EXPECT_EQ(encodingError(TC_NEX_Types_OctetList, &list), RUNTIME_ADR_TOO_LARGE);
  munmap(zeros, length);
}
#endif

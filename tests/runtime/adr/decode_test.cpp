// What bytes are decoded to, and what is said about those that no encoder wrote.
#include <functional>
#include <limits>
#include <string>
#include <string_view>

#include <malloc.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/process.h"
#include "support/rerun.h"
#include "support/values.h"

using namespace std::string_view_literals;

using test::anyOf;
using test::Bytes;
using test::bytesOf;
using test::decode;
using test::encoded;
using test::listOf;
using test::Value;

namespace {

constexpr uint32_t lengths[] = {0xffffffff, 0xfffffffe, 0xfffffffd, 0xfffffffc, 0x80000000,
                                0x7fffffff, 0x40000000, 0x20000001, 0x20000000, 0x10000000};

bool isCutOff(int32_t error) {
  return error == RUNTIME_ADR_TRUNCATED || error == RUNTIME_ADR_COUNT;
}

// Decodes into storage that had another content, and releases what came of it.
int32_t errorOf(TypeCode type, const Bytes &bytes) {
  Value target(type);
  target.scribble();
  const int32_t error = decode(bytes, target);
  EXPECT_STRNE(runtime_adr_error_text(error), "");
  return error;
}

Bytes cut(const Bytes &bytes, size_t length) {
  return {bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(length)};
}

// Values with everything in them.
std::vector<std::unique_ptr<Value>> richValues() {
  test::registerTypes();
  std::vector<std::unique_ptr<Value>> values;
  values.reserve(test::allTypes().size() + 1);
  values.push_back(std::make_unique<Value>(TC_NEX_Sprig2_Properties, test::someProperties()));
  test::RandomValues random(3);
  for (const TypeCode type : test::allTypes()) {
    values.push_back(std::make_unique<Value>(type));
    random.fill(*values.back());
  }
  return values;
}

Bytes repeated(uint32_t word, size_t size) {
  const Bytes once = bytesOf(word);
  Bytes bytes(size);
  for (size_t i = 0; i < size; ++i) {
    bytes[i] = once[i % once.size()];
  }
  return bytes;
}

// Each level says that its list has as many elements as the bytes behind it can hold.
Bytes longListsWithinLists(const Value &innermost, const Value &around, size_t smallestElement) {
  constexpr size_t size = 1000000;
  const Bytes inner = encoded(innermost);
  const Bytes outer = encoded(around);
  Bytes bytes;
  bytes.reserve(size);
  for (int depth = 0; depth < 64; ++depth) {
    const Bytes count = bytesOf((size - bytes.size() - 4) / smallestElement);
    bytes.insert(bytes.end(), count.begin(), count.end());
    bytes.insert(bytes.end(), outer.begin() + 4,
                 outer.end() - static_cast<ptrdiff_t>(inner.size()));
  }
  bytes.resize(size);
  return bytes;
}

// All that the heap has, given back to the system or not.
size_t heapSize() {
  const auto heap = mallinfo2();
  return heap.arena + heap.hblkhd;
}

// Decodes in a child whose heap never shrinks, so that it shows what was in use for a moment too.
bool isDecodedInBounds(TypeCode type, const Bytes &bytes) {
  test::Child child([&] {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_TOP_PAD, 0);
    const size_t before = heapSize();
    errorOf(type, bytes);
    CHILD_EXPECT(heapSize() <= before + 32 * bytes.size() + 65536);
    return 0;
  });
  return child.wait() == 0;
}

} // namespace

TEST(Decoding, GivesWhatWasEncoded) {
  const auto values = richValues();
  for (const auto &value : values) {
    Value target(value->type());
    target.scribble();
    EXPECT_EQ(decode(encoded(*value), target), RUNTIME_ADR_OK) << value->type()->name;
    EXPECT_NE(_t_generic_equal(value->type(), nullptr, value->data(), target.data()), 0)
        << value->type()->name;
  }
}

TEST(Decoding, GivesTheMembersOfAStruct) {
  const Value target(test::recordType);
  EXPECT_EQ(decode(bytesOf(200, -2, 1, -3, 4, "rose"sv, 5, 0x80000000, 5, "bed#1\0\0\0"sv, 3,
                           "\1\2\3\0"sv),
                   target),
            RUNTIME_ADR_OK);
  const auto &record = target.as<test::Record>();
  EXPECT_EQ(record.octet, 200);
  EXPECT_EQ(record.number, -2);
  EXPECT_EQ(record.flag, 1);
  EXPECT_EQ(record.small, -3);
  EXPECT_STREQ(record.text, "rose");
  EXPECT_EQ(record.last, 5);
  EXPECT_EQ(record.large, 0x80000000);
  EXPECT_STREQ(record.reference, "bed#1");
  EXPECT_EQ(record.octets.length, 3U);
  EXPECT_EQ(record.octets.buffer[2], 3);
}

TEST(Decoding, GivesTypesThatTheProgramKnows) {
  test::registerTypes();
  for (const TypeCode type : test::allTypes()) {
    const Value empty(type);
    const Value target(TC_any);
    const any wrapped{type, empty.data()};
    EXPECT_EQ(decode(encoded(TC_any, &wrapped), target), RUNTIME_ADR_OK) << type->name;
    EXPECT_NE(TypeCode_equal(target.as<any>().type, type), 0) << type->name;
    EXPECT_NE(target.as<any>().value, nullptr) << type->name;
  }
}

TEST(Decoding, IgnoresWhatComesBehindTheValue) {
  const auto values = richValues();
  for (const auto &value : values) {
    for (const std::string_view behind : {"\0"sv, "\xff\xff\xff\xff\xff"sv}) {
      const Bytes bytes = bytesOf(encoded(*value), behind);
      const Value target(value->type());
      EXPECT_EQ(decode(bytes, target), RUNTIME_ADR_OK) << value->type()->name;
      EXPECT_EQ(encoded(target), encoded(*value));
    }
  }
}

TEST(Decoding, TellsEveryTruncation) {
  const auto values = richValues();
  for (const auto &value : values) {
    const Bytes bytes = encoded(*value);
    for (size_t length = 0; length < bytes.size(); ++length) {
      const int32_t error = errorOf(value->type(), cut(bytes, length));
      EXPECT_TRUE(isCutOff(error)) << value->type()->name << ' ' << length << ": " << error;
    }
  }
}

TEST(Decoding, TellsTruncationOfNumbersAndTexts) {
  for (const TypeCode type : {TC_long, TC_ulong, TC_short, TC_boolean, TC_octet, TC_string,
                              TC_Object, TC_any, test::countType}) {
    for (size_t length = 0; length < 4; ++length) {
      EXPECT_EQ(errorOf(type, Bytes(length)), RUNTIME_ADR_TRUNCATED) << type->name;
    }
  }
  for (size_t length = 4; length < 12; ++length) {
    EXPECT_EQ(errorOf(TC_string, cut(bytesOf(5, "abcde\0\0\0"sv), length)), RUNTIME_ADR_TRUNCATED);
  }
}

TEST(Decoding, NeedsNoBytesToTellThatThereAreNone) {
  AdrBuffer *buffer = adr_init_decode_buffer(nullptr, 0);
  int32_t number = 7;
  marshal_item(buffer, TC_long, &number);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_TRUNCATED);
  adr_free_buf(buffer);
}

TEST(Decoding, TellsLengthsThatNothingHas) {
  for (const uint32_t length : lengths) {
    const Bytes bytes = bytesOf(length, "some text of which there is not so much"sv);
    EXPECT_EQ(errorOf(TC_string, bytes), RUNTIME_ADR_TRUNCATED) << length;
    EXPECT_EQ(errorOf(TC_Object, bytes), RUNTIME_ADR_TRUNCATED) << length;
    EXPECT_TRUE(isCutOff(errorOf(TC_NEX_Types_OctetList, bytes))) << length;
  }
}

TEST(Decoding, TellsCountsThatNothingHas) {
  for (const TypeCode type :
       {TC_NEX_Types_StringList, TC_NEX_Types_XOpenMessage, TC__sequence_any_MsgContext,
        TC_NEX_Sprig2_Properties, TC_NEX_Sprig2_PropertiesListList, test::recordsType,
        test::shortsType, test::booleansType, test::nestType}) {
    for (const uint32_t count : lengths) {
      EXPECT_EQ(errorOf(type, bytesOf(count, Bytes(400))), RUNTIME_ADR_COUNT) << type->name;
    }
    EXPECT_EQ(errorOf(type, bytesOf(101, Bytes(400))), RUNTIME_ADR_COUNT) << type->name;
    EXPECT_EQ(errorOf(type, bytesOf(1)), RUNTIME_ADR_COUNT) << type->name;
  }
}

TEST(Decoding, AllowsAsManyElementsAsTheBytesHold) {
  const Value target(TC_NEX_Types_StringList);
  EXPECT_EQ(decode(bytesOf(100, Bytes(400)), target), RUNTIME_ADR_OK);
  EXPECT_EQ(target.as<StringList>().length, 100U);
}

TEST(Decoding, TellsPaddingThatIsNotZero) {
  const Bytes text = bytesOf(5, "abcde\0\0\0"sv);
  for (const TypeCode type : {TC_string, TC_Object, TC_NEX_Types_OctetList}) {
    EXPECT_EQ(errorOf(type, text), RUNTIME_ADR_OK);
    for (size_t i = 9; i < text.size(); ++i) {
      for (const uint8_t byte : {1, 0x80, 0xff}) {
        Bytes bytes = text;
        bytes[i] = byte;
        EXPECT_EQ(errorOf(type, bytes), RUNTIME_ADR_PADDING) << i;
      }
    }
  }
}

TEST(Decoding, TellsNulsInsideOfText) {
  for (const std::string_view text : {"\0abc"sv, "a\0bc"sv, "abc\0"sv, "\0\0\0\0"sv}) {
    EXPECT_EQ(errorOf(TC_string, bytesOf(4, text)), RUNTIME_ADR_TEXT);
    EXPECT_EQ(errorOf(TC_Object, bytesOf(4, text)), RUNTIME_ADR_TEXT);
  }
  EXPECT_EQ(errorOf(TC_NEX_Types_OctetList, bytesOf(4, "a\0b\0"sv)), RUNTIME_ADR_OK);
}

TEST(Decoding, TellsNumbersThatDoNotFit) {
  for (const int64_t number :
       std::initializer_list<int64_t>{-32769, 32768, 65535, 65536, 0x7fffffff, -0x80000000LL}) {
    EXPECT_EQ(errorOf(TC_short, bytesOf(number)), RUNTIME_ADR_RANGE) << number;
  }
  for (const int32_t number : {256, 0x01000000, 0x7fffffff, -1, -256}) {
    EXPECT_EQ(errorOf(TC_octet, bytesOf(number)), RUNTIME_ADR_RANGE) << number;
    EXPECT_EQ(errorOf(TC_boolean, bytesOf(number)), RUNTIME_ADR_RANGE) << number;
  }
  for (const int32_t number : {-32768, -1, 0, 32767}) {
    EXPECT_EQ(errorOf(TC_short, bytesOf(number)), RUNTIME_ADR_OK) << number;
  }
}

TEST(Decoding, TellsTypesThatThereAreNot) {
  int unknown = 0;
  for (uint32_t tag = 1; tag != 0; tag = tag < 1000 ? tag + 1 : tag << 1) {
    const int32_t error = errorOf(TC_any, bytesOf(tag, Bytes(4000)));
    unknown += error == RUNTIME_ADR_TYPE ? 1 : 0;
  }
  EXPECT_GT(unknown, 0);
}

TEST(Decoding, TellsNamesOfTypesThatNobodyRegistered) {
  test::registerTypes();
  const Value value(test::recordType);
  const any wrapped{test::recordType, value.data()};
  Bytes bytes = encoded(TC_any, &wrapped);
  const std::string_view name = "Test::Record";
  const auto at = std::search(bytes.begin(), bytes.end(), name.begin(), name.end());
  ASSERT_NE(at, bytes.end());
  EXPECT_EQ(errorOf(TC_any, bytes), RUNTIME_ADR_OK);
  for (const char letter : {'t', '\0', '\xff'}) {
    *at = static_cast<uint8_t>(letter);
    EXPECT_EQ(errorOf(TC_any, bytes), RUNTIME_ADR_TYPE_NAME);
  }
}

TEST(Decoding, TellsElementsThatHaveNoEncoding) {
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
  for (const uint32_t count : {1U, 2U, 0xffffffffU}) {
    EXPECT_EQ(errorOf(&nothings, bytesOf(count)), RUNTIME_ADR_EMPTY_ELEMENT) << count;
  }
}

TEST(Decoding, KeepsWhatItGotBeforeAFailure) {
  const Value target(test::recordType);
  EXPECT_EQ(decode(bytesOf(200, -2, 1, -3, 4, "rose"sv, 256), target), RUNTIME_ADR_RANGE);
  EXPECT_EQ(target.as<test::Record>().octet, 200);
  EXPECT_EQ(target.as<test::Record>().small, -3);
  EXPECT_STREQ(target.as<test::Record>().text, "rose");
  EXPECT_EQ(target.as<test::Record>().octets.length, 0U);
}

TEST(Decoding, KeepsWhatItGotOfALongListBeforeAFailure) {
  Bytes bytes = bytesOf(1000);
  for (int i = 0; i < 999; ++i) {
    const Bytes text = bytesOf(4, "text"sv);
    bytes.insert(bytes.end(), text.begin(), text.end());
  }
  const Value target(TC_NEX_Types_StringList);
  EXPECT_EQ(decode(bytesOf(bytes, 4), target), RUNTIME_ADR_TRUNCATED);
  ASSERT_GE(target.as<StringList>().length, 999U);
  EXPECT_STREQ(target.as<StringList>().buffer[998], "text");
}

TEST(HostileBytes, TakeNoMoreMemoryThanAMultipleOfTheirSize) {
  test::registerTypes();
  constexpr size_t size = 40000;
  for (const TypeCode type : test::allTypes()) {
    for (const uint32_t word : {0U, 1U, 2U, 100U, 1000U, 0xffffffffU}) {
      EXPECT_TRUE(isDecodedInBounds(type, repeated(word, size))) << type->name << ' ' << word;
    }
    for (const uint32_t smallest : {4, 8, 12, 16, 28, 32, 36}) {
      EXPECT_TRUE(isDecodedInBounds(type, bytesOf((size - 4) / smallest, Bytes(size - 4))))
          << type->name << ' ' << smallest;
    }
  }
}

TEST(HostileBytes, TakeNoMoreMemoryWhereListsWithinListsSayThatTheyAreLong) {
  test::registerTypes();
  EXPECT_TRUE(isDecodedInBounds(
      test::nestType, longListsWithinLists(Value(test::nestType, test::nestedLists(1)),
                                           Value(test::nestType, test::nestedLists(2)), 4)));
  EXPECT_TRUE(isDecodedInBounds(
      TC_NEX_Sprig2_Properties,
      longListsWithinLists(Value(TC_NEX_Sprig2_Properties, test::nestedProperties(1)),
                           Value(TC_NEX_Sprig2_Properties, test::nestedProperties(2)), 8)));
}

TEST(Decoding, TakesNoMoreMemoryThanAMultipleOfTheBytes) {
  EXPECT_EQ(test::rerun("HostileBytes.*", "KRT_MALLOC", "system"), 0);
}

// Comparison of values.
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/values.h"

using test::anyOf;
using test::listOf;
using test::stringsOf;
using test::Value;

namespace {

// What all ways of comparing say, in both directions.
bool isEqual(TypeCode type, const void *a, const void *b) {
  Environment environment{};
  const bool result = _t_generic_equal(type, &environment, a, b) != 0;
  EXPECT_EQ(_t_generic_equal(type, &environment, b, a) != 0, result);
  EXPECT_EQ(_generic_equal(&environment, type, a, b) != 0, result);
  EXPECT_EQ(_t_generic_equal(type, nullptr, a, b) != 0, result);
  EXPECT_EQ(environment.exception, nullptr);
  return result;
}

bool isEqual(const Value &a, const Value &b) { return isEqual(a.type(), a.data(), b.data()); }

// Values that own nothing.
template <typename T> bool isEqualPlain(TypeCode type, T a, T b) { return isEqual(type, &a, &b); }

bool isEqualText(const char *a, const char *b) {
  const bool result = isEqualPlain(TC_string, a, b);
  EXPECT_EQ(isEqualPlain(TC_Object, a, b), result);
  return result;
}

template <typename T> bool isEqualAny(TypeCode aType, T a, TypeCode bType, T b) {
  return isEqualPlain(TC_any, any{aType, &a}, any{bType, &b});
}

} // namespace

TEST(Equality, OfNumbersIsThatOfTheirBits) {
  EXPECT_TRUE(isEqualPlain(TC_long, int32_t{-2}, int32_t{-2}));
  EXPECT_FALSE(isEqualPlain(TC_long, int32_t{-2}, int32_t{2}));
  EXPECT_TRUE(isEqualPlain(TC_ulong, uint32_t{0xffffffff}, uint32_t{0xffffffff}));
  EXPECT_FALSE(isEqualPlain(TC_ulong, uint32_t{0xffffffff}, uint32_t{0xfffffffe}));
  EXPECT_TRUE(isEqualPlain(TC_short, int16_t{-32768}, int16_t{-32768}));
  EXPECT_FALSE(isEqualPlain(TC_short, int16_t{256}, int16_t{0}));
  EXPECT_TRUE(isEqualPlain(TC_octet, uint8_t{255}, uint8_t{255}));
  EXPECT_FALSE(isEqualPlain(TC_octet, uint8_t{255}, uint8_t{127}));
  EXPECT_TRUE(isEqualPlain(TC_boolean, uint8_t{1}, uint8_t{1}));
  EXPECT_FALSE(isEqualPlain(TC_boolean, uint8_t{1}, uint8_t{0}));
  EXPECT_TRUE(isEqualPlain(test::countType, int32_t{7}, int32_t{7}));
  EXPECT_FALSE(isEqualPlain(test::countType, int32_t{7}, int32_t{8}));
}

TEST(Equality, OfTextsIsThatOfTheirBytes) {
  EXPECT_TRUE(isEqualText("rose", std::string("rose").c_str()));
  EXPECT_FALSE(isEqualText("rose", "Rose"));
  EXPECT_FALSE(isEqualText("rose", "roses"));
  EXPECT_FALSE(isEqualText("rose", ""));
}

TEST(Equality, TakesNullTextForEmptyText) {
  EXPECT_TRUE(isEqualText(nullptr, nullptr));
  EXPECT_TRUE(isEqualText(nullptr, ""));
  EXPECT_FALSE(isEqualText(nullptr, "rose"));
  EXPECT_TRUE(isEqual(Value(TC_NEX_Types_StringList, stringsOf({"a", nullptr})),
                      Value(TC_NEX_Types_StringList, stringsOf({"a", ""}))));
}

TEST(Equality, OfSequencesIsThatOfTheirElementsInOrder) {
  const Value list(TC_NEX_Types_StringList, stringsOf({"a", "b", "c"}));
  for (const auto &others :
       {stringsOf({"a", "b"}), stringsOf({"a", "b", "d"}), stringsOf({"a", "c", "b"}),
        stringsOf({"a", "b", "c", ""}), stringsOf({nullptr, "a", "b", "c"}), StringList{}}) {
    EXPECT_FALSE(isEqual(list, Value(TC_NEX_Types_StringList, others)));
  }
  EXPECT_TRUE(isEqual(list, Value(TC_NEX_Types_StringList, stringsOf({"a", "b", "c"}))));
}

TEST(Equality, OfOctetsIsThatOfTheirBytes) {
  const Value list(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 0, 255}));
  EXPECT_TRUE(
      isEqual(list, Value(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 0, 255}))));
  EXPECT_FALSE(
      isEqual(list, Value(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 0, 254}))));
  EXPECT_FALSE(isEqual(list, Value(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 0}))));
}

TEST(Equality, DoesNotLookAtRoomThatIsNotInUse) {
  const Value list(test::shortsType, listOf<Sequence, int16_t>({1, 2, 3, 4}));
  const Value other(test::shortsType, listOf<Sequence, int16_t>({1, 2, 3, 5}));
  list.as<Sequence>().length = other.as<Sequence>().length = 3;
  EXPECT_TRUE(isEqual(list, other));
  list.as<Sequence>().length = other.as<Sequence>().length = 0;
  EXPECT_TRUE(isEqual(list, other));
  EXPECT_TRUE(isEqual(list, Value(test::shortsType)));
}

TEST(Equality, OfStructsIsThatOfAllMembers) {
  const auto record = [] {
    return test::Record{.octet = 1,
                        .number = 2,
                        .flag = 1,
                        .small = 4,
                        .text = mg_strdup("rose"),
                        .last = 6,
                        .large = 7,
                        .reference = mg_strdup("bed#1"),
                        .octets = listOf<OctetList, uint8_t>({8, 9})};
  };
  const Value value(test::recordType, record());
  using Change = void (*)(test::Record &);
  for (const Change change : std::initializer_list<Change>{
           [](auto &r) { r.octet = 2; }, [](auto &r) { r.number = 3; }, [](auto &r) { r.flag = 0; },
           [](auto &r) { r.small = 5; }, [](auto &r) { r.text[0] = 'n'; },
           [](auto &r) { r.last = 7; }, [](auto &r) { r.large = 8; },
           [](auto &r) { r.reference[4] = '2'; }, [](auto &r) { r.octets.buffer[1] = 0; }}) {
    const Value changed(test::recordType, record());
    EXPECT_TRUE(isEqual(value, changed));
    change(changed.as<test::Record>());
    EXPECT_FALSE(isEqual(value, changed));
  }
}

TEST(Equality, DoesNotLookAtPadding) {
  Value zeroed(test::recordType);
  Value scribbled(test::recordType);
  scribbled.scribble();
  for (const Value *value : {&zeroed, &scribbled}) {
    auto &record = value->as<test::Record>();
    record.octet = record.flag = record.last = 1;
    record.number = 2;
    record.small = 3;
    record.large = 4;
    record.text = record.reference = nullptr;
    record.octets = {};
  }
  EXPECT_TRUE(isEqual(zeroed, scribbled));
}

TEST(Equality, OfAnysIsThatOfTheirTypesAndValues) {
  EXPECT_TRUE(isEqualAny(TC_long, int32_t{1}, TC_long, int32_t{1}));
  EXPECT_FALSE(isEqualAny(TC_long, int32_t{1}, TC_long, int32_t{2}));
  EXPECT_FALSE(isEqualAny(TC_long, int32_t{1}, TC_ulong, int32_t{1}));
  EXPECT_FALSE(isEqualAny(TC_octet, uint8_t{1}, TC_boolean, uint8_t{1}));
  EXPECT_FALSE(isEqualAny(TC_string, "rose", TC_Object, "rose"));
  EXPECT_TRUE(isEqualAny(TC_string, "", TC_string, static_cast<const char *>(nullptr)));
}

TEST(Equality, OfAnysIsThatOfTheSameTypeDescribedTwice) {
  const TypeCodeRecord again = *TC_long;
  EXPECT_TRUE(isEqualAny(&again, int32_t{1}, TC_long, int32_t{1}));
}

TEST(Equality, OfEmptyAnysIsThatOfEachOtherOnly) {
  EXPECT_TRUE(isEqualPlain(TC_any, any{}, any{}));
  int32_t number = 0;
  EXPECT_FALSE(isEqualPlain(TC_any, any{}, any{TC_long, &number}));
  EXPECT_FALSE(isEqualPlain(TC_any, any{}, any{TC_long, nullptr}));
}

TEST(Equality, OfAnysWithoutValueIsThatOfEachOtherOnly) {
  int32_t number = 0;
  EXPECT_TRUE(isEqualPlain(TC_any, any{TC_long, nullptr}, any{TC_long, nullptr}));
  EXPECT_FALSE(isEqualPlain(TC_any, any{TC_long, nullptr}, any{TC_ulong, nullptr}));
  EXPECT_FALSE(isEqualPlain(TC_any, any{TC_long, nullptr}, any{TC_long, &number}));
}

TEST(Equality, OfPropertiesIsThatOfKeysAndValues) {
  const Value list(TC_NEX_Sprig2_Properties, test::someProperties());
  for (size_t i = 0; i < list.as<Properties>().length; ++i) {
    const Value other(TC_NEX_Sprig2_Properties, test::someProperties());
    EXPECT_TRUE(isEqual(list, other));
    Property &property = other.as<Properties>().buffer[i];
    std::swap(property.key, other.as<Properties>().buffer[i == 0 ? 1 : 0].key);
    EXPECT_FALSE(isEqual(list, other)) << i;
  }
  const Value inner(TC_NEX_Sprig2_Properties, test::someProperties());
  auto *innerList = static_cast<Properties *>(inner.as<Properties>().buffer[5].value.value);
  innerList->buffer[0].key[0] = 'T';
  EXPECT_FALSE(isEqual(list, inner));
}

TEST(Equality, IsFoundDownToTheDeepestValue) {
  for (const test::Nesting &nesting : test::nestings()) {
    EXPECT_TRUE(isEqual(*nesting.make(nesting.deepest), *nesting.make(nesting.deepest)))
        << nesting.name;
    EXPECT_FALSE(isEqual(*nesting.make(nesting.deepest), *nesting.make(nesting.deepest - 1)))
        << nesting.name;
  }
}

TEST(Equality, IsNotLookedForInAnythingDeeper) {
  for (const test::Nesting &nesting : test::nestings()) {
    for (const size_t depth : {nesting.tooDeep, size_t{1000}}) {
      const auto a = nesting.make(depth);
      const auto b = nesting.make(depth);
      Environment environment{};
      EXPECT_EQ(_t_generic_equal(a->type(), &environment, a->data(), b->data()), 0);
      EXPECT_TRUE(test::takenFrom(environment).has_value()) << nesting.name << ' ' << depth;
      EXPECT_TRUE(test::thrown([&] {
                    _generic_equal(nullptr, a->type(), a->data(), b->data());
                  }).has_value())
          << nesting.name << ' ' << depth;
    }
  }
}

TEST(Equality, OfAValueAndItselfIsFound) {
  test::registerTypes();
  test::RandomValues random(4);
  for (const TypeCode type : test::allTypes()) {
    Value value(type);
    random.fill(value);
    EXPECT_TRUE(isEqual(value, value)) << type->name;
  }
}

// Copies of values.
#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/values.h"

using test::anyOf;
using test::listOf;
using test::Value;

namespace {

// Copies into storage that had another content.
std::unique_ptr<Value> copyOf(const Value &value) {
  auto copy = std::make_unique<Value>(value.type());
  copy->scribble();
  Environment environment{};
  _t_generic_copy(value.type(), &environment, value.data(), copy->data());
  EXPECT_EQ(environment.exception, nullptr);
  return copy;
}

bool isEqual(const Value &a, const Value &b) {
  return _t_generic_equal(a.type(), nullptr, a.data(), b.data()) != 0;
}

} // namespace

TEST(Copy, IsEqualToItsOriginal) {
  test::registerTypes();
  test::RandomValues random(5);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value value(type);
      random.fill(value);
      EXPECT_TRUE(isEqual(value, *copyOf(value))) << type->name;
    }
  }
}

TEST(Copy, OutlivesItsOriginal) {
  auto original = std::make_unique<Value>(TC_NEX_Sprig2_Properties, test::someProperties());
  const auto copy = copyOf(*original);
  original.reset();
  EXPECT_TRUE(isEqual(*copy, Value(TC_NEX_Sprig2_Properties, test::someProperties())));
}

TEST(Copy, CanBeChangedWithoutItsOriginal) {
  const Value original(TC_NEX_Sprig2_Properties, test::someProperties());
  const auto copy = copyOf(original);
  auto &list = copy->as<Properties>();
  list.buffer[0].key[0] = 'T';
  (*static_cast<char **>(list.buffer[0].value.value))[0] = 'n';
  *static_cast<int32_t *>(list.buffer[1].value.value) = 5;
  auto *removed = static_cast<Property *>(seq_remove(&list, 3, sizeof(Property)));
  nex_free_generic(removed, TC_NEX_Sprig2_Property);
  mg_free(removed);
  EXPECT_TRUE(isEqual(original, Value(TC_NEX_Sprig2_Properties, test::someProperties())));
}

TEST(Copy, OfEmptyValuesIsEmpty) {
  for (const TypeCode type : test::allTypes()) {
    const Value empty(type);
    EXPECT_TRUE(isEqual(empty, *copyOf(empty))) << type->name;
  }
}

TEST(Copy, OfNullTextIsEqualToEmptyText) {
  const Value list(TC_NEX_Types_StringList, test::stringsOf({nullptr, "a"}));
  EXPECT_TRUE(isEqual(*copyOf(list), Value(TC_NEX_Types_StringList, test::stringsOf({"", "a"}))));
}

TEST(Copy, OfASequenceCanGrow) {
  const Value list(TC_NEX_Types_StringList, test::stringsOf({"a", "b"}));
  list.as<StringList>().length = 1;
  const auto copy = copyOf(list);
  list.as<StringList>().length = 2;
  auto &copied = copy->as<StringList>();
  EXPECT_EQ(copied.length, 1U);
  EXPECT_GE(copied.maximum, 1U);
  char *text = mg_strdup("c");
  seq_add(&copied, &text, sizeof text);
  EXPECT_TRUE(isEqual(*copy, Value(TC_NEX_Types_StringList, test::stringsOf({"a", "c"}))));
}

TEST(Copy, OfASequenceWithRoomOnlyIsEmpty) {
  const Value list(TC_NEX_Types_StringList, test::stringsOf({"a"}));
  list.as<StringList>().length = 0;
  const auto copy = copyOf(list);
  list.as<StringList>().length = 1;
  EXPECT_EQ(copy->as<StringList>().length, 0U);
}

TEST(Copy, OfAnAnyHasItsType) {
  for (const TypeCode type : test::allTypes()) {
    Value inner(type);
    const any wrapped{type, inner.data()};
    const Value copy(TC_any);
    _t_generic_copy(TC_any, nullptr, &wrapped, copy.data());
    EXPECT_NE(TypeCode_equal(copy.as<any>().type, type), 0) << type->name;
    EXPECT_NE(copy.as<any>().value, inner.data()) << type->name;
  }
}

TEST(Copy, OfAnAnyWithoutValueHasNone) {
  const Value original(TC_any, any{TC_long, nullptr});
  const auto copy = copyOf(original);
  EXPECT_NE(TypeCode_equal(copy->as<any>().type, TC_long), 0);
  EXPECT_EQ(copy->as<any>().value, nullptr);
}

TEST(Copy, IsMadeByEitherFunction) {
  const Value original(TC_NEX_Sprig2_Properties, test::someProperties());
  Value copy(original.type());
  copy.scribble();
  Environment environment{};
  _generic_copy(&environment, original.type(), original.data(), copy.data());
  EXPECT_EQ(environment.exception, nullptr);
  EXPECT_TRUE(isEqual(original, copy));
}

TEST(Copy, IsMadeOfTheDeepestValue) {
  for (const test::Nesting &nesting : test::nestings()) {
    const auto original = nesting.make(nesting.deepest);
    EXPECT_TRUE(isEqual(*original, *copyOf(*original))) << nesting.name;
  }
}

TEST(Copy, IsNotMadeOfAnythingDeeper) {
  for (const test::Nesting &nesting : test::nestings()) {
    for (const size_t depth : {nesting.tooDeep, size_t{1000}}) {
      const auto original = nesting.make(depth);
      Value copy(original->type());
      copy.scribble();
      Environment environment{};
      _t_generic_copy(original->type(), &environment, original->data(), copy.data());
      const auto exception = test::takenFrom(environment);
      ASSERT_TRUE(exception.has_value()) << nesting.name << ' ' << depth;
      EXPECT_EQ(exception->typeName, "ExErrorMsg");
      EXPECT_NE(exception->text, "");
      EXPECT_TRUE(copy.isZero()) << nesting.name << ' ' << depth;
    }
  }
}

TEST(Copy, ThrowsWithoutAnEnvironment) {
  const auto original = test::nestings().front().make(1000);
  Value copy(original->type());
  copy.scribble();
  EXPECT_TRUE(test::thrown([&] {
                _t_generic_copy(original->type(), nullptr, original->data(), copy.data());
              }).has_value());
  EXPECT_TRUE(copy.isZero());
}

TEST(Copy, IsNothingWhereTheEndOfAValueFails) {
  const auto deep = [] {
    return test::propertyOf("deep", anyOf(TC_NEX_Sprig2_Properties, test::nestedProperties(64)));
  };
  const Value original(
      TC_NEX_Sprig2_Properties,
      listOf<Properties>(
          {test::propertyOf("text", anyOf(TC_string, mg_strdup("rose"))),
           test::propertyOf("list", anyOf(TC_NEX_Sprig2_Properties, test::someProperties())),
           deep()}));
  Value copy(original.type());
  copy.scribble();
  Environment environment{};
  _generic_copy(&environment, original.type(), original.data(), copy.data());
  EXPECT_TRUE(test::takenFrom(environment).has_value());
  EXPECT_TRUE(copy.isZero());
}

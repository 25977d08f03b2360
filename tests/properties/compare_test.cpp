// Properties and values compared with each other.
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/properties.h>
#include <sprig/runtime.h>

#include "support/exceptions.h"
#include "support/values.h"

using test::anyOf;
using test::listOf;
using test::propertyOf;
using test::thrown;
using test::Value;

namespace {

std::unique_ptr<Value> copyOf(const Value &value) {
  auto copy = std::make_unique<Value>(value.type());
  _t_generic_copy(value.type(), nullptr, value.data(), copy->data());
  return copy;
}

// The answer where none is expected to fail.
bool isEqual(TypeCode type, const void *a, const void *b) {
  Environment environment{};
  const int result = krt_generic_equal(type, &environment, a, b);
  EXPECT_EQ(environment.exception, nullptr);
  EXPECT_TRUE(result == 0 || result == 1) << result;
  return result != 0;
}
template <typename T> bool isEqualPlain(TypeCode type, const T &a, const T &b) {
  return isEqual(type, &a, &b);
}

// What has no encoding, each for a reason of its own.
Value withoutValue() { return {TC_any, any{TC_long, nullptr}}; }
Value tooDeep() { return {TC_any, test::nestedAnys(66)}; }

void expectMarshallingError(const Value &a, const Value &b, int32_t code) {
  Environment environment{};
  EXPECT_EQ(krt_generic_equal(TC_any, &environment, a.data(), b.data()), 0);
  const auto exception = test::takenFrom(environment);
  ASSERT_TRUE(exception.has_value());
  EXPECT_EQ(exception->typeName, "ExErrorMsg");
  EXPECT_EQ(exception->defaultText, "Marshalling error (%1$d)");
  EXPECT_EQ(exception->arguments, std::vector<std::string>{std::to_string(code)});
  EXPECT_EQ(exception->text, "Marshalling error (" + std::to_string(code) + ")");
  EXPECT_EQ(exception->catalog, std::nullopt);
}

// A property with a value of its own.
class Named {
public:
  Named(const char *key, const any &value)
      : property_(TC_NEX_Sprig2_Property, propertyOf(key, value)) {}

  template <typename T>
  Named(const char *key, TypeCode type, const T &value) : Named(key, anyOf(type, value)) {}

  const Property *get() const { return &property_.as<Property>(); }

private:
  Value property_;
};

Named text(const char *key, const char *value) { return {key, TC_string, mg_strdup(value)}; }

// Nothing may be thrown by a comparison.
template <auto compare> bool compared(const Named &a, const Named &b) {
  int result = -1;
  const auto exception = thrown([&] { result = compare(a.get(), b.get()); });
  EXPECT_EQ(exception, std::nullopt);
  EXPECT_TRUE(result == 0 || result == 1) << result;
  return result == 1;
}
constexpr auto equal = compared<property_equal>;
constexpr auto matches = compared<property_match>;

TypeCode withoutAlias(TypeCode type) {
  while (type->kind == TYPE_KIND_ALIAS) {
    type = type->members[0].type;
  }
  return type;
}

// Whether a value of the type cannot be taken for text.
bool isNumberOrSequence(TypeCode type) {
  switch (withoutAlias(type)->kind) {
  case TYPE_KIND_SHORT:
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
  case TYPE_KIND_SEQUENCE:
    return true;
  default:
    return false;
  }
}

// Structs of a program's own, by what lies at their start.
struct Tagged {
  char *text;
  int32_t number;
};
template <size_t count>
constexpr TypeCodeRecord structOf(const char *name, const TypeCodeMember (&members)[count],
                                  int32_t kind = TYPE_KIND_STRUCT) {
  return {name, kind, sizeof(Tagged), nullptr, members, count, nullptr};
}
const TypeCodeMember numberMembers[] = {{"number", TC_long}, {"text", TC_string}};
const TypeCodeRecord numberFirst[1] = {structOf("Test::NumberFirst", numberMembers)};
const TypeCodeMember textMembers[] = {{"text", TC_string}, {"number", TC_long}};
const TypeCodeRecord textFirst[1] = {structOf("Test::TextFirst", textMembers)};
const TypeCodeRecord empty[1] = {
    {"Test::Empty", TYPE_KIND_STRUCT, 0, nullptr, textMembers, 0, nullptr}};
const TypeCodeMember listMembers[] = {{"list", TC_NEX_Types_OctetList}};
const TypeCodeRecord listFirst[1] = {structOf("Test::ListFirst", listMembers)};
// The same in another struct, an exception and an alias.
const TypeCodeMember innerNumber[] = {{"inner", numberFirst}};
const TypeCodeRecord numberInside[1] = {structOf("Test::NumberInside", innerNumber)};
const TypeCodeRecord numberThrown[1] = {
    structOf("Test::ExNumber", numberMembers, TYPE_KIND_EXCEPTION)};
const TypeCodeRecord numberAlias[1] = {structOf("Test::NumberAlias", innerNumber, TYPE_KIND_ALIAS)};
const TypeCodeMember innerText[] = {{"inner", textFirst}};
const TypeCodeRecord textInside[1] = {structOf("Test::TextInside", innerText)};
const TypeCodeRecord textAlias[1] = {structOf("Test::TextAlias", innerText, TYPE_KIND_ALIAS)};
const TypeCodeMember innerEmpty[] = {{"inner", empty}};
const TypeCodeRecord emptyInside[1] = {structOf("Test::EmptyInside", innerEmpty)};

class ComparisonTest : public testing::Test {
protected:
  ComparisonTest() { test::registerTypes(); }
};

using GenericEqual = ComparisonTest;
using PropertyEqual = ComparisonTest;
using PropertyMatch = ComparisonTest;

} // namespace

TEST_F(GenericEqual, HoldsForCopiesOfEveryType) {
  test::RandomValues random(21);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value value(type);
      random.fill(value);
      EXPECT_TRUE(isEqual(type, value.data(), copyOf(value)->data())) << type->name;
    }
  }
}

TEST_F(GenericEqual, HoldsExactlyWhereTheEncodingsAreTheSame) {
  test::RandomValues random(22);
  for (const TypeCode type : test::allTypes()) {
    for (int i = 0; i < 20; ++i) {
      Value a(type);
      Value b(type);
      random.fill(a);
      random.fill(b);
      EXPECT_EQ(isEqual(type, a.data(), b.data()), encoded(a) == encoded(b)) << type->name;
    }
  }
}

TEST_F(GenericEqual, SeesADifferenceAnywhere) {
  EXPECT_FALSE(isEqualPlain<int32_t>(TC_long, 5, 6));
  EXPECT_FALSE(isEqualPlain<int16_t>(TC_short, 1, -1));
  EXPECT_FALSE(isEqualPlain<const char *>(TC_string, "rose", "rosa"));
  EXPECT_FALSE(isEqualPlain<const char *>(TC_string, "rose", "roses"));
  const Value list(TC_NEX_Sprig2_Properties, test::someProperties());
  const auto copy = copyOf(list);
  Properties *inner = properties_get_properties(&copy->as<Properties>(), "list");
  properties_get_string(inner, "text")[5] = '#';
  EXPECT_FALSE(isEqual(list.type(), list.data(), copy->data()));
}

TEST_F(GenericEqual, TakesNullTextForEmptyText) {
  EXPECT_TRUE(isEqualPlain<const char *>(TC_string, nullptr, ""));
  EXPECT_TRUE(isEqualPlain<const char *>(TC_Object, nullptr, ""));
}

TEST_F(GenericEqual, DoesNotLookAtRoomThatIsNotUsed) {
  uint8_t octets[] = {1, 2, 3};
  uint8_t others[] = {1, 2, 4};
  EXPECT_TRUE(
      isEqualPlain(TC_NEX_Types_OctetList, OctetList{3, 2, octets}, OctetList{2, 2, others}));
  EXPECT_FALSE(
      isEqualPlain(TC_NEX_Types_OctetList, OctetList{3, 3, octets}, OctetList{3, 3, others}));
}

TEST_F(GenericEqual, HoldsForTheSameAddressWithoutALook) {
  for (const Value &value : {withoutValue(), tooDeep()}) {
    EXPECT_TRUE(isEqual(TC_any, value.data(), value.data()));
  }
  EXPECT_TRUE(isEqual(TC_any, nullptr, nullptr));
}

TEST_F(GenericEqual, FailsWhereOneHasNoEncoding) {
  const Value fine(TC_any, anyOf(TC_long, int32_t{5}));
  expectMarshallingError(withoutValue(), fine, RUNTIME_ADR_NO_VALUE);
  expectMarshallingError(fine, withoutValue(), RUNTIME_ADR_NO_VALUE);
  expectMarshallingError(tooDeep(), fine, RUNTIME_ADR_DEPTH);
  expectMarshallingError(fine, tooDeep(), RUNTIME_ADR_DEPTH);
  expectMarshallingError(withoutValue(), withoutValue(), RUNTIME_ADR_NO_VALUE);
}

TEST_F(GenericEqual, FailsForTheReasonOfTheFirstWhereBothDo) {
  expectMarshallingError(withoutValue(), tooDeep(), RUNTIME_ADR_NO_VALUE);
  expectMarshallingError(tooDeep(), withoutValue(), RUNTIME_ADR_DEPTH);
}

TEST_F(GenericEqual, ForgetsWhatIsInTheEnvironment) {
  int32_t numbers[] = {5, 5, 6};
  for (const int32_t *other : {&numbers[0], &numbers[1], &numbers[2]}) {
    Environment environment{&environment, {}};
    EXPECT_EQ(krt_generic_equal(TC_long, &environment, &numbers[0], other), *other == 5 ? 1 : 0);
    EXPECT_EQ(environment.exception, nullptr);
  }
  Environment environment{&environment, {}};
  const Value fine(TC_any);
  EXPECT_EQ(krt_generic_equal(TC_any, &environment, withoutValue().data(), fine.data()), 0);
  EXPECT_TRUE(test::takenFrom(environment).has_value());
}

TEST_F(PropertyEqual, NeedsTheSameKey) {
  EXPECT_TRUE(equal(text("key", "a"), text("key", "a")));
  EXPECT_FALSE(equal(text("key", "a"), text("Key", "a")));
  EXPECT_FALSE(equal(text("key", "a"), text("keys", "a")));
  EXPECT_FALSE(equal(text("key", "a"), text("", "a")));
}

TEST_F(PropertyEqual, TakesNoKeyAtAllForTheEmptyOne) {
  EXPECT_TRUE(equal(text(nullptr, "a"), text("", "a")));
  EXPECT_TRUE(equal(text(nullptr, "a"), text(nullptr, "a")));
  EXPECT_FALSE(equal(text("key", "a"), text(nullptr, "a")));
  EXPECT_TRUE(matches(text(nullptr, "*"), text("", "a")));
}

TEST_F(PropertyEqual, NeedsTheSameContent) {
  EXPECT_TRUE(equal({"key", TC_long, int32_t{5}}, {"key", TC_long, int32_t{5}}));
  EXPECT_FALSE(equal({"key", TC_long, int32_t{5}}, {"key", TC_long, int32_t{6}}));
  EXPECT_FALSE(equal(text("key", "a"), text("key", "b")));
  EXPECT_TRUE(equal({"key", TC_NEX_Sprig2_Properties, test::someProperties()},
                    {"key", TC_NEX_Sprig2_Properties, test::someProperties()}));
  EXPECT_FALSE(equal({"key", TC_NEX_Sprig2_Properties, test::someProperties()},
                     {"key", TC_NEX_Sprig2_Properties, Properties{}}));
}

TEST_F(PropertyEqual, NeedsTheSameType) {
  EXPECT_FALSE(equal(text("key", "5"), {"key", TC_long, int32_t{5}}));
  EXPECT_FALSE(equal({"key", TC_long, int32_t{5}}, {"key", TC_ulong, uint32_t{5}}));
  EXPECT_FALSE(equal({"key", TC_long, int32_t{5}}, {"key", TC_short, int16_t{5}}));
  EXPECT_FALSE(equal(text("key", "a"), {"key", TC_Object, mg_strdup("a")}));
  EXPECT_FALSE(equal({"key", any{}}, text("key", "")));
}

TEST_F(PropertyEqual, TakesPatternsForWhatTheyAre) {
  EXPECT_FALSE(equal(text("key", "*"), text("key", "a")));
  EXPECT_TRUE(equal(text("key", "[a"), text("key", "[a")));
}

TEST_F(PropertyEqual, HoldsForValuesOfNoType) {
  EXPECT_TRUE(equal({"key", any{}}, {"key", any{}}));
}

TEST_F(PropertyEqual, HoldsForCopiesOfEveryType) {
  test::RandomValues random(23);
  for (const TypeCode type : test::allTypes()) {
    Value value(type);
    random.fill(value);
    const Value wrapped(TC_any);
    const any borrowed{type, value.data()};
    _t_generic_copy(TC_any, nullptr, &borrowed, wrapped.data());
    const Property a{const_cast<char *>("key"), borrowed};
    const Property b{const_cast<char *>("key"), wrapped.as<any>()};
    EXPECT_EQ(property_equal(&a, &b), 1) << type->name;
  }
}

TEST_F(PropertyEqual, DoesNotHoldForWhatHasNoEncoding) {
  const Named fine("key", TC_long, int32_t{5});
  const Named bad("key", any{TC_long, nullptr});
  const Named other("key", any{TC_long, nullptr});
  const Named deep("key", TC_any, test::nestedAnys(70));
  EXPECT_FALSE(equal(fine, bad));
  EXPECT_FALSE(equal(bad, fine));
  EXPECT_FALSE(equal(bad, other));
  EXPECT_FALSE(equal(deep, bad));
}

TEST_F(PropertyEqual, HoldsForTheSamePropertyWithoutALook) {
  const Named bad("key", any{TC_long, nullptr});
  EXPECT_TRUE(equal(bad, bad));
}

TEST_F(PropertyMatch, GoesByThePattern) {
  EXPECT_TRUE(matches(text("key", "ver*"), text("key", "version1")));
  EXPECT_FALSE(matches(text("key", "ver*"), text("key", "1version")));
  EXPECT_TRUE(matches(text("key", "[a-m]?"), text("key", "bx")));
  EXPECT_TRUE(matches(text("key", "*"), text("key", "")));
  EXPECT_TRUE(matches(text("key", ""), text("key", "")));
  EXPECT_FALSE(matches(text("key", ""), text("key", "a")));
  EXPECT_FALSE(matches(text("key", "**"), text("key", "")));
}

TEST_F(PropertyMatch, HasAPatternOnTheFirstSideOnly) {
  EXPECT_FALSE(matches(text("key", "version1"), text("key", "ver*")));
  EXPECT_TRUE(matches(text("key", "ver\\*"), text("key", "ver*")));
}

TEST_F(PropertyMatch, NeedsTheSameKey) {
  EXPECT_FALSE(matches(text("key", "*"), text("Key", "a")));
  EXPECT_FALSE(matches(text("*", "*"), text("key", "a")));
  EXPECT_TRUE(matches(text("*", "*"), text("*", "a")));
  EXPECT_FALSE(matches({"key", TC_long, int32_t{5}}, {"keys", TC_long, int32_t{5}}));
}

TEST_F(PropertyMatch, FailsForAPatternThatIsMalformed) {
  EXPECT_FALSE(matches(text("key", "a["), text("key", "a")));
  EXPECT_FALSE(matches(text("key", "["), text("key", "[")));
  const Named same = text("key", "[");
  EXPECT_FALSE(matches(same, same)) << "a pattern is not compared by its address";
}

TEST_F(PropertyMatch, FailsForNoText) {
  const char *none = nullptr;
  EXPECT_FALSE(matches({"key", TC_string, none}, text("key", "")));
  EXPECT_FALSE(matches(text("key", "*"), {"key", TC_string, none}));
  EXPECT_FALSE(matches(text("key", ""), {"key", TC_Object, none}));
  EXPECT_FALSE(matches({"key", TC_string, none}, {"key", TC_string, none}));
}

TEST_F(PropertyMatch, FailsForNoValue) {
  EXPECT_FALSE(matches({"key", any{TC_string, nullptr}}, text("key", "")));
  EXPECT_FALSE(matches(text("key", "*"), {"key", any{TC_string, nullptr}}));
  EXPECT_FALSE(matches(text("key", "*"), {"key", any{}}));
  EXPECT_FALSE(matches(text("key", "*"), {"key", any{TC_long, nullptr}}));
}

TEST_F(PropertyMatch, TakesTheSecondForTextWithoutALookAtItsType) {
  EXPECT_TRUE(matches(text("key", "ver*"), {"key", TC_Object, mg_strdup("version1")}));
  EXPECT_FALSE(matches(text("key", "ver*"), {"key", TC_Object, mg_strdup("1")}));
  EXPECT_TRUE(matches(text("key", "r*r"), {"key", TC_NEX_Sprig2_Repeater, mg_strdup("repeater")}));
  static const TypeCodeRecord another[1] = {
      {"Test::Text", TYPE_KIND_STRING, sizeof(char *), nullptr, nullptr, 0, nullptr}};
  EXPECT_TRUE(matches(text("key", "ver*"), {"key", another, mg_strdup("version1")}));
}

TEST_F(PropertyMatch, FailsForWhatCannotBeText) {
  int count = 0;
  for (const TypeCode type : test::allTypes()) {
    if (isNumberOrSequence(type)) {
      void *value = mg_malloc(type->size);
      std::memset(value, 0x41, type->size);
      const Property property{const_cast<char *>("key"), {type, value}};
      EXPECT_EQ(property_match(text("key", "*").get(), &property), 0) << type->name;
      mg_free(value);
      ++count;
    }
  }
  EXPECT_GE(count, 10);
}

TEST_F(PropertyMatch, FailsForStructsThatDoNotBeginWithText) {
  for (const TypeCode type :
       {TypeCode{numberFirst}, TypeCode{numberInside}, TypeCode{numberThrown},
        TypeCode{numberAlias}, TypeCode{listFirst}, TypeCode{empty}, TypeCode{emptyInside}}) {
    std::vector<uint8_t> bytes(sizeof(Tagged), 0x41); // no address
    const Property property{const_cast<char *>("key"), {type, bytes.data()}};
    EXPECT_EQ(property_match(text("key", "*").get(), &property), 0) << type->name;
  }
  uint8_t byte = 0x41;
  const Property property{const_cast<char *>("key"), {empty, &byte}};
  EXPECT_EQ(property_match(text("key", "*").get(), &property), 0) << "nothing of it is looked at";
}

TEST_F(PropertyMatch, TakesAStructForTheTextThatItBeginsWith) {
  std::string version = "version1";
  Tagged tagged{version.data(), 7};
  for (const TypeCode type : {TypeCode{textFirst}, TypeCode{textInside}, TypeCode{textAlias}}) {
    const Property property{const_cast<char *>("key"), {type, &tagged}};
    EXPECT_EQ(property_match(text("key", "ver*").get(), &property), 1) << type->name;
    EXPECT_EQ(property_match(text("key", "x*").get(), &property), 0) << type->name;
  }
}

TEST_F(PropertyMatch, GoesByTheTypeAndNotByTheAddressOfItsDescription) {
  static const TypeCodeRecord twin[1] = {*TC_string};
  EXPECT_TRUE(matches({"key", twin, mg_strdup("ver*")}, text("key", "version1")));
}

TEST_F(PropertyMatch, IsEqualityForOtherTypes) {
  EXPECT_TRUE(matches({"key", TC_long, int32_t{5}}, {"key", TC_long, int32_t{5}}));
  EXPECT_FALSE(matches({"key", TC_long, int32_t{5}}, {"key", TC_long, int32_t{6}}));
  EXPECT_FALSE(matches({"key", TC_long, int32_t{5}}, text("key", "5")));
  EXPECT_FALSE(matches({"key", TC_Object, mg_strdup("ver*")}, text("key", "version1")));
  EXPECT_FALSE(matches({"key", TC_Object, mg_strdup("*")}, {"key", TC_Object, mg_strdup("a")}));
  EXPECT_TRUE(matches({"key", TC_Object, mg_strdup("*")}, {"key", TC_Object, mg_strdup("*")}));
  EXPECT_FALSE(matches({"key", TC_any, anyOf(TC_string, mg_strdup("*"))},
                       {"key", TC_any, anyOf(TC_string, mg_strdup("a"))}));
  EXPECT_TRUE(matches({"key", any{}}, {"key", any{}}));
}

TEST_F(PropertyMatch, FailsForWhatHasNoEncoding) {
  const Named fine("key", TC_long, int32_t{5});
  const Named bad("key", any{TC_long, nullptr});
  const Named deep("key", TC_any, test::nestedAnys(70));
  EXPECT_FALSE(matches(fine, bad));
  EXPECT_FALSE(matches(bad, fine));
  EXPECT_FALSE(matches(deep, bad));
  EXPECT_TRUE(matches(bad, bad)) << "without a look";
}

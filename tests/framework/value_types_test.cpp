// Comparing and copying the library's value types.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "framework/samples.h"
#include "support/exceptions.h"

using test::sample;
using test::Value;

namespace {

// What the library has for a type, and the type's TypeCode.
#define VALUE_TYPE(Type, name)                                                                     \
  struct Type##Operations {                                                                        \
    using Content = Type;                                                                          \
    static constexpr auto equal = _equal_##name;                                                   \
    static constexpr auto equalByType = _t_equal_##name;                                           \
    static constexpr auto copy = _copy_##name;                                                     \
    static constexpr auto copyByType = _t_copy_##name;                                             \
    static TypeCode type() { return TC_##name; }                                                   \
  }
VALUE_TYPE(Property, NEX_Sprig2_Property);
VALUE_TYPE(Properties, NEX_Sprig2__sequence_Property_Properties);
VALUE_TYPE(PropertiesList, NEX_Sprig2__sequence_Properties_PropertiesList);
VALUE_TYPE(PropertiesListList, NEX_Sprig2__sequence_PropertiesList_PropertiesListList);
VALUE_TYPE(StreamKey, NEX_Sprig2__sequence_octet_StreamKey);
#undef VALUE_TYPE

bool isUntouched(const Environment &environment) {
  return environment.exception == nullptr && environment.reserved[0] == 0 &&
         environment.reserved[1] == 0 && environment.reserved[2] == 0;
}

template <typename Operations> class ValueType : public testing::Test {
protected:
  using Content = typename Operations::Content;

  ValueType() { sprig_init(); }

  // Both ways to compare, which must agree; with an environment and without.
  static bool equal(const Value &a, const Value &b) {
    const auto &first = a.as<Content>();
    const auto &second = b.as<Content>();
    Environment environment{};
    const int result = Operations::equal(&environment, &first, &second);
    EXPECT_EQ((result & 0xff) != 0, result != 0);
    for (Environment *given : {&environment, static_cast<Environment *>(nullptr)}) {
      EXPECT_EQ(Operations::equal(given, &first, &second) != 0, result != 0);
      EXPECT_EQ(Operations::equalByType(Operations::type(), given, &first, &second) != 0,
                result != 0);
    }
    EXPECT_TRUE(isUntouched(environment));
    return result != 0;
  }

  static Value sampleOf(int32_t number) { return {Operations::type(), sample<Content>(number)}; }

  // Lists in lists, so many of them.
  static Value nested(size_t depth) {
    const any inner = test::anyOf(TC_NEX_Sprig2_Properties, test::nestedProperties(depth));
    return {Operations::type(), test::around<Content>(test::propertyOf("nested", inner))};
  }

  // Everything in a copy is its own: it outlives what it was made from.
  template <typename Copy> static void expectCopies(const Copy &copy) {
    const Value expected = sampleOf(1);
    const Value source = sampleOf(1);
    const Value copied(Operations::type());
    copy(&source.as<Content>(), &copied.as<Content>());
    EXPECT_TRUE(equal(source, expected));
    nex_free_generic(source.data(), source.type());
    EXPECT_TRUE(equal(copied, expected));
  }
};

template <typename Operations> using NestingValueType = ValueType<Operations>;

struct ValueTypeName {
  template <typename Operations> static std::string GetName(int) {
    return Operations::type()->name + strlen("NEX_Sprig2::");
  }
};

using NestingValueTypes = testing::Types<PropertyOperations, PropertiesOperations,
                                         PropertiesListOperations, PropertiesListListOperations>;
using ValueTypes =
    testing::Types<PropertyOperations, PropertiesOperations, PropertiesListOperations,
                   PropertiesListListOperations, StreamKeyOperations>;

TYPED_TEST_SUITE(ValueType, ValueTypes, ValueTypeName);
TYPED_TEST_SUITE(NestingValueType, NestingValueTypes, ValueTypeName);

} // namespace

TYPED_TEST(ValueType, IsEqualToAnotherWithTheSameContent) {
  const Value a = this->sampleOf(1);
  const Value b = this->sampleOf(1);
  EXPECT_TRUE(this->equal(a, b));
  EXPECT_TRUE(this->equal(a, a));
}

TYPED_TEST(ValueType, IsNotEqualToOneThatDiffersInside) {
  const Value a = this->sampleOf(1);
  const Value b = this->sampleOf(2);
  EXPECT_FALSE(this->equal(a, b));
  EXPECT_FALSE(this->equal(b, a));
}

TYPED_TEST(ValueType, IsEqualToTheEmptyOneOnlyIfItIsEmpty) {
  const Value content = this->sampleOf(1);
  const Value empty(TypeParam::type());
  EXPECT_FALSE(this->equal(content, empty));
  EXPECT_FALSE(this->equal(empty, content));
  EXPECT_TRUE(this->equal(empty, empty));
}

TYPED_TEST(ValueType, IsCopiedWithEverythingInIt) {
  Environment environment{};
  for (Environment *given : {&environment, static_cast<Environment *>(nullptr)}) {
    this->expectCopies(
        [&](const auto *source, auto *target) { *target = TypeParam::copy(given, source); });
    EXPECT_TRUE(isUntouched(environment));
  }
}

TYPED_TEST(ValueType, IsCopiedOverWhateverIsThere) {
  Environment environment{};
  for (Environment *given : {&environment, static_cast<Environment *>(nullptr)}) {
    this->expectCopies([&](const auto *source, auto *target) {
      memset(target, 0xee, sizeof *target);
      TypeParam::copyByType(TypeParam::type(), given, source, target);
    });
    EXPECT_TRUE(isUntouched(environment));
  }
}

TYPED_TEST(ValueType, IsCopiedWhenEmpty) {
  using Content = typename TypeParam::Content;
  const Value empty(TypeParam::type());
  const Value copy(TypeParam::type(), TypeParam::copy(nullptr, &empty.as<Content>()));
  EXPECT_TRUE(this->equal(copy, empty));
  const Value other(TypeParam::type());
  TypeParam::copyByType(TypeParam::type(), nullptr, &empty.as<Content>(), &other.as<Content>());
  EXPECT_TRUE(this->equal(other, empty));
}

TYPED_TEST(NestingValueType, IsCopiedWithListsInLists) {
  const Value value = this->nested(30);
  const auto &source = value.template as<typename TypeParam::Content>();
  const Value copy(TypeParam::type(), TypeParam::copy(nullptr, &source));
  EXPECT_TRUE(this->equal(copy, value));
}

TYPED_TEST(NestingValueType, CannotBeCopiedWhenListsAreNestedTooDeep) {
  using Content = typename TypeParam::Content;
  const Value value = this->nested(100);
  const auto &source = value.template as<Content>();
  Environment environment{};

  const Value copy(TypeParam::type(), TypeParam::copy(&environment, &source));
  EXPECT_TRUE(copy.isZero());
  EXPECT_TRUE(test::takenFrom(environment));
  EXPECT_TRUE(test::thrown([&] { TypeParam::copy(nullptr, &source); }));

  Value target(TypeParam::type());
  target.scribble();
  const auto copyTo = [&](Environment *given) {
    TypeParam::copyByType(TypeParam::type(), given, &source, &target.as<Content>());
  };
  copyTo(&environment);
  EXPECT_TRUE(target.isZero());
  EXPECT_TRUE(test::takenFrom(environment));
  EXPECT_TRUE(test::thrown([&] { copyTo(nullptr); }));
}

TEST(PropertyEquality, SeesKeysTypesAndValues) {
  const auto make = [](const char *key, TypeCode type, int32_t number) {
    return test::propertyOf(key, test::anyOf(type, number));
  };
  const Property different[] = {make("key", TC_long, 1), make("KEY", TC_long, 1),
                                make("key", TC_ulong, 1), make("key", TC_long, 2),
                                test::propertyOf("key", {})};
  for (const Property &a : different) {
    for (const Property &b : different) {
      EXPECT_EQ(_equal_NEX_Sprig2_Property(nullptr, &a, &b) != 0, &a == &b) << a.key << b.key;
    }
  }
  for (Property property : different) {
    nex_free_generic(&property, TC_NEX_Sprig2_Property);
  }
}

TEST(PropertyEquality, TakesNoKeyForAnEmptyOne) {
  const Value none(TC_NEX_Sprig2_Property, test::propertyOf(nullptr, {}));
  const Value empty(TC_NEX_Sprig2_Property, test::propertyOf("", {}));
  EXPECT_TRUE(_equal_NEX_Sprig2_Property(nullptr, &none.as<Property>(), &empty.as<Property>()));
}

TEST(SequenceEquality, SeesOrderAndLength) {
  uint8_t bytes[] = {1, 2, 1};
  const StreamKey different[] = {{2, 2, bytes}, {2, 2, bytes + 1}, {1, 1, bytes}, {3, 3, bytes}};
  for (const StreamKey &a : different) {
    for (const StreamKey &b : different) {
      EXPECT_EQ(_equal_NEX_Sprig2__sequence_octet_StreamKey(nullptr, &a, &b) != 0, &a == &b);
    }
  }
}

TEST(SequenceEquality, DoesNotSeeRoomThatIsNotUsed) {
  uint8_t bytes[] = {1, 2, 3};
  uint8_t other[] = {1, 2};
  const StreamKey roomy{3, 2, bytes};
  const StreamKey exact{2, 2, other};
  const StreamKey unused{3, 0, bytes};
  const StreamKey none{};
  EXPECT_TRUE(_equal_NEX_Sprig2__sequence_octet_StreamKey(nullptr, &roomy, &exact));
  EXPECT_TRUE(_equal_NEX_Sprig2__sequence_octet_StreamKey(nullptr, &unused, &none));
}

TEST(OperationsByType, GoByTheGivenType) {
  const Value texts(TC_NEX_Types_StringList, test::stringsOf({"a", "b"}));
  const Value copy(TC_NEX_Types_StringList);
  const auto &source = texts.as<StreamKey>();
  auto &target = copy.as<StreamKey>();
  _t_copy_NEX_Sprig2__sequence_octet_StreamKey(texts.type(), nullptr, &source, &target);
  EXPECT_TRUE(
      _t_equal_NEX_Sprig2__sequence_octet_StreamKey(texts.type(), nullptr, &source, &target));
  nex_free_generic(texts.data(), texts.type());

  const auto &copied = copy.as<StringList>();
  ASSERT_EQ(copied.length, 2U);
  EXPECT_STREQ(copied.buffer[0], "a");
  EXPECT_STREQ(copied.buffer[1], "b");
}

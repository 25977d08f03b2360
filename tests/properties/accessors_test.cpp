// Values by key, of each type alike.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <sprig/properties.h>

#include "support/exceptions.h"
#include "support/values.h"

using test::anyOf;
using test::listOf;
using test::propertyOf;
using test::thrown;

namespace {

// A type of values with its four functions.
template <typename Stored, const TypeCodeRecord (&code)[1], auto getter, auto getterOtherwise,
          auto owningPutter, auto copyingPutter>
struct Family {
  using Value = Stored; // what is in a block
  using Got = std::invoke_result_t<decltype(getter), const Properties *, const char *>;

  static TypeCode type() { return code; }
  static constexpr auto get = getter;
  static constexpr auto get2 = getterOtherwise;
  static constexpr auto put = owningPutter;
  static constexpr auto putDup = copyingPutter;

  // What a getter gives of a block, and a copying putter takes.
  static Got gotFrom(Value *block) {
    if constexpr (std::is_same_v<Got, Value *>) {
      return block;
    } else {
      return *block;
    }
  }
  static const void *valueOf(const Got &got) {
    if constexpr (std::is_same_v<Got, Value *>) {
      return got;
    } else {
      return &got;
    }
  }
};

#define FAMILY(Value, code, F)                                                                     \
  Family<Value, code, properties_get_##F, properties_get_##F##2, properties_put_##F,               \
         properties_put_##F##_dup>

using Families =
    testing::Types<FAMILY(char *, TC_string, string), FAMILY(any, TC_any, any),
                   FAMILY(Object, TC_Object, object), FAMILY(int16_t, TC_short, short),
                   FAMILY(int32_t, TC_long, long), FAMILY(uint32_t, TC_ulong, ulong),
                   FAMILY(uint8_t, TC_boolean, boolean),
                   FAMILY(OctetList, TC_NEX_Types_OctetList, OctetList),
                   FAMILY(Properties, TC_NEX_Sprig2_Properties, properties),
                   FAMILY(PropertiesList, TC_NEX_Sprig2_PropertiesList, properties_list)>;

struct FamilyNames {
  template <typename F> static std::string GetName(int /*index*/) {
    std::string name;
    for (const char *letter = F::type()->name; *letter != '\0'; ++letter) {
      name += isalnum(*letter) != 0 ? *letter : '_';
    }
    return name;
  }
};

// A value that differs from that of another number.
template <typename Value> Value sample(int number) { return static_cast<Value>(-1 - number); }
template <> char *sample(int number) {
  return mg_strdup(("text " + std::to_string(number)).c_str());
}
template <> any sample(int number) { return anyOf(TC_string, sample<char *>(number)); }
template <> OctetList sample(int number) {
  return listOf<OctetList, uint8_t>({0, 255, static_cast<uint8_t>(number)});
}
template <> Properties sample(int number) {
  return listOf<Properties>(
      {propertyOf("any", anyOf(TC_any, sample<any>(number))),
       propertyOf("list", anyOf(TC_NEX_Sprig2_Properties, test::someProperties()))});
}
template <> PropertiesList sample(int number) {
  return listOf<PropertiesList, Properties>({{}, sample<Properties>(number)});
}

// Changes a value in its storage, deep inside where it owns something.
template <typename Number> void change(Number &value) { ++value; }
void change(char *&text) { text[0] = '#'; }
void change(any &value) { change(*static_cast<char **>(value.value)); }
void change(OctetList &list) { list.buffer[1] = 7; }
void change(Properties &list) {
  list.buffer[0].key[0] = '#';
  change(*static_cast<any *>(list.buffer[0].value.value));
}
void change(PropertiesList &list) { change(list.buffer[1]); }

void expectMessage(const std::optional<test::Thrown> &exception, int32_t id, const char *text,
                   const char *key) {
  ASSERT_TRUE(exception.has_value());
  EXPECT_EQ(exception->typeName, "ExErrorMsg");
  EXPECT_EQ(exception->catalog, "Sprig2Catalog");
  EXPECT_EQ(exception->id, id);
  EXPECT_EQ(exception->defaultText, text);
  EXPECT_EQ(exception->arguments, std::vector<std::string>{key});
}
void expectMissing(const std::optional<test::Thrown> &exception, const char *key) {
  expectMessage(exception, 36, "Unable to find the property associated with the key %1$s.\n", key);
}
void expectWrongType(const std::optional<test::Thrown> &exception, const char *key) {
  expectMessage(exception, 37, "The wrong property type was specified for the key %1$s.\n", key);
}

class ListTest : public testing::Test {
protected:
  ListTest() { test::registerTypes(); }
  ~ListTest() override { properties_delete(&list); }

  std::string keys() const {
    std::string all;
    for (uint32_t i = 0; i < list.length; ++i) {
      all += std::string(list.buffer[i].key) + ' ';
    }
    return all;
  }

  Properties list{};
};

template <typename F> class Accessors : public ListTest {
protected:
  using Value = typename F::Value;
  using Got = typename F::Got;

  static Value *block(int number) {
    const Value value = sample<Value>(number);
    auto *result = static_cast<Value *>(mg_malloc(sizeof value));
    std::memcpy(result, &value, sizeof value);
    return result;
  }
  void put(const char *key, int number) { F::put(&list, key, block(number)); }
  void putDup(const char *key, int number) {
    test::Value value(F::type(), sample<Value>(number));
    F::putDup(&list, key, F::gotFrom(&value.template as<Value>()));
  }

  static bool isSample(const Got &got, int number) {
    const test::Value expected(F::type(), sample<Value>(number));
    return _t_generic_equal(F::type(), nullptr, F::valueOf(got), expected.data()) != 0;
  }
  bool has(const char *key, int number) const { return isSample(F::get(&list, key), number); }
};

TYPED_TEST_SUITE(Accessors, Families, FamilyNames);

using Numbers = ListTest;
using Texts = ListTest;
using Aliases = ListTest;

template <typename Number>
constexpr Number numbers[] = {std::numeric_limits<Number>::min(), static_cast<Number>(-1), 0, 1, 2,
                              std::numeric_limits<Number>::max()};

} // namespace

TYPED_TEST(Accessors, GetTheValueThatWasPutIn) {
  this->put("key", 1);
  this->put("other", 2);
  EXPECT_TRUE(this->has("key", 1));
  EXPECT_TRUE(this->has("other", 2));
}

TYPED_TEST(Accessors, GetACopyThatWasPutIn) {
  this->putDup("key", 1);
  this->putDup("other", 2);
  EXPECT_TRUE(this->has("key", 1));
  EXPECT_TRUE(this->has("other", 2));
}

TYPED_TEST(Accessors, KeepTheVeryBlock) {
  auto *block = this->block(1);
  const auto inside = TypeParam::gotFrom(block);
  TypeParam::put(&this->list, "key", block);
  EXPECT_EQ(this->list.buffer[0].value.value, block);
  EXPECT_EQ(TypeParam::get(&this->list, "key"), inside);
}

TYPED_TEST(Accessors, StoreTheFamilysType) {
  this->put("owned", 1);
  this->putDup("copied", 1);
  ASSERT_EQ(this->list.length, 2U);
  for (uint32_t i = 0; i < 2; ++i) {
    EXPECT_NE(TypeCode_equal(this->list.buffer[i].value.type, TypeParam::type()), 0);
    EXPECT_NE(this->list.buffer[i].value.value, nullptr);
  }
}

TYPED_TEST(Accessors, CopyEverythingThatAValueOwns) {
  using Value = typename TypeParam::Value;
  test::Value original(TypeParam::type(), sample<Value>(1));
  auto &value = original.template as<Value>();
  TypeParam::putDup(&this->list, "key", TypeParam::gotFrom(&value));
  EXPECT_NE(this->list.buffer[0].value.value, original.data());
  change(value);
  EXPECT_TRUE(this->has("key", 1));
}

TYPED_TEST(Accessors, LeaveTheOriginalOfACopyAlone) {
  using Value = typename TypeParam::Value;
  test::Value original(TypeParam::type(), sample<Value>(1));
  auto &value = original.template as<Value>();
  TypeParam::putDup(&this->list, "key", TypeParam::gotFrom(&value));
  change(*static_cast<Value *>(this->list.buffer[0].value.value));
  EXPECT_FALSE(this->has("key", 1));
  EXPECT_TRUE(this->isSample(TypeParam::gotFrom(&value), 1));
}

TYPED_TEST(Accessors, GiveWhatBelongsToTheList) {
  this->putDup("key", 1);
  const auto first = TypeParam::get(&this->list, "key");
  EXPECT_EQ(TypeParam::get(&this->list, "key"), first);
  auto *block = static_cast<typename TypeParam::Value *>(this->list.buffer[0].value.value);
  EXPECT_EQ(first, TypeParam::gotFrom(block));
}

TYPED_TEST(Accessors, ThrowWhereTheKeyIsMissing) {
  const auto get = [this](const char *key) {
    return thrown([&] { TypeParam::get(&this->list, key); });
  };
  expectMissing(get("key"), "key");
  this->put("key", 1);
  expectMissing(get("Key"), "Key");
  expectMissing(get(""), "");
  EXPECT_TRUE(this->has("key", 1));
}

TYPED_TEST(Accessors, GiveTheVeryDefaultWhereTheKeyIsMissing) {
  using Value = typename TypeParam::Value;
  test::Value other(TypeParam::type(), sample<Value>(2));
  const auto otherwise = TypeParam::gotFrom(&other.template as<Value>());
  EXPECT_EQ(TypeParam::get2(&this->list, "key", otherwise), otherwise);
  this->put("key", 1);
  EXPECT_EQ(TypeParam::get2(&this->list, "missing", otherwise), otherwise);
  EXPECT_EQ(TypeParam::get2(&this->list, "missing", {}), typename TypeParam::Got{});
}

TYPED_TEST(Accessors, GiveTheValueAndNotTheDefaultWhereTheKeyIsThere) {
  using Value = typename TypeParam::Value;
  test::Value other(TypeParam::type(), sample<Value>(2));
  this->put("key", 1);
  const auto got =
      TypeParam::get2(&this->list, "key", TypeParam::gotFrom(&other.template as<Value>()));
  EXPECT_EQ(got, TypeParam::get(&this->list, "key"));
  EXPECT_TRUE(this->isSample(got, 1));
}

TYPED_TEST(Accessors, ThrowWhereTheValueHasAnotherType) {
  int others = 0;
  for (const TypeCode type : test::allTypes()) {
    if (TypeCode_equal(type, TypeParam::type()) == 0) {
      properties_put(&this->list, "key", type, mg_calloc(1, type->size));
      expectWrongType(thrown([this] { TypeParam::get(&this->list, "key"); }), "key");
      expectWrongType(thrown([this] { TypeParam::get2(&this->list, "key", {}); }), "key");
      ++others;
    }
  }
  EXPECT_GE(others, 9);
}

TYPED_TEST(Accessors, ThrowWhereTheValueHasNoType) {
  const Property property = propertyOf("key", any{});
  seq_add(&this->list, &property, sizeof property);
  expectWrongType(thrown([this] { TypeParam::get(&this->list, "key"); }), "key");
  expectWrongType(thrown([this] { TypeParam::get2(&this->list, "key", {}); }), "key");
}

TYPED_TEST(Accessors, GoByTheTypeAndNotByTheAddressOfItsDescription) {
  static const TypeCodeRecord twin[1] = {*TypeParam::type()};
  properties_put(&this->list, "key", twin, this->block(1));
  EXPECT_TRUE(this->has("key", 1));
  EXPECT_TRUE(this->isSample(TypeParam::get2(&this->list, "key", {}), 1));
}

TYPED_TEST(Accessors, ReplaceAValueInItsPlace) {
  for (const char *key : {"a", "b", "c"}) {
    this->put(key, 1);
  }
  this->put("b", 2);
  this->putDup("a", 3);
  EXPECT_EQ(this->keys(), "a b c ");
  EXPECT_TRUE(this->has("a", 3));
  EXPECT_TRUE(this->has("b", 2));
  EXPECT_TRUE(this->has("c", 1));
}

TYPED_TEST(Accessors, ReplaceAValueOfAnotherType) {
  for (const TypeCode type : test::allTypes()) {
    test::Value empty(type);
    const any wrapped{type, empty.data()};
    properties_put_any_dup(&this->list, "key", &wrapped);
    this->put("key", 1);
    EXPECT_TRUE(this->has("key", 1));
    EXPECT_EQ(this->keys(), "key ");
  }
}

TYPED_TEST(Accessors, ReplaceAValueByItsOwnCopy) {
  this->put("key", 1);
  TypeParam::putDup(&this->list, "key", TypeParam::get(&this->list, "key"));
  EXPECT_TRUE(this->has("key", 1));
  EXPECT_EQ(this->keys(), "key ");
}

TYPED_TEST(Accessors, CopyTheKey) {
  char key[] = "key";
  this->put(key, 1);
  key[0] = 'b';
  this->putDup(key, 2);
  key[0] = 'c';
  EXPECT_EQ(this->keys(), "key bey ");
}

TYPED_TEST(Accessors, CopyTheKeyAlsoOfAValueThatIsReplaced) {
  this->put("key", 1);
  char key[] = "key";
  this->put(key, 2);
  key[0] = '#';
  EXPECT_EQ(this->keys(), "key ");
  this->put(this->list.buffer[0].key, 3);
  this->putDup(this->list.buffer[0].key, 4);
  EXPECT_EQ(this->keys(), "key ");
  EXPECT_TRUE(this->has("key", 4));
}

TEST_F(Numbers, KeepTheirWholeRange) {
  for (const int16_t number : numbers<int16_t>) {
    properties_put_short_dup(&list, "key", number);
    EXPECT_EQ(properties_get_short(&list, "key"), number);
    EXPECT_EQ(properties_get_short2(&list, "missing", number), number);
  }
  for (const int32_t number : numbers<int32_t>) {
    properties_put_long_dup(&list, "key", number);
    EXPECT_EQ(properties_get_long(&list, "key"), number);
    EXPECT_EQ(properties_get_long2(&list, "missing", number), number);
  }
  for (const uint32_t number : numbers<uint32_t>) {
    properties_put_ulong_dup(&list, "key", number);
    EXPECT_EQ(properties_get_ulong(&list, "key"), number);
    EXPECT_EQ(properties_get_ulong2(&list, "missing", number), number);
  }
}

TEST_F(Numbers, OfSixteenBitsKeepTheirSign) {
  auto *block = static_cast<int16_t *>(mg_malloc(sizeof(int16_t)));
  std::memset(block, 0xff, sizeof *block);
  properties_put_short(&list, "key", block);
  const int64_t wide = properties_get_short(&list, "key");
  EXPECT_EQ(wide, -1);
}

TEST_F(Numbers, WithoutASignHaveNone) {
  auto *block = static_cast<uint32_t *>(mg_malloc(sizeof(uint32_t)));
  std::memset(block, 0xff, sizeof *block);
  properties_put_ulong(&list, "key", block);
  const int64_t wide = properties_get_ulong(&list, "key");
  EXPECT_EQ(wide, 0xffffffffLL);
}

TEST_F(Numbers, OfABooleanAreItsOctetAsItIs) {
  for (int octet = 0; octet < 256; ++octet) {
    const auto value = static_cast<uint8_t>(octet);
    properties_put_boolean_dup(&list, "key", value);
    const int64_t wide = properties_get_boolean(&list, "key");
    EXPECT_EQ(wide, octet);
    EXPECT_EQ(*static_cast<uint8_t *>(list.buffer[0].value.value), value);
    EXPECT_EQ(properties_get_boolean2(&list, "missing", value), value);
  }
}

TEST_F(Numbers, OfAnotherWidthAreOfAnotherType) {
  properties_put_string_dup(&list, "text", "5");
  properties_put_long_dup(&list, "long", 5);
  expectWrongType(thrown([this] { properties_get_long2(&list, "text", 7); }), "text");
  expectWrongType(thrown([this] { properties_get_short2(&list, "long", 5); }), "long");
  expectWrongType(thrown([this] { properties_get_ulong2(&list, "long", 5); }), "long");
}

TEST_F(Texts, MayBeNone) {
  properties_put_string_dup(&list, "copied", nullptr);
  EXPECT_EQ(properties_get_string(&list, "copied"), nullptr);
  properties_put_string(&list, "owned", static_cast<char **>(mg_calloc(1, sizeof(char *))));
  EXPECT_EQ(properties_get_string(&list, "owned"), nullptr);
  EXPECT_EQ(properties_get_string2(&list, "owned", "otherwise"), nullptr);
}

TEST_F(Texts, OfReferencesMayBeNone) {
  properties_put_object(&list, "owned", static_cast<Object *>(mg_calloc(1, sizeof(Object))));
  EXPECT_EQ(properties_get_object(&list, "owned"), nullptr);
  properties_put_object_dup(&list, "copied", nullptr);
  const test::Value none(TC_Object);
  const Object got = properties_get_object(&list, "copied");
  EXPECT_NE(_t_generic_equal(TC_Object, nullptr, &got, none.data()), 0);
}

TEST_F(Texts, AreAnyBytesOfAnyLength) {
  for (const std::string &text :
       {std::string(), std::string("\x01\xff\n%1$s"), std::string(1000000, 'x')}) {
    properties_put_string_dup(&list, "key", text.c_str());
    EXPECT_EQ(properties_get_string(&list, "key"), text);
    properties_put_object_dup(&list, "key", text.c_str());
    EXPECT_EQ(properties_get_object(&list, "key"), text);
  }
}

TEST_F(Aliases, OfATypeAreWhatTheFrameworkTakesThemFor) {
  const auto expectLike = [this](TypeCode stored, TypeCode wanted) {
    properties_put(&list, "key", stored, mg_calloc(1, stored->size));
    const auto exception = thrown([&] { properties_get(&list, "key", wanted, 1); });
    EXPECT_EQ(exception.has_value(), TypeCode_equal(stored, wanted) == 0)
        << stored->name << ' ' << wanted->name;
  };
  for (const TypeCode stored : test::allTypes()) {
    for (const TypeCode wanted : test::allTypes()) {
      expectLike(stored, wanted);
    }
  }
  expectLike(TC_NEX_Sprig2__sequence_Property_Properties, TC_NEX_Sprig2_Properties);
  expectLike(TC_NEX_Sprig2_PropertiesList, TC_NEX_Sprig2__sequence_Properties_PropertiesList);
}

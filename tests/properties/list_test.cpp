// Property lists as a whole: their life, their order and their keys.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/properties.h>

#include "support/exceptions.h"
#include "support/values.h"

using test::anyOf;
using test::listOf;
using test::propertyOf;
using test::thrown;
using test::Value;

namespace {

using Keys = std::vector<std::string>;

template <typename List> bool isEmpty(const List &list) {
  return list.maximum == 0 && list.length == 0 && list.buffer == nullptr;
}

bool isEqual(TypeCode type, const void *a, const void *b) {
  return _t_generic_equal(type, nullptr, a, b) != 0;
}

// A list in a record of its own, released with its owner.
struct Release {
  void operator()(Properties *list) const {
    properties_delete(list);
    mg_free(list);
  }
  void operator()(PropertiesList *list) const {
    properties_list_delete(list);
    mg_free(list);
  }
};
using PropertiesPtr = std::unique_ptr<Properties, Release>;
using PropertiesListPtr = std::unique_ptr<PropertiesList, Release>;

PropertiesList someLists() {
  return listOf<PropertiesList, Properties>({test::someProperties(), {}, test::someProperties()});
}

// A block with a property, released with its owner.
class Removed {
public:
  explicit Removed(Property *property) : property_(property) {}
  ~Removed() {
    nex_free_generic(property_, TC_NEX_Sprig2_Property);
    mg_free(property_);
  }
  Removed(const Removed &) = delete;
  Removed &operator=(const Removed &) = delete;

  Property *get() const { return property_; }
  Property *operator->() const { return property_; }

private:
  Property *property_;
};

class PropertiesTest : public testing::Test {
protected:
  PropertiesTest() { test::registerTypes(); }
  ~PropertiesTest() override { properties_delete(&list); }

  // Puts in keys, each with its number.
  void put(const Keys &keys) {
    for (const std::string &key : keys) {
      properties_put_long_dup(&list, key.c_str(), static_cast<int32_t>(list.length));
    }
  }
  Keys keys() const {
    Keys all;
    std::transform(list.buffer, list.buffer + list.length, std::back_inserter(all),
                   [](const Property &property) { return property.key; });
    return all;
  }
  int32_t indexOf(const std::string &key) const {
    // In a block that ends with the key.
    const std::vector<char> exact(key.c_str(), key.c_str() + key.size() + 1);
    const int32_t index = properties_get_property_index(&list, exact.data());
    EXPECT_EQ(properties_find(&list, exact.data()), index == -1 ? 0 : 1) << key;
    return index;
  }

  Properties list{};
};

using Lookup = PropertiesTest;
using AnyType = PropertiesTest;
using Removal = PropertiesTest;
using DeepValue = PropertiesTest;
using PropertiesModel = PropertiesTest;

} // namespace

TEST(PropertiesRecord, IsCreatedEmpty) {
  const PropertiesPtr list(properties_new());
  ASSERT_NE(list, nullptr);
  EXPECT_TRUE(isEmpty(*list));
  const PropertiesListPtr lists(properties_list_new());
  ASSERT_NE(lists, nullptr);
  EXPECT_TRUE(isEmpty(*lists));
}

TEST(PropertiesRecord, IsMadeEmptyWhateverIsInIt) {
  Properties list;
  std::memset(&list, 0xa5, sizeof list);
  properties_init(&list);
  EXPECT_TRUE(isEmpty(list));
  PropertiesList lists;
  std::memset(&lists, 0xa5, sizeof lists);
  properties_list_init(&lists);
  EXPECT_TRUE(isEmpty(lists));
}

TEST(PropertiesRecord, IsEmptyAfterItsContentIsReleased) {
  test::registerTypes();
  Properties list = test::someProperties();
  properties_delete(&list);
  EXPECT_TRUE(isEmpty(list));
  PropertiesList lists = someLists();
  properties_list_delete(&lists);
  EXPECT_TRUE(isEmpty(lists));
}

TEST(PropertiesRecord, CanBeUsedAgainAfterItsContentIsReleased) {
  Properties list = test::someProperties();
  for (int round = 0; round < 3; ++round) {
    properties_delete(&list);
    EXPECT_EQ(properties_find(&list, "text"), 0);
    properties_put_long_dup(&list, "text", round);
    EXPECT_EQ(properties_get_long(&list, "text"), round);
    EXPECT_EQ(list.length, 1U);
  }
  properties_delete(&list);
}

TEST(PropertiesRecord, IsReleasedTwiceAsIfOnce) {
  Properties list = test::someProperties();
  PropertiesList lists = someLists();
  for (int i = 0; i < 2; ++i) {
    properties_delete(&list);
    properties_list_delete(&lists);
  }
  EXPECT_TRUE(isEmpty(list));
  EXPECT_TRUE(isEmpty(lists));
}

TEST(PropertiesRecord, OfNullIsNothingToRelease) {
  properties_delete(nullptr);
  properties_list_delete(nullptr);
}

TEST(PropertiesRecord, IsReleasedWithoutItsValuesWhereTheyAreBorrowed) {
  test::registerTypes();
  const Value original(TC_NEX_Sprig2_Properties, test::someProperties());
  Value owner(TC_NEX_Sprig2_Properties, test::someProperties());
  auto &owned = owner.as<Properties>();
  Properties borrowing{};
  for (uint32_t i = 0; i < owned.length; ++i) {
    const Property property = propertyOf(owned.buffer[i].key, owned.buffer[i].value);
    seq_add(&borrowing, &property, sizeof property);
  }
  properties_free(&borrowing);
  EXPECT_TRUE(isEmpty(borrowing));
  EXPECT_TRUE(isEqual(owner.type(), owner.data(), original.data()));
}

TEST(PropertiesRecord, IsReleasedWithoutItsValuesWhereItIsEmpty) {
  Properties list{};
  properties_free(&list);
  EXPECT_TRUE(isEmpty(list));
}

TEST(PropertiesClone, IsEqualToItsOriginal) {
  test::registerTypes();
  test::RandomValues random(11);
  for (int i = 0; i < 100; ++i) {
    Value list(TC_NEX_Sprig2_Properties);
    random.fill(list);
    const PropertiesPtr clone(properties_clone(&list.as<Properties>()));
    EXPECT_TRUE(isEqual(list.type(), clone.get(), list.data()));
    EXPECT_NE(clone.get(), list.data());
    Value lists(TC_NEX_Sprig2_PropertiesList);
    random.fill(lists);
    const PropertiesListPtr clones(properties_list_clone(&lists.as<PropertiesList>()));
    EXPECT_TRUE(isEqual(lists.type(), clones.get(), lists.data()));
    EXPECT_NE(clones.get(), lists.data());
  }
}

TEST(PropertiesClone, OfAnEmptyListIsEmpty) {
  const Properties list{};
  const PropertiesPtr clone(properties_clone(&list));
  EXPECT_EQ(clone->length, 0U);
  const PropertiesList lists{};
  const PropertiesListPtr clones(properties_list_clone(&lists));
  EXPECT_EQ(clones->length, 0U);
}

TEST(PropertiesClone, OutlivesItsOriginal) {
  test::registerTypes();
  auto original = std::make_unique<Value>(TC_NEX_Sprig2_PropertiesList, someLists());
  const PropertiesListPtr clone(properties_list_clone(&original->as<PropertiesList>()));
  const PropertiesPtr first(properties_clone(&original->as<PropertiesList>().buffer[0]));
  original.reset();
  EXPECT_TRUE(isEqual(TC_NEX_Sprig2_PropertiesList, clone.get(),
                      Value(TC_NEX_Sprig2_PropertiesList, someLists()).data()));
  EXPECT_TRUE(isEqual(TC_NEX_Sprig2_Properties, first.get(),
                      Value(TC_NEX_Sprig2_Properties, test::someProperties()).data()));
}

TEST(PropertiesClone, SharesNothingWithItsOriginal) {
  test::registerTypes();
  const Value original(TC_NEX_Sprig2_Properties, test::someProperties());
  const PropertiesPtr clone(properties_clone(&original.as<Properties>()));
  clone->buffer[0].key[0] = '#';
  properties_put_string_dup(clone.get(), "number", "another");
  properties_get_OctetList(clone.get(), "octets")->buffer[0] = 9;
  Properties *inner = properties_get_properties(clone.get(), "list");
  properties_get_string(inner, "text")[0] = '#';
  properties_remove_and_destroy(inner, "empty");
  EXPECT_TRUE(isEqual(original.type(), original.data(),
                      Value(TC_NEX_Sprig2_Properties, test::someProperties()).data()));
}

TEST(PropertiesClone, KeepsTheOrder) {
  Properties list{};
  for (const char *key : {"c", "a", "b"}) {
    properties_put_string_dup(&list, key, key);
  }
  const PropertiesPtr clone(properties_clone(&list));
  properties_delete(&list);
  EXPECT_EQ(properties_get_property_index(clone.get(), "c"), 0);
  EXPECT_EQ(properties_get_property_index(clone.get(), "a"), 1);
  EXPECT_EQ(properties_get_property_index(clone.get(), "b"), 2);
}

TEST_F(DeepValue, IsClonedUpToTheDeepest) {
  const Value deepest(TC_NEX_Sprig2_Properties, test::nestedProperties(64));
  const PropertiesPtr clone(properties_clone(&deepest.as<Properties>()));
  EXPECT_TRUE(isEqual(deepest.type(), deepest.data(), clone.get()));
}

TEST_F(DeepValue, IsNotClonedFurther) {
  const Value deep(TC_NEX_Sprig2_Properties, test::nestedProperties(65));
  const auto exception = thrown([&] { properties_clone(&deep.as<Properties>()); });
  ASSERT_TRUE(exception.has_value());
  EXPECT_EQ(exception->typeName, "ExErrorMsg");
  const Value lists(TC_NEX_Sprig2_PropertiesList,
                    listOf<PropertiesList>({test::nestedProperties(65)}));
  EXPECT_TRUE(thrown([&] { properties_list_clone(&lists.as<PropertiesList>()); }).has_value());
}

TEST_F(DeepValue, LeavesAListAsItWasWhereItCannotBeCopiedIntoIt) {
  properties_put_long_dup(&list, "key", 5);
  const Value deep(TC_NEX_Sprig2_Properties, test::nestedProperties(65));
  const Value lists(TC_NEX_Sprig2_PropertiesList,
                    listOf<PropertiesList>({test::nestedProperties(65)}));
  const Value wrapped(TC_any, test::nestedAnys(66));
  for (const char *key : {"key", "other"}) {
    EXPECT_TRUE(thrown([&] {
                  properties_put_properties_dup(&list, key, &deep.as<Properties>());
                }).has_value());
    EXPECT_TRUE(thrown([&] {
                  properties_put_properties_list_dup(&list, key, &lists.as<PropertiesList>());
                }).has_value());
    EXPECT_TRUE(
        thrown([&] { properties_put_any_dup(&list, key, &wrapped.as<any>()); }).has_value());
  }
  EXPECT_EQ(keys(), Keys{"key"});
  EXPECT_EQ(properties_get_long(&list, "key"), 5);
}

TEST_F(Lookup, FindsNothingInAnEmptyList) {
  EXPECT_EQ(indexOf("key"), -1);
  EXPECT_EQ(indexOf(""), -1);
  put({"key"});
  properties_remove_and_destroy(&list, "key");
  EXPECT_EQ(indexOf("key"), -1);
}

TEST_F(Lookup, CountsFromZeroInTheOrderOfTheFirstPut) {
  put({"c", "a", "b", "a", "c"});
  EXPECT_EQ(keys(), (Keys{"c", "a", "b"}));
  EXPECT_EQ(indexOf("c"), 0);
  EXPECT_EQ(indexOf("a"), 1);
  EXPECT_EQ(indexOf("b"), 2);
}

TEST_F(Lookup, ComparesWholeKeysByteByByte) {
  const Keys all{"key",          "Key",  "KEY",  "ke",           "keys",         "kez",
                 "xey",          "kxy",  "",     " key",         "key ",         "\xc3\xbc",
                 "\xc3\x9c",     "\xff", "\x7f", "keykeykeykey", "keykeykeykex", "xeykeykeykey",
                 "keykeykeykeyk"};
  for (const std::string &key : all) {
    EXPECT_EQ(indexOf(key), -1) << key;
    put({key});
  }
  EXPECT_EQ(keys(), all);
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(indexOf(all[i]), static_cast<int32_t>(i)) << all[i];
  }
}

TEST_F(Lookup, FindsKeysOfAnyLength) {
  Keys all;
  for (size_t length = 0; length < 300; ++length) {
    all.emplace_back(length, 'k');
  }
  all.emplace_back(100000, 'k');
  put(all);
  EXPECT_EQ(keys(), all);
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(indexOf(all[i]), static_cast<int32_t>(i));
    EXPECT_EQ(indexOf(all[i] + 'x'), -1);
    EXPECT_EQ(indexOf('x' + all[i]), -1);
  }
}

TEST_F(Lookup, FindsKeysThatDifferInOneByte) {
  Keys all;
  for (size_t at = 0; at < 40; ++at) {
    all.emplace_back(40, 'k');
    all.back()[at] = '#';
  }
  put(all);
  for (size_t at = 0; at < 40; ++at) {
    EXPECT_EQ(indexOf(all[at]), static_cast<int32_t>(at));
  }
  EXPECT_EQ(indexOf(std::string(40, 'k')), -1);
}

TEST_F(Lookup, FindsKeysThatWereMadeByOthers) {
  list = listOf<Properties>({propertyOf("first", any{}), propertyOf("second", any{})});
  EXPECT_EQ(indexOf("second"), 1);
  const Value copy(TC_NEX_Sprig2_Properties);
  ASSERT_EQ(test::decode(test::encoded(TC_NEX_Sprig2_Properties, &list), copy), 0);
  EXPECT_EQ(properties_get_property_index(&copy.as<Properties>(), "second"), 1);
  EXPECT_EQ(properties_get_property_index(&copy.as<Properties>(), "secon"), -1);
  properties_put_long_dup(&list, "second", 5);
  EXPECT_EQ(keys(), (Keys{"first", "second"}));
}

TEST_F(Lookup, FindsKeysThatWereChangedInTheirPlace) {
  put({"first", "second"});
  list.buffer[1].key[3] = '\0';
  EXPECT_EQ(indexOf("sec"), 1);
  EXPECT_EQ(indexOf("second"), -1);
  list.buffer[0].key[0] = 'F';
  EXPECT_EQ(indexOf("First"), 0);
  mg_free(list.buffer[0].key);
  list.buffer[0].key = mg_strdup("a much longer key");
  EXPECT_EQ(indexOf("a much longer key"), 0);
  EXPECT_EQ(indexOf("First"), -1);
}

TEST_F(Lookup, FindsKeysInStorageOfAnyKind) {
  char first[] = "first";
  char second[] = "second";
  Property properties[] = {{first, {}}, {second, {}}};
  const Properties borrowed{2, 2, properties};
  EXPECT_EQ(properties_get_property_index(&borrowed, "second"), 1);
  EXPECT_EQ(properties_get_property_index(&borrowed, "third"), -1);
}

TEST_F(Lookup, FindsTheFirstOfSeveral) {
  list = listOf<Properties>({propertyOf("a", anyOf(TC_long, int32_t{1})),
                             propertyOf("b", anyOf(TC_long, int32_t{2})),
                             propertyOf("b", anyOf(TC_long, int32_t{3}))});
  EXPECT_EQ(indexOf("b"), 1);
  EXPECT_EQ(properties_get_long(&list, "b"), 2);
}

TEST_F(Lookup, TakesNoKeyAtAllForTheEmptyOne) {
  list = listOf<Properties>({propertyOf("a", any{}), propertyOf(nullptr, any{})});
  EXPECT_EQ(indexOf("b"), -1);
  EXPECT_EQ(indexOf(""), 1);
  properties_put_long_dup(&list, "", 5);
  EXPECT_EQ(list.length, 2U);
  EXPECT_EQ(properties_get_long(&list, ""), 5);
}

TEST_F(Lookup, LooksNoFurtherThanTheLength) {
  put({"a", "b"});
  list.length = 1;
  EXPECT_EQ(indexOf("b"), -1);
  list.length = 2;
  EXPECT_EQ(indexOf("b"), 1);
}

TEST_F(Lookup, FindsEachOfManyKeys) {
  Keys all;
  for (int i = 0; i < 1000; ++i) {
    all.push_back("key " + std::to_string(i));
  }
  put(all);
  for (size_t i = 0; i < all.size(); ++i) {
    EXPECT_EQ(indexOf(all[i]), static_cast<int32_t>(i));
    EXPECT_EQ(properties_get_long(&list, all[i].c_str()), static_cast<int32_t>(i));
  }
}

TEST_F(AnyType, IsGotAsItsBlock) {
  for (const TypeCode type : test::allTypes()) {
    void *block = mg_calloc(1, type->size);
    properties_put(&list, "key", type, block);
    EXPECT_EQ(properties_get(&list, "key", type, 1), block) << type->name;
    EXPECT_EQ(properties_get(&list, "key", type, 0), block) << type->name;
  }
  EXPECT_EQ(keys(), Keys{"key"});
}

TEST_F(AnyType, IsNothingWhereTheKeyMayBeMissing) {
  EXPECT_EQ(properties_get(&list, "key", TC_long, 0), nullptr);
}

TEST_F(AnyType, IsThrownForWhereTheKeyMustBeThere) {
  for (const int mustExist : {1, -1, 256}) {
    const auto exception = thrown([&] { properties_get(&list, "key", TC_long, mustExist); });
    ASSERT_TRUE(exception.has_value());
    EXPECT_EQ(exception->id, 36);
    EXPECT_EQ(exception->text, "Unable to find the property associated with the key key.\n");
  }
}

TEST_F(AnyType, IsThrownForWhereTheTypeIsAnotherWhetherOrNotTheKeyMustBeThere) {
  put({"key"});
  for (const int mustExist : {0, 1}) {
    const auto exception = thrown([&] { properties_get(&list, "key", TC_ulong, mustExist); });
    ASSERT_TRUE(exception.has_value());
    EXPECT_EQ(exception->id, 37);
    EXPECT_EQ(exception->text, "The wrong property type was specified for the key key.\n");
  }
}

TEST_F(Removal, HandsOutThePropertyAsItWas) {
  put({"a", "b", "c"});
  const void *value = list.buffer[1].value.value;
  const Removed removed(properties_remove(&list, "b"));
  ASSERT_NE(removed.get(), nullptr);
  EXPECT_STREQ(removed->key, "b");
  EXPECT_NE(TypeCode_equal(removed->value.type, TC_long), 0);
  EXPECT_EQ(removed->value.value, value);
  EXPECT_EQ(*static_cast<const int32_t *>(value), 1);
}

TEST_F(Removal, ClosesTheGap) {
  const std::pair<const char *, Keys> removals[] = {
      {"a", {"b", "c"}}, {"b", {"a", "c"}}, {"c", {"a", "b"}}};
  for (const auto &[key, left] : removals) {
    properties_delete(&list);
    put({"a", "b", "c"});
    const Removed removed(properties_remove(&list, key));
    EXPECT_EQ(keys(), left);
    EXPECT_EQ(indexOf(key), -1);
    EXPECT_EQ(indexOf(left[1]), 1);
  }
}

TEST_F(Removal, OfTheOnlyPropertyLeavesAnEmptyList) {
  put({"a"});
  const Removed removed(properties_remove(&list, "a"));
  EXPECT_EQ(list.length, 0U);
  put({"b"});
  EXPECT_EQ(keys(), Keys{"b"});
}

TEST_F(Removal, OfAMissingKeyIsNothing) {
  EXPECT_EQ(properties_remove(&list, "a"), nullptr);
  properties_remove_and_destroy(&list, "a");
  EXPECT_TRUE(isEmpty(list));
  put({"a"});
  EXPECT_EQ(properties_remove(&list, "b"), nullptr);
  properties_remove_and_destroy(&list, "b");
  EXPECT_EQ(keys(), Keys{"a"});
}

TEST_F(Removal, ReleasesThePropertyWhereNobodyWantsIt) {
  list = test::someProperties();
  const Property last = list.buffer[list.length - 1];
  list.length -= 1; // the one without a key
  mg_free(last.key);
  for (const std::string &key : keys()) {
    properties_remove_and_destroy(&list, key.c_str());
    EXPECT_EQ(indexOf(key), -1);
  }
  EXPECT_EQ(list.length, 0U);
}

TEST_F(Removal, TakesTheKeyOutOfTheListItself) {
  put({"a", "b"});
  properties_remove_and_destroy(&list, list.buffer[0].key);
  EXPECT_EQ(keys(), Keys{"b"});
}

TEST_F(Removal, LosesTheKeysPlace) {
  put({"a", "b"});
  properties_remove_and_destroy(&list, "a");
  put({"a"});
  EXPECT_EQ(keys(), (Keys{"b", "a"}));
}

// Random operations, after each of which the list must agree with a model of it.
TEST_F(PropertiesModel, AgreesOverManyRandomSteps) {
  std::mt19937 random(7);
  std::vector<std::pair<std::string, int32_t>> model;
  for (int32_t step = 0; step < 5000 && !HasFailure(); ++step) {
    const std::string key(random() % 20, 'k');
    const auto at = std::find_if(model.begin(), model.end(),
                                 [&](const auto &property) { return property.first == key; });
    switch (random() % 5) {
    case 0:
      EXPECT_EQ(Removed(properties_remove(&list, key.c_str())).get() == nullptr, at == model.end());
      if (at != model.end()) {
        model.erase(at);
      }
      break;
    case 1:
      EXPECT_EQ(properties_get_long2(&list, key.c_str(), -1), at == model.end() ? -1 : at->second);
      break;
    default:
      properties_put_long_dup(&list, key.c_str(), step);
      if (at == model.end()) {
        model.emplace_back(key, step);
      } else {
        at->second = step;
      }
    }
    ASSERT_EQ(list.length, model.size());
    for (size_t i = 0; i < model.size(); ++i) {
      EXPECT_EQ(list.buffer[i].key, model[i].first);
      EXPECT_EQ(*static_cast<int32_t *>(list.buffer[i].value.value), model[i].second);
    }
  }
}

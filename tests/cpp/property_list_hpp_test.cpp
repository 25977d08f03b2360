// Property lists for C++.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/sprig.hpp>

#include "cpp/fixture.h"
#include "support/temporary_directory.h"

using namespace std::string_literals;
using sprig::Any;
using sprig::ConstPropertyListsView;
using sprig::ConstPropertyView;
using sprig::Layout;
using sprig::ObjectReference;
using sprig::Octets;
using sprig::PropertyEntry;
using sprig::PropertyList;
using sprig::PropertyLists;
using sprig::PropertyView;
using test::errorOf;
using test::failure;
using test::Strings;

namespace {

constexpr Layout layouts[] = {Layout::with_length, Layout::improved, Layout::bare};

Strings keysOf(ConstPropertyView list) {
  Strings keys;
  for (const PropertyEntry property : list) {
    keys.emplace_back(property.key());
  }
  return keys;
}

PropertyList listWith(const char *key, int32_t value) {
  PropertyList list;
  list.put(key, value);
  return list;
}

PropertyLists twoLists() {
  PropertyLists lists;
  lists.push_back(listWith("first", 1));
  lists.push_back(listWith("second", 2));
  return lists;
}

// One property of each type, the type's name for its key.
PropertyList listOfAllTypes() {
  PropertyList list;
  list.put("string", "text");
  list.put("any", Any(-7));
  list.put("object", ObjectReference{"a repeater"});
  list.put("short", int16_t{-1});
  list.put("long", int32_t{-70000});
  list.put("ulong", uint32_t{4000000000});
  list.put("boolean", true);
  list.put("octets", Octets{0, 255, 3});
  list.put("properties", listWith("inner", 1));
  list.put("lists", twoLists());
  return list;
}

using CppPropertyList = test::CppFace;
using CppPropertyLists = test::CppFace;
using CppAny = test::CppFace;

} // namespace

TEST_F(CppPropertyList, GivesValuesOfAllTypes) {
  const PropertyList list = listOfAllTypes();
  EXPECT_EQ(list.size(), 10U);
  EXPECT_EQ(list.get<std::string>("string"), "text");
  EXPECT_EQ(list.get<std::string_view>("string"), "text");
  EXPECT_STREQ(list.get<const char *>("string"), "text");
  EXPECT_EQ(list.get<Any>("any").get<int32_t>(), -7);
  EXPECT_EQ(list.get<ObjectReference>("object"), ObjectReference{"a repeater"});
  EXPECT_EQ(list.get<int16_t>("short"), -1);
  EXPECT_EQ(list.get<int32_t>("long"), -70000);
  EXPECT_EQ(list.get<uint32_t>("ulong"), 4000000000U);
  EXPECT_TRUE(list.get<bool>("boolean"));
  EXPECT_EQ(list.get<Octets>("octets"), (Octets{0, 255, 3}));
  EXPECT_EQ(list.get<PropertyList>("properties"), listWith("inner", 1));
  EXPECT_EQ(list.get<ConstPropertyView>("properties").get<int32_t>("inner"), 1);
  EXPECT_EQ(list.get<PropertyLists>("lists"), twoLists());
  EXPECT_EQ(list.get<ConstPropertyListsView>("lists")[1].get<int32_t>("second"), 2);
}

TEST_F(CppPropertyList, GivesEmptyValues) {
  PropertyList list;
  list.put("string", std::string());
  list.put("object", ObjectReference());
  list.put("octets", Octets());
  list.put("properties", PropertyList());
  list.put("lists", PropertyLists());
  list.put("any", Any());
  list.put("boolean", false);
  EXPECT_EQ(list.get<std::string>("string"), "");
  EXPECT_EQ(list.get<ObjectReference>("object"), ObjectReference());
  EXPECT_EQ(list.get<Octets>("octets"), Octets());
  EXPECT_TRUE(list.get<ConstPropertyView>("properties").empty());
  EXPECT_TRUE(list.get<ConstPropertyListsView>("lists").empty());
  EXPECT_EQ(list.get<Any>("any").type(), nullptr);
  EXPECT_FALSE(list.get<bool>("boolean"));
}

TEST_F(CppPropertyList, GivesEveryPatternOfANumber) {
  PropertyList list;
  for (const int32_t number : {INT32_MIN, -1, 0, 1, INT32_MAX}) {
    list.put("long", number);
    list.put("ulong", static_cast<uint32_t>(number));
    list.put("short", static_cast<int16_t>(number));
    EXPECT_EQ(list.get<int32_t>("long"), number);
    EXPECT_EQ(list.get<uint32_t>("ulong"), static_cast<uint32_t>(number));
    EXPECT_EQ(list.get<int16_t>("short"), static_cast<int16_t>(number));
  }
}

TEST_F(CppPropertyList, IsTheOneThatCFunctionsSee) {
  PropertyList list = listWith("put in C++", 3);
  EXPECT_EQ(properties_get_long(list.native(), "put in C++"), 3);
  properties_put_boolean_dup(list.native(), "put in C", 2);
  EXPECT_TRUE(list.get<bool>("put in C"));
}

TEST_F(CppPropertyList, TakesOneOverFromC) {
  Properties *made = properties_new();
  properties_put_long_dup(made, "key", 4);
  const PropertyList list = PropertyList::adopt(made);
  EXPECT_EQ(list, listWith("key", 4));
}

TEST_F(CppPropertyList, PutsAsTheTypeThatIsNamed) {
  PropertyList list;
  list.put<int16_t>("short", 5);
  list.put<std::string>("string", "text");
  EXPECT_EQ(list.get<int16_t>("short"), 5);
  EXPECT_EQ(list.get<std::string>("string"), "text");
}

TEST_F(CppPropertyList, KeepsAPropertysPlaceWhenItIsReplaced) {
  PropertyList list = listWith("first", 1);
  list.put("second", 2);
  list.put("first", "now text");
  EXPECT_EQ(keysOf(list), (Strings{"first", "second"}));
  EXPECT_EQ(list.get<std::string>("first"), "now text");
}

TEST_F(CppPropertyList, ReplacesAListByAPartOfItself) {
  PropertyList list;
  list.put("outer", listWith("inner", 1));
  list.put("outer", list.get<ConstPropertyView>("outer"));
  EXPECT_EQ(list.get<ConstPropertyView>("outer").get<int32_t>("inner"), 1);
  list.put("whole", list);
  EXPECT_EQ(list.get<ConstPropertyView>("whole").size(), 1U);
}

TEST_F(CppPropertyList, ThrowsForAMissingKey) {
  const PropertyList list;
  const auto error = errorOf([&] { list.get<std::string>("version"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->id(), 36);
  EXPECT_EQ(error->arguments(), Strings{"version"});
  EXPECT_STREQ(error->what(), "Unable to find the property associated with the key version.");
}

TEST_F(CppPropertyList, ThrowsForAValueOfAnotherType) {
  PropertyList list = listWith("key", 1);
  EXPECT_EQ(failure([&] { list.get<std::string>("key"); }), "37(key)");
  EXPECT_EQ(failure([&] { list.get<int16_t>("key"); }), "37(key)");
  EXPECT_EQ(failure([&] { list.get_or("key", "otherwise"); }), "37(key)");
  EXPECT_EQ(failure([&] { list.edit("key"); }), "37(key)");
  EXPECT_EQ(failure([&] { (*list.find("key")).get<std::string>(); }), "37(key)");
}

TEST_F(CppPropertyList, GivesAnotherValueForAMissingKey) {
  const PropertyList list = listWith("key", 1);
  EXPECT_EQ(list.get_or("key", 7), 1);
  EXPECT_EQ(list.get_or("other", 7), 7);
  EXPECT_EQ(list.get_or("other", "otherwise"s), "otherwise");
  EXPECT_STREQ(list.get_or("other", "otherwise"), "otherwise");
  EXPECT_EQ(list.get_or<std::string>("other", "otherwise"), "otherwise");
  EXPECT_EQ(list.get_or("other", listWith("inner", 1)), listWith("inner", 1));
}

TEST_F(CppPropertyList, FindsKeys) {
  const PropertyList list = listOfAllTypes();
  EXPECT_TRUE(list.contains("lists"));
  EXPECT_FALSE(list.contains("Lists"));
  EXPECT_EQ((*list.find("short")).key(), "short");
  EXPECT_EQ(list.find("other"), list.end());
}

TEST_F(CppPropertyList, TakesPropertiesOut) {
  PropertyList list = listWith("first", 1);
  list.put("second", 2);
  list.put("third", 3);
  EXPECT_TRUE(list.erase("second"));
  EXPECT_FALSE(list.erase("second"));
  EXPECT_EQ(keysOf(list), (Strings{"first", "third"}));
}

TEST_F(CppPropertyList, IsWalkedInOrder) {
  PropertyList list = listWith("number", 1);
  list.put("text", "of many letters");
  Strings shown;
  for (const PropertyEntry property : list) {
    shown.push_back(std::string(property.key()) + '=' +
                    (property.holds<int32_t>() ? std::to_string(property.get<int32_t>())
                                               : property.get<std::string>()));
  }
  EXPECT_EQ(shown, (Strings{"number=1", "text=of many letters"}));
  EXPECT_TRUE(TypeCode_equal(list[1].type(), TC_string));
  EXPECT_EQ(list[0].native(), list.native()->buffer);
}

TEST_F(CppPropertyList, IsWalkedByAlgorithms) {
  const PropertyList list = listOfAllTypes();
  const auto isText = [](PropertyEntry property) { return property.holds<std::string>(); };
  EXPECT_EQ(std::count_if(list.begin(), list.end(), isText), 1);
  const std::vector<PropertyEntry> entries(list.begin(), list.end());
  EXPECT_EQ(entries.size(), list.size());
  auto at = list.begin();
  EXPECT_EQ((*at++).key(), "string");
  EXPECT_EQ((*at).key(), "any");
}

TEST_F(CppPropertyList, EmptyIsWalkedWithoutAStep) {
  const PropertyList list;
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(list.begin(), list.end());
}

TEST_F(CppPropertyList, HasPropertiesWithoutAKeyOrAValueIfCPutThemIn) {
  PropertyList list;
  const Property nothing{};
  seq_add(list.native(), &nothing, sizeof nothing);
  EXPECT_EQ(list[0].key(), "");
  EXPECT_EQ(list[0].type(), nullptr);
  EXPECT_FALSE(list[0].holds<std::string>());
}

TEST_F(CppPropertyList, ReadsANullStringAsEmpty) {
  PropertyList list;
  properties_put(list.native(), "key", TC_string, mg_calloc(1, sizeof(char *)));
  properties_put(list.native(), "object", TC_Object, mg_calloc(1, sizeof(Object)));
  EXPECT_EQ(list.get<std::string>("key"), "");
  EXPECT_EQ(list.get<std::string_view>("key"), "");
  EXPECT_EQ(list.get<ObjectReference>("object").text, "");
}

TEST_F(CppPropertyList, SharesNothingWithACopy) {
  PropertyList list = listOfAllTypes();
  PropertyList copy = list;
  copy.edit("properties").put("inner", 2);
  EXPECT_EQ(list.get<ConstPropertyView>("properties").get<int32_t>("inner"), 1);
  copy = list;
  list = PropertyList();
  EXPECT_EQ(copy, listOfAllTypes());
}

TEST_F(CppPropertyList, IsCopiedFromViewsAndRecords) {
  PropertyList list = listOfAllTypes();
  EXPECT_EQ(PropertyList(ConstPropertyView(list)), list);
  EXPECT_EQ(PropertyList(PropertyView(list)), list);
  EXPECT_EQ(PropertyList(*list.native()), list);
}

TEST_F(CppPropertyList, IsEmptyAndUsableWhenItWasMoved) {
  PropertyList list = listOfAllTypes();
  const Property *buffer = list.native()->buffer;
  PropertyList moved = std::move(list);
  EXPECT_EQ(moved.native()->buffer, buffer);
  EXPECT_TRUE(list.empty()); // NOLINT(bugprone-use-after-move)
  list.put("key", 1);
  list = std::move(moved);
  EXPECT_EQ(list, listOfAllTypes());
  EXPECT_TRUE(std::is_nothrow_move_constructible_v<PropertyList>);
  EXPECT_TRUE(std::is_nothrow_move_assignable_v<PropertyList>);
}

TEST_F(CppPropertyList, SurvivesItsOwnAssignment) {
  PropertyList list = listWith("key", 1);
  PropertyList &same = list;
  list = same;
  EXPECT_EQ(list, listWith("key", 1));
}

TEST_F(CppPropertyList, ChangesListsWithinItInPlace) {
  PropertyList list;
  list.put("outer", listWith("inner", 1));
  PropertyView outer = list.edit("outer");
  outer.put("other", PropertyList());
  outer.edit("other").put("deep", "text");
  EXPECT_TRUE(outer.erase("inner"));
  EXPECT_EQ(keysOf(list.get<ConstPropertyView>("outer")), Strings{"other"});
  EXPECT_EQ(failure([&] { list.edit("none"); }), "36(none)");
}

TEST_F(CppPropertyList, IsChangedOnlyByThoseWhoMay) {
  EXPECT_FALSE((std::is_convertible_v<const PropertyList &, PropertyView>));
  EXPECT_FALSE((std::is_convertible_v<ConstPropertyView, PropertyView>));
  EXPECT_TRUE((std::is_convertible_v<PropertyList &, PropertyView>));
  EXPECT_TRUE((std::is_convertible_v<const PropertyList &, ConstPropertyView>));
}

TEST_F(CppPropertyList, IsEqualToOneWithEqualPropertiesInTheSameOrder) {
  PropertyList list = listWith("first", 1);
  list.put("second", 2);
  PropertyList reversed = listWith("second", 2);
  reversed.put("first", 1);
  PropertyList otherType = listWith("first", 1);
  otherType.put("second", 2U);
  EXPECT_EQ(list, PropertyList(list));
  EXPECT_NE(list, reversed);
  EXPECT_NE(list, otherType);
  EXPECT_NE(list, PropertyList());
}

TEST_F(CppPropertyList, IsComparedWithViews) {
  PropertyList list = listWith("key", 1);
  const PropertyList &constant = list;
  PropertyView view = list;
  const ConstPropertyView constantView = list;
  EXPECT_TRUE(list == view);
  EXPECT_TRUE(constantView == list);
  EXPECT_TRUE(view == constant);
  EXPECT_FALSE(view != constantView);
}

TEST_F(CppPropertyList, ThrowsWhenWhatIsComparedHasNoEncoding) {
  const TypeCodeRecord unknownKind{"Test::Unknown", 99, 1, nullptr, nullptr, 0, nullptr};
  PropertyList list;
  properties_put(list.native(), "key", &unknownKind, mg_calloc(1, 1));
  const PropertyList other = listWith("key", 1);
  const auto error = errorOf([&] { (void)(list == other); });
  ASSERT_TRUE(error);
  EXPECT_EQ(std::string(error->what()).substr(0, 19), "Marshalling error (");
  EXPECT_EQ(errorOf([&] { list.encode(); }).value().id(), 34);
}

TEST_F(CppPropertyList, HasPropertiesThatCompareAndMatch) {
  PropertyList list = listWith("number", 3);
  list.put("version", "version1");
  PropertyList patterns = listWith("number", 3);
  patterns.put("version", "ver*");
  EXPECT_TRUE(list[0] == patterns[0]);
  EXPECT_TRUE(list[1] != patterns[1]);
  EXPECT_TRUE(list[0].matches(patterns[0]));
  EXPECT_TRUE(list[1].matches(patterns[1]));
  EXPECT_FALSE(patterns[1].matches(list[1]));
  EXPECT_FALSE(list[0].matches(patterns[1]));
}

TEST_F(CppPropertyList, SurvivesItsEncoding) {
  const PropertyList list = listOfAllTypes();
  const std::vector<uint8_t> encoding = list.encode();
  const PropertyList decoded = PropertyList::decode(encoding);
  EXPECT_EQ(decoded, list);
  EXPECT_EQ(decoded.encode(), encoding);
  EXPECT_EQ(PropertyList::decode(PropertyList().encode()), PropertyList());
}

TEST_F(CppPropertyList, IsNotDecodedFromDamagedBytes) {
  std::vector<uint8_t> encoding = listOfAllTypes().encode();
  encoding.resize(encoding.size() - 5);
  const auto id = [](const std::vector<uint8_t> &bytes) {
    return errorOf([&] { PropertyList::decode(bytes); }).value().id();
  };
  EXPECT_EQ(id(encoding), 35);
  EXPECT_EQ(id({}), 35);
}

TEST_F(CppPropertyList, SurvivesEveryLayout) {
  const PropertyList list = listOfAllTypes();
  const std::string path = directory / "list";
  for (const Layout layout : layouts) {
    list.save(path, layout);
    EXPECT_EQ(PropertyList::load(path, layout), list);
  }
}

TEST_F(CppPropertyList, LiesInAFileAsTheLayoutSays) {
  const PropertyList list = listOfAllTypes();
  const std::vector<uint8_t> encoding = list.encode();
  const std::string payload(encoding.begin(), encoding.end());
  const auto word = [](uint32_t number) {
    return std::string(reinterpret_cast<const char *>(&number), sizeof number);
  };
  const std::string length = word(static_cast<uint32_t>(encoding.size()));
  const auto saved = [&](auto... layout) {
    list.save(directory / "list", layout...);
    return test::readFile(directory / "list");
  };
  EXPECT_EQ(saved(Layout::with_length), length + payload);
  EXPECT_EQ(saved(), length + payload);
  EXPECT_EQ(saved(Layout::improved), word(1) + length + payload);
  EXPECT_EQ(saved(Layout::bare), payload);
}

TEST_F(CppPropertyList, IsNotLoadedInAnotherLayout) {
  const std::string path = directory / "list";
  listWith("key", 1).save(path, Layout::improved);
  EXPECT_EQ(errorOf([&] { PropertyList::load(path); }).value().id(), 19);
  EXPECT_EQ(errorOf([&] { PropertyList::load(path, Layout::bare); }).value().id(), 35);
}

TEST_F(CppPropertyList, ThrowsForFilesThatCannotBeUsed) {
  const std::string missing = directory / "missing";
  const std::string inside = missing + "/list";
  EXPECT_EQ(failure([&] { PropertyList::load(missing); }), "11(" + missing + ")");
  EXPECT_EQ(failure([&] { PropertyList().save(inside); }),
            "12(" + inside + ", " + std::to_string(ENOENT) + ")");
}

TEST_F(CppPropertyLists, GiveTheirLists) {
  const PropertyLists lists = twoLists();
  EXPECT_EQ(lists.size(), 2U);
  Strings keys;
  for (const ConstPropertyView list : lists) {
    keys.emplace_back(list[0].key());
  }
  EXPECT_EQ(keys, (Strings{"first", "second"}));
}

TEST_F(CppPropertyLists, ShareNothingWithWhatIsAppended) {
  PropertyList list = listWith("key", 1);
  PropertyLists lists;
  lists.push_back(list);
  lists.push_back(std::move(list));
  lists[0].put("key", 2);
  EXPECT_EQ(lists[1].get<int32_t>("key"), 1);
  PropertyLists copy = lists;
  copy[1].erase("key");
  EXPECT_NE(copy, lists);
  EXPECT_TRUE(lists[1].contains("key"));
}

TEST_F(CppPropertyLists, AreCopiedFromViewsAndRecords) {
  const PropertyLists lists = twoLists();
  EXPECT_EQ(PropertyLists(ConstPropertyListsView(lists)), lists);
  EXPECT_EQ(PropertyLists(*lists.native()), lists);
}

TEST_F(CppAny, HoldsAValueOfAnyType) {
  EXPECT_EQ(Any("text").get<std::string>(), "text");
  EXPECT_EQ(Any("text"s).get<std::string_view>(), "text");
  EXPECT_TRUE(Any(true).get<bool>());
  EXPECT_EQ(Any(twoLists()).get<PropertyLists>(), twoLists());
  EXPECT_EQ(Any(*Any(5).native()).get<int32_t>(), 5);
}

TEST_F(CppAny, RefusesToGiveAnotherType) {
  EXPECT_TRUE(Any(1).holds<int32_t>());
  EXPECT_FALSE(Any(1).holds<uint32_t>());
  EXPECT_THROW(Any(1).get<uint32_t>(), std::bad_cast);
  EXPECT_THROW(Any().get<std::string>(), std::bad_cast);
}

TEST_F(CppAny, IsEqualByTypeAndValue) {
  const Any one(1);
  EXPECT_TRUE(one == Any(1));
  EXPECT_TRUE(one != Any(2));
  EXPECT_TRUE(one != Any(1U));
  EXPECT_TRUE(Any(one) == one);
}

// Property lists of every type and nesting, saved and loaded. Seeded: every run has the same ones.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/properties.h>

#include "properties/layouts.h"
#include "support/temporary_directory.h"
#include "support/values.h"

using test::Bytes;
using test::encoded;
using test::Layout;
using test::List;
using test::RandomValues;
using test::Value;

namespace {

// Lists as programs make them: of all types that there are functions for, each key once.
class RandomLists {
public:
  explicit RandomLists(uint32_t seed) : random_(seed) {}

  void fill(Properties &list, int depth = 0) {
    for (uint32_t i = random_.below(8); i > 0; --i) {
      put(list, std::string("key ").append(std::to_string(random_.below(12))).c_str(), depth);
    }
  }

private:
  void put(Properties &list, const char *key, int depth) {
    switch (random_.below(depth < 4 ? 10 : 8)) {
    case 0:
      return properties_put_string_dup(&list, key, text().c_str());
    case 1:
      return properties_put_object_dup(&list, key, text().c_str());
    case 2:
      return properties_put_short_dup(&list, key, static_cast<int16_t>(number()));
    case 3:
      return properties_put_long_dup(&list, key, static_cast<int32_t>(number()));
    case 4:
      return properties_put_ulong_dup(&list, key, number());
    case 5:
      return properties_put_boolean_dup(&list, key, static_cast<uint8_t>(number()));
    case 6:
      return putRandom<any>(list, key, TC_any, properties_put_any_dup);
    case 7:
      return putRandom<OctetList>(list, key, TC_NEX_Types_OctetList, properties_put_OctetList_dup);
    case 8:
      return putInner(list, key, depth);
    default:
      putInnerLists(list, key, depth);
    }
  }

  template <typename T>
  void putRandom(Properties &list, const char *key, TypeCode type,
                 void (*put)(Properties *, const char *, const T *)) {
    Value value(type);
    random_.fill(value);
    put(&list, key, &value.as<T>());
  }

  void putInner(Properties &list, const char *key, int depth) {
    List inner;
    fill(inner, depth + 1);
    properties_put_properties_dup(&list, key, &inner);
  }

  void putInnerLists(Properties &list, const char *key, int depth) {
    const Value lists(TC_NEX_Sprig2_PropertiesList);
    for (uint32_t i = random_.below(4); i > 0; --i) {
      Properties inner{};
      fill(inner, depth + 1);
      seq_add(lists.data(), &inner, sizeof inner);
    }
    properties_put_properties_list_dup(&list, key, &lists.as<PropertiesList>());
  }

  std::string text() {
    return std::string(random_.below(40), static_cast<char>(random_.below(256)));
  }
  uint32_t number() { return random_.below(2) == 0 ? random_.below(300) : ~random_.below(70000); }

  RandomValues random_;
};

class PropertyRoundTrip : public test::DirectoryTest, public testing::WithParamInterface<Layout> {
protected:
  PropertyRoundTrip() { test::registerTypes(); }

  // Saves, loads, and saves again what was loaded. The list that was loaded is left to the check.
  template <typename Check> void trip(const Properties &list, Check check) const {
    const std::string path = directory / "f";
    const std::string again = directory / "g";
    List loaded;
    layout.save(&list, path.c_str());
    layout.load(&loaded, path.c_str());
    EXPECT_NE(_t_generic_equal(TC_NEX_Sprig2_Properties, nullptr, &list, &loaded), 0);
    EXPECT_EQ(encoded(TC_NEX_Sprig2_Properties, &list), encoded(TC_NEX_Sprig2_Properties, &loaded));
    layout.save(&loaded, again.c_str());
    EXPECT_EQ(test::readFile(path), test::readFile(again));
    check(loaded);
  }

  const Layout &layout = GetParam();
};

std::string nameOf(const testing::TestParamInfo<Layout> &info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Layouts, PropertyRoundTrip, testing::ValuesIn(test::layouts), nameOf);

void expectSameProperties(const Properties &a, const Properties &b) {
  ASSERT_EQ(a.length, b.length);
  for (uint32_t i = 0; i < a.length; ++i) {
    EXPECT_STREQ(a.buffer[i].key, b.buffer[i].key) << "in the same order";
    EXPECT_TRUE(TypeCode_equal(a.buffer[i].value.type, b.buffer[i].value.type));
    EXPECT_EQ(property_equal(&a.buffer[i], &b.buffer[i]), 1);
    EXPECT_EQ(properties_get_property_index(&b, a.buffer[i].key), static_cast<int32_t>(i));
  }
}

} // namespace

TEST_P(PropertyRoundTrip, LeadsBackToTheSameList) {
  RandomLists random(20240906);
  for (int i = 0; i < 300; ++i) {
    List list;
    random.fill(list);
    trip(list, [&](const Properties &loaded) { expectSameProperties(list, loaded); });
    ASSERT_FALSE(HasFailure()) << i;
  }
}

TEST_P(PropertyRoundTrip, LeadsBackToTheSameValuesOfAnyType) {
  RandomValues random(20240907);
  for (int i = 0; i < 300; ++i) {
    Value value(TC_NEX_Sprig2_Properties);
    random.fill(value);
    trip(value.as<Properties>(), [](const Properties &) {});
    ASSERT_FALSE(HasFailure()) << i;
  }
}

TEST_P(PropertyRoundTrip, LeadsBackToTheDeepestLists) {
  constexpr size_t deepest = 64;
  const List list(test::nestedProperties(deepest));
  trip(list, [&](const Properties &loaded) {
    size_t depth = 1;
    const Properties *at = &loaded;
    for (; at->length > 0; ++depth) {
      at = properties_get_properties(at, "inner");
    }
    EXPECT_EQ(depth, deepest);
  });
}

TEST_P(PropertyRoundTrip, LeadsBackToManyProperties) {
  List list;
  for (int32_t i = 0; i < 2000; ++i) {
    properties_put_long_dup(&list, std::to_string(i).c_str(), i);
  }
  trip(list, [&](const Properties &loaded) { expectSameProperties(list, loaded); });
}

TEST_P(PropertyRoundTrip, LeadsBackToLargeValues) {
  const std::string text(3 << 20, 'x');
  List list;
  properties_put_string_dup(&list, "text", text.c_str());
  trip(list,
       [&](const Properties &loaded) { EXPECT_EQ(properties_get_string(&loaded, "text"), text); });
}

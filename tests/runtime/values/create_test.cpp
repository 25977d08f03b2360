// Values that are created by their type.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/values.h"

using test::Value;

namespace {

void release(void *value, TypeCode type) {
  nex_free_generic(value, type);
  mg_free(value);
}

// An exception with a member of every kind.
struct ExEverything {
  char *type_name;
  uint8_t flag;
  int16_t small;
  uint8_t octet;
  int32_t number;
  uint32_t large;
  Object reference;
  any extra;
  test::Record record;
  StringList names;
  int32_t count; // of an alias
};

const TypeCodeMember everythingMembers[] = {
    {"type_name", TC_string},     {"flag", TC_boolean},
    {"small", TC_short},          {"octet", TC_octet},
    {"number", TC_long},          {"large", TC_ulong},
    {"reference", TC_Object},     {"extra", TC_any},
    {"record", test::recordType}, {"names", TC_NEX_Types_StringList},
    {"count", test::countType}};
const TypeCodeRecord everythingType[1] = {{"Test::ExEverything", TYPE_KIND_EXCEPTION,
                                           sizeof(ExEverything), nullptr, everythingMembers,
                                           std::size(everythingMembers), nullptr}};

} // namespace

TEST(Creation, GivesEmptyValues) {
  for (const TypeCode type : test::allTypes()) {
    if (type->kind == TYPE_KIND_EXCEPTION) {
      continue;
    }
    void *value = generic_create(type);
    ASSERT_NE(value, nullptr);
    const auto *bytes = static_cast<const uint8_t *>(value);
    EXPECT_EQ(test::Bytes(bytes, bytes + type->size), test::Bytes(type->size)) << type->name;
    release(value, type);
  }
}

TEST(Creation, GivesExceptionsWithTheValuesOfTheirMembers) {
  int32_t number = 7;
  const any extra{TC_long, &number};
  const Value record(test::recordType);
  record.as<test::Record>().text = mg_strdup("inside");
  const Value names(TC_NEX_Types_StringList, test::stringsOf({"a", "b"}));
  void *created = generic_create(everythingType, "Test::ExEverything", 1, -3, 200, -5, 0x80000000U,
                                 "bed#1", &extra, record.data(), names.data(), -11);
  ASSERT_NE(created, nullptr);
  const auto &exception = *static_cast<ExEverything *>(created);
  EXPECT_STREQ(exception.type_name, "Test::ExEverything");
  EXPECT_EQ(exception.flag, 1);
  EXPECT_EQ(exception.small, -3);
  EXPECT_EQ(exception.octet, 200);
  EXPECT_EQ(exception.number, -5);
  EXPECT_EQ(exception.large, 0x80000000);
  EXPECT_STREQ(exception.reference, "bed#1");
  EXPECT_NE(_t_generic_equal(TC_any, nullptr, &exception.extra, &extra), 0);
  EXPECT_NE(exception.extra.value, &number);
  EXPECT_STREQ(exception.record.text, "inside");
  EXPECT_NE(exception.record.text, record.as<test::Record>().text);
  EXPECT_NE(_t_generic_equal(names.type(), nullptr, &exception.names, names.data()), 0);
  EXPECT_EQ(exception.count, -11);
  release(created, everythingType);
}

TEST(Creation, GivesExceptionsWithEmptyMembersForNullPointers) {
  const char *none = nullptr;
  void *created =
      generic_create(everythingType, none, 0, 0, 0, 0, 0U, none, nullptr, nullptr, nullptr, 0);
  const Value empty(everythingType);
  EXPECT_NE(_t_generic_equal(everythingType, nullptr, created, empty.data()), 0);
  release(created, everythingType);
}

TEST(Creation, GivesExceptionsThatCanBeThrown) {
  const auto thrown = test::thrown([] {
    const char *none = nullptr;
    void *record = generic_create(TC_NEX_Sprig2_ExInvalidCall, "NEX_Sprig2::ExInvalidCall", none, 0,
                                  "no call", 12, nullptr, nullptr);
    eh_throw("NEX_Sprig2::ExInvalidCall", record);
  });
  ASSERT_TRUE(thrown.has_value());
  EXPECT_EQ(thrown->typeName, "NEX_Sprig2::ExInvalidCall");
  EXPECT_EQ(thrown->text, "no call");
  EXPECT_EQ(thrown->timeStamp, 12);
}

TEST(Creation, ThrowsWhereAMemberCannotBeCopied) {
  const auto deep = test::nestings().front().make(1000);
  const any extra{deep->type(), deep->data()};
  EXPECT_TRUE(test::thrown([&] {
                generic_create(everythingType, "Test::ExEverything", 1, 2, 3, 4, 5U, "bed#1",
                               &extra, nullptr, nullptr, 6);
              }).has_value());
}

// Types: which are the same, and how the runtime describes its own.
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>

#include "support/process.h"
#include "support/values.h"

namespace {

bool isSame(TypeCode a, TypeCode b) {
  const bool result = TypeCode_equal(a, b) != 0;
  EXPECT_EQ(TypeCode_equal(b, a) != 0, result);
  return result;
}

// A type described once more, with changes.
struct Description {
  explicit Description(TypeCode type)
      : members(type->members, type->members + type->member_count), record(*type) {}

  TypeCode type() {
    record.members = members.data();
    record.member_count = static_cast<uint32_t>(members.size());
    return &record;
  }

  std::vector<TypeCodeMember> members;
  TypeCodeRecord record;
};

// A type that leads back to itself in three ways, so that the ways multiply.
struct Tree {
  Tree() {
    for (TypeCodeMember &branch : branches) {
      branch = {"branch", &list};
    }
  }

  TypeCodeMember branches[3];
  TypeCodeMember element{nullptr, &node};
  TypeCodeRecord list{
      "Test::_sequence_Tree", TYPE_KIND_SEQUENCE, sizeof(Sequence), nullptr, &element, 1, nullptr};
  TypeCodeRecord node{"Test::Tree", TYPE_KIND_STRUCT, 3 * sizeof(Sequence), nullptr, branches, 3,
                      nullptr};
};

} // namespace

TEST(Type, IsTheSameAsItself) {
  for (const TypeCode type : test::allTypes()) {
    EXPECT_TRUE(isSame(type, type)) << type->name;
  }
}

TEST(Type, IsAnotherThanAllOthers) {
  for (const TypeCode a : test::allTypes()) {
    for (const TypeCode b : test::allTypes()) {
      EXPECT_EQ(isSame(a, b), a == b) << a->name << ' ' << b->name;
    }
  }
}

TEST(Type, IsTheSameAsNoneOnlyWhereThereIsNone) {
  EXPECT_TRUE(isSame(nullptr, nullptr));
  for (const TypeCode type : test::allTypes()) {
    EXPECT_FALSE(isSame(type, nullptr)) << type->name;
  }
}

TEST(Type, IsTheSameWhereItIsDescribedTwice) {
  for (const TypeCode type : test::allTypes()) {
    const std::string name = type->name;
    Description again(type);
    again.record.name = name.c_str();
    again.record.marshal = nullptr;
    EXPECT_TRUE(isSame(type, again.type())) << type->name;
  }
}

TEST(Type, IsTheSameWhereItsMembersAreDescribedTwice) {
  Description record(test::recordType);
  Description records(test::recordsType);
  records.members[0].type = record.type();
  Description outer(test::outerType);
  outer.members[1].type = record.type();
  outer.members[3].type = records.type();
  EXPECT_TRUE(isSame(test::outerType, outer.type()));
}

TEST(Type, IsAnotherWithAnotherName) {
  for (const TypeCode type : test::allTypes()) {
    Description renamed(type);
    renamed.record.name = "Test::Other";
    EXPECT_FALSE(isSame(type, renamed.type())) << type->name;
  }
}

TEST(Type, IsAnotherWithAnotherStructure) {
  const auto isSameAfter = [](TypeCode type, const std::function<void(Description &)> &change) {
    Description changed(type);
    change(changed);
    return isSame(type, changed.type());
  };
  EXPECT_FALSE(isSameAfter(test::recordType, [](auto &type) { type.members.pop_back(); }));
  EXPECT_FALSE(isSameAfter(test::recordType,
                           [](auto &type) { type.members.push_back(type.members.back()); }));
  EXPECT_FALSE(isSameAfter(test::recordType,
                           [](auto &type) { std::swap(type.members[0], type.members[5]); }));
  EXPECT_FALSE(isSameAfter(test::recordType, [](auto &type) { type.members[1].type = TC_ulong; }));
  EXPECT_FALSE(
      isSameAfter(test::recordType, [](auto &type) { type.record.kind = TYPE_KIND_EXCEPTION; }));
  EXPECT_FALSE(
      isSameAfter(test::recordsType, [](auto &type) { type.members[0].type = test::outerType; }));
  EXPECT_FALSE(isSameAfter(test::countType, [](auto &type) { type.members[0].type = TC_ulong; }));
  EXPECT_FALSE(isSameAfter(TC_long, [](auto &type) { type.record.kind = TYPE_KIND_ULONG; }));
}

TEST(Type, IsAnotherWhereAMembersTypeIs) {
  Description record(test::recordType);
  record.members[1].type = TC_ulong;
  Description outer(test::outerType);
  outer.members[1].type = record.type();
  EXPECT_FALSE(isSame(test::outerType, outer.type()));
  Description alias(test::countType);
  alias.members[0].type = TC_ulong;
  Description list(test::countsType);
  list.members[0].type = alias.type();
  EXPECT_FALSE(isSame(test::countsType, list.type()));
}

TEST(Type, MayContainItself) {
  TypeCodeMember element = {nullptr, nullptr};
  const TypeCodeRecord again = {
      test::nestType->name, TYPE_KIND_SEQUENCE, sizeof(Sequence), nullptr, &element, 1, nullptr};
  element.type = &again;
  EXPECT_TRUE(isSame(test::nestType, &again));
  element.type = TC_NEX_Types_StringList;
  EXPECT_FALSE(isSame(test::nestType, &again));
}

TEST(Type, MayContainItselfInManyWays) {
  test::Child child([] {
    const rlimit seconds{10, 11}; // would not do for a comparison of every way by itself
    setrlimit(RLIMIT_CPU, &seconds);
    const Tree first;
    const Tree second;
    CHILD_EXPECT(isSame(&first.node, &second.node));
    return 0;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST(OwnTypes, HaveTheSizesOfTheirValues) {
  struct Expected {
    TypeCode type;
    int32_t kind;
    size_t size;
  };
  for (const auto &[type, kind, size] : std::initializer_list<Expected>{
           {TC_string, TYPE_KIND_STRING, sizeof(char *)},
           {TC_long, TYPE_KIND_LONG, 4},
           {TC_ulong, TYPE_KIND_ULONG, 4},
           {TC_short, TYPE_KIND_SHORT, 2},
           {TC_boolean, TYPE_KIND_BOOLEAN, 1},
           {TC_octet, TYPE_KIND_OCTET, 1},
           {TC_any, TYPE_KIND_ANY, sizeof(any)},
           {TC_Object, TYPE_KIND_OBJECT, sizeof(Object)},
           {TC_NEX_Types_OctetList, TYPE_KIND_SEQUENCE, sizeof(OctetList)},
           {TC_NEX_Types_StringList, TYPE_KIND_SEQUENCE, sizeof(StringList)},
           {TC_NEX_Types_XOpenMessage, TYPE_KIND_SEQUENCE, sizeof(XOpenMessage)},
           {TC__sequence_any_MsgContext, TYPE_KIND_SEQUENCE, sizeof(Sequence)}}) {
    EXPECT_EQ(type->kind, kind) << type->name;
    EXPECT_EQ(type->size, size) << type->name;
    EXPECT_EQ(type->ancestry, nullptr) << type->name;
  }
}

TEST(OwnTypes, HaveTheElementsOfTheirSequences) {
  const auto elementOf = [](TypeCode type) {
    EXPECT_EQ(type->member_count, 1U) << type->name;
    EXPECT_EQ(type->members[0].name, nullptr) << type->name;
    return type->members[0].type;
  };
  EXPECT_TRUE(isSame(elementOf(TC_NEX_Types_OctetList), TC_octet));
  EXPECT_TRUE(isSame(elementOf(TC_NEX_Types_StringList), TC_string));
  EXPECT_TRUE(isSame(elementOf(TC__sequence_any_MsgContext), TC_any));
  const TypeCode entry = elementOf(TC_NEX_Types_XOpenMessage);
  EXPECT_EQ(entry->kind, TYPE_KIND_STRUCT);
  EXPECT_EQ(entry->size, sizeof(MessageEntry));
  const TypeCode members[] = {TC_string, TC_string, TC_long, TC_any};
  ASSERT_EQ(entry->member_count, std::size(members));
  for (size_t i = 0; i < std::size(members); ++i) {
    EXPECT_TRUE(isSame(entry->members[i].type, members[i])) << i;
  }
}

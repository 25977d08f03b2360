// Types by name: how the decoder finds those that programs register.
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/values.h"

using test::Bytes;
using test::Value;

namespace {

// Types for one test each, since what is registered stays.
constexpr TypeCodeRecord numberType(const char *name, int32_t kind) {
  return {name, kind, sizeof(int32_t), nullptr, nullptr, 0, nullptr};
}

const TypeCodeMember longMember[] = {{"number", TC_long}};
const TypeCodeMember ulongMember[] = {{"number", TC_ulong}};

constexpr TypeCodeRecord structType(const char *name, const TypeCodeMember *member) {
  return {name, TYPE_KIND_STRUCT, sizeof(int32_t), nullptr, member, 1, nullptr};
}

Bytes encodedAny(TypeCode type) {
  int32_t number = 7;
  const any value{type, &number};
  return test::encoded(TC_any, &value);
}

int32_t errorOf(const Bytes &bytes) { return decode(bytes, Value(TC_any)); }

// The type that bytes say.
TypeCode decodedType(const Bytes &bytes) {
  const Value target(TC_any);
  EXPECT_EQ(decode(bytes, target), RUNTIME_ADR_OK);
  return target.as<any>().type;
}

} // namespace

TEST(TypeRepository, MakesItsTypesKnown) {
  static const TypeCodeRecord type[1] = {structType("Test::Known", longMember)};
  static const TypeCode types[] = {type};
  static const TypeRepository repository = {nullptr, types, 1};
  const Bytes bytes = encodedAny(type);
  EXPECT_EQ(errorOf(bytes), RUNTIME_ADR_TYPE_NAME);
  adr_type_init(&repository);
  EXPECT_NE(TypeCode_equal(decodedType(bytes), type), 0);
  adr_type_init(&repository);
  EXPECT_NE(TypeCode_equal(decodedType(bytes), type), 0);
}

TEST(TypeRepository, MakesTheTypesOfItsParentsKnown) {
  static const TypeCodeRecord all[] = {structType("Test::Grandparent", longMember),
                                       structType("Test::Parent", longMember),
                                       structType("Test::Child", longMember)};
  static const TypeCode types[] = {&all[0], &all[1], &all[2]};
  static const TypeRepository grandparent = {type_repository_null, types, 1};
  static const TypeRepository parent = {&grandparent, types + 1, 1};
  static const TypeRepository child = {&parent, types + 2, 1};
  adr_type_init(&child);
  for (const TypeCodeRecord &type : all) {
    EXPECT_NE(TypeCode_equal(decodedType(encodedAny(&type)), &type), 0) << type.name;
  }
}

TEST(TypeRepository, GivesWayToWhatWasRegisteredBefore) {
  static const TypeCodeRecord first[1] = {structType("Test::Twice", longMember)};
  static const TypeCodeRecord second[1] = {structType("Test::Twice", ulongMember)};
  static const TypeCode firstTypes[] = {first};
  static const TypeCode secondTypes[] = {second};
  static const TypeRepository firstRepository = {nullptr, firstTypes, 1};
  static const TypeRepository secondRepository = {nullptr, secondTypes, 1};
  adr_type_init(&firstRepository);
  adr_type_init(&secondRepository);
  const TypeCode type = decodedType(encodedAny(first));
  EXPECT_NE(TypeCode_equal(type, first), 0);
  EXPECT_EQ(TypeCode_equal(type, second), 0);
}

TEST(TypeRepository, GivesWayToTheRuntimesOwnTypes) {
  static const TypeCodeRecord impostor[1] = {
      numberType(TC_NEX_Types_StringList->name, TYPE_KIND_LONG)};
  static const TypeCode types[] = {impostor};
  static const TypeRepository repository = {nullptr, types, 1};
  adr_type_init(&repository);
  const Value list(TC_NEX_Types_StringList, test::stringsOf({"a"}));
  const any wrapped{TC_NEX_Types_StringList, list.data()};
  const TypeCode type = decodedType(test::encoded(TC_any, &wrapped));
  EXPECT_NE(TypeCode_equal(type, TC_NEX_Types_StringList), 0);
}

TEST(TypeRepository, MayBeEmpty) {
  adr_type_init(type_repository_null);
  EXPECT_EQ(type_repository_null->count, 0U);
}

TEST(TypeRepository, OfTheRuntimeNeedsNoRegistration) {
  EXPECT_GT(stypes_type_repository->count, 0U);
  for (uint32_t i = 0; i < stypes_type_repository->count; ++i) {
    const TypeCode type = stypes_type_repository->types[i];
    const Value empty(type);
    const any wrapped{type, empty.data()};
    EXPECT_NE(TypeCode_equal(decodedType(test::encoded(TC_any, &wrapped)), type), 0) << type->name;
  }
}

TEST(TypeRepository, OfTheRuntimeHasItsTypes) {
  const auto hasType = [](TypeCode type) {
    for (uint32_t i = 0; i < stypes_type_repository->count; ++i) {
      if (TypeCode_equal(stypes_type_repository->types[i], type) != 0) {
        return true;
      }
    }
    return false;
  };
  for (const TypeCode type : {TC_string, TC_long, TC_ulong, TC_short, TC_boolean, TC_octet, TC_any,
                              TC_Object, TC_NEX_Types_OctetList, TC_NEX_Types_StringList,
                              TC_NEX_Types_XOpenMessage, TC__sequence_any_MsgContext}) {
    EXPECT_TRUE(hasType(type)) << type->name;
  }
}

TEST(TypeRepository, MayHaveManyTypes) {
  static std::vector<std::string> names(1000);
  static std::vector<TypeCodeRecord> records(names.size());
  static std::vector<TypeCode> types(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    names[i] = "Test::Type" + std::to_string(i);
    records[i] = structType(names[i].c_str(), longMember);
    types[i] = &records[i];
  }
  static const TypeRepository repository = {nullptr, types.data(),
                                            static_cast<uint32_t>(types.size())};
  adr_type_init(&repository);
  for (const TypeCode type : types) {
    EXPECT_STREQ(decodedType(encodedAny(type))->name, type->name);
  }
}

TEST(TypeRepository, MayBeRegisteredWhileOthersDecode) {
  test::registerTypes();
  static const TypeCodeRecord type[1] = {structType("Test::Late", longMember)};
  static const TypeCode types[] = {type};
  static TypeRepository repositories[100];
  const Value value(test::recordType);
  const any wrapped{test::recordType, value.data()};
  const Bytes bytes = test::encoded(TC_any, &wrapped);
  std::thread decoder([&] {
    for (int i = 0; i < 2000; ++i) {
      EXPECT_EQ(errorOf(bytes), RUNTIME_ADR_OK);
    }
  });
  for (TypeRepository &repository : repositories) {
    repository = {nullptr, types, 1};
    adr_type_init(&repository);
  }
  decoder.join();
  EXPECT_EQ(errorOf(encodedAny(type)), RUNTIME_ADR_OK);
}

// The TypeCodes of the library's types, and what makes them known.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/types.h>

#include "framework/samples.h"

using test::anysIn;
using test::Bytes;
using test::encoded;
using test::ExceptionType;
using test::Value;

namespace {

using Members = std::vector<std::pair<std::string, TypeCode>>;

struct Description {
  TypeCode type;
  std::string name;
  int32_t kind;
  size_t size;
  Members members;
  std::string ancestry;
};

std::string orEmpty(const char *text) { return text == nullptr ? "" : text; }

Description describeException(const ExceptionType &type) {
  Description description{type.type,
                          type.name,
                          TYPE_KIND_EXCEPTION,
                          sizeof(ExErrorMsg),
                          {{"type_name", TC_string},
                           {"catalog", TC_string},
                           {"key", TC_long},
                           {"default_msg", TC_string},
                           {"time_stamp", TC_long},
                           {"msg_context", TC__sequence_any_MsgContext},
                           {"emsg", TC_NEX_Types_XOpenMessage}},
                          "Exception:UserException:SysAdminException::ExException:ExErrorMsg:"
                          "NEX_Sprig2::ExSprigException"};
  if (type.name != "NEX_Sprig2::ExSprigException") {
    description.ancestry += ":" + type.name;
  }
  if (type.name == "NEX_Sprig2::ExDistributionDeferred") {
    description.size = sizeof(ExDistributionDeferred);
    description.members.emplace_back("defer_time", TC_long);
  }
  return description;
}

std::vector<Description> descriptions() {
  std::vector<Description> result{
      {TC_NEX_Sprig2_Property,
       "NEX_Sprig2::Property",
       TYPE_KIND_STRUCT,
       sizeof(Property),
       {{"key", TC_string}, {"value", TC_any}},
       ""},
      {TC_NEX_Sprig2__sequence_Property_Properties,
       "NEX_Sprig2::_sequence_Property_Properties",
       TYPE_KIND_SEQUENCE,
       sizeof(Properties),
       {{"", TC_NEX_Sprig2_Property}},
       ""},
      {TC_NEX_Sprig2__sequence_Properties_PropertiesList,
       "NEX_Sprig2::_sequence_Properties_PropertiesList",
       TYPE_KIND_SEQUENCE,
       sizeof(PropertiesList),
       {{"", TC_NEX_Sprig2_Properties}},
       ""},
      {TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList,
       "NEX_Sprig2::_sequence_PropertiesList_PropertiesListList",
       TYPE_KIND_SEQUENCE,
       sizeof(PropertiesListList),
       {{"", TC_NEX_Sprig2_PropertiesList}},
       ""},
      {TC_NEX_Sprig2__sequence_octet_StreamKey,
       "NEX_Sprig2::_sequence_octet_StreamKey",
       TYPE_KIND_SEQUENCE,
       sizeof(StreamKey),
       {{"", TC_octet}},
       ""},
      {TC_NEX_Sprig2_Repeater, "NEX_Sprig2::Repeater", TYPE_KIND_OBJECT, sizeof(Object), {}, ""},
  };
  std::transform(test::exceptionTypes().begin(), test::exceptionTypes().end(),
                 std::back_inserter(result), describeException);
  return result;
}

std::set<TypeCode> addresses() {
  std::set<TypeCode> result;
  for (const Description &description : descriptions()) {
    result.insert(description.type);
  }
  return result;
}

// Compilers may take it for granted that objects of two names are two objects.
bool areOneObject(TypeCode a, TypeCode b) {
  volatile TypeCode first = a;
  volatile TypeCode second = b;
  return first == second;
}

// An any comes back from its encoding as it was, and with the very TypeCode that it had.
void expectDecodesToItself(const any &value) {
  const Bytes bytes = encoded(TC_any, &value);
  const Value decoded(TC_any);
  EXPECT_EQ(test::decode(bytes, decoded), 0) << value.type->name;
  EXPECT_TRUE(TypeCode_equal(decoded.as<any>().type, value.type));
  EXPECT_TRUE(areOneObject(decoded.as<any>().type, value.type)) << value.type->name;
  EXPECT_TRUE(_t_generic_equal(TC_any, nullptr, decoded.data(), &value)) << value.type->name;
  EXPECT_EQ(encoded(decoded), bytes);
}

class TypesTest : public testing::Test {
protected:
  TypesTest() { sprig_init(); }
};

using Types = TypesTest;
using TypesMarshal = TypesTest;
using SprigInit = TypesTest;

} // namespace

TEST_F(Types, AreDescribedByTheirTypeCodes) {
  for (const Description &expected : descriptions()) {
    const TypeCodeRecord &type = *expected.type;
    EXPECT_EQ(type.name, expected.name);
    EXPECT_EQ(type.kind, expected.kind) << expected.name;
    EXPECT_EQ(type.size, expected.size) << expected.name;
    EXPECT_NE(type.marshal, nullptr) << expected.name;
    EXPECT_EQ(orEmpty(type.ancestry), expected.ancestry);
    ASSERT_EQ(type.member_count, expected.members.size()) << expected.name;
    for (size_t i = 0; i < expected.members.size(); ++i) {
      EXPECT_EQ(orEmpty(type.members[i].name), expected.members[i].first) << expected.name;
      EXPECT_TRUE(TypeCode_equal(type.members[i].type, expected.members[i].second))
          << expected.name << ' ' << expected.members[i].first;
    }
  }
}

TEST_F(Types, HaveAnAncestryOnlyWhereTheyAreExceptions) {
  for (const Description &description : descriptions()) {
    EXPECT_EQ(description.type->ancestry == nullptr, description.kind != TYPE_KIND_EXCEPTION);
  }
}

TEST_F(Types, IncludeTheExceptionsOfTheModule) {
  const std::set<std::string> expected{"ExSprigException",
                                       "ExInvalidCall",
                                       "ExDistributionDeferred",
                                       "ExDistributionRejected",
                                       "ExFailedToSetChkpt",
                                       "ExRepeaterNotRunning",
                                       "ExDistExists",
                                       "ExEndpointNotMobile",
                                       "ExDepotFilesystem",
                                       "ExSendError",
                                       "ExMsgFormatError",
                                       "ExClientForcedToStop",
                                       "ExClientFailedToStart",
                                       "ExClientExitedEarly",
                                       "ExClientFailedToConnect",
                                       "ExClientNotServiced",
                                       "ExSendInterrupted",
                                       "ExClientUnreachable",
                                       "ExSegmentNotFound",
                                       "ExInvalidSegment",
                                       "ExSegmentLocked",
                                       "ExLargeSegment",
                                       "ExDepotNoSpace"};
  std::set<std::string> names;
  for (const ExceptionType &type : test::exceptionTypes()) {
    names.insert(type.name.substr(strlen("NEX_Sprig2::")));
  }
  EXPECT_EQ(names, expected);
  EXPECT_EQ(test::exceptionTypes().size(), 23U);
}

TEST_F(Types, AreEachEqualToThemselvesOnly) {
  const std::vector<Description> all = descriptions();
  for (const Description &a : all) {
    for (const Description &b : all) {
      EXPECT_EQ(TypeCode_equal(a.type, b.type) != 0, a.name == b.name) << a.name << ' ' << b.name;
    }
  }
}

TEST_F(Types, AreOneObjectUnderBothTheirNames) {
  EXPECT_TRUE(areOneObject(TC_NEX_Sprig2_Properties, TC_NEX_Sprig2__sequence_Property_Properties));
  EXPECT_TRUE(areOneObject(TC_NEX_Sprig2_PropertiesList,
                           TC_NEX_Sprig2__sequence_Properties_PropertiesList));
  EXPECT_TRUE(areOneObject(TC_NEX_Sprig2_PropertiesListList,
                           TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList));
  EXPECT_TRUE(areOneObject(TC_NEX_Sprig2_StreamKey, TC_NEX_Sprig2__sequence_octet_StreamKey));
}

TEST_F(Types, NameEachOtherByTheSameObjects) {
  const std::pair<TypeCode, TypeCode> pairs[] = {
      {TC_NEX_Sprig2_Properties, TC_NEX_Sprig2_Property},
      {TC_NEX_Sprig2_PropertiesList, TC_NEX_Sprig2_Properties},
      {TC_NEX_Sprig2_PropertiesListList, TC_NEX_Sprig2_PropertiesList},
      {TC_NEX_Sprig2_StreamKey, TC_octet},
  };
  for (const auto &[list, element] : pairs) {
    EXPECT_TRUE(areOneObject(list->members[0].type, element)) << list->name;
  }
}

TEST_F(Types, AreAllInTheRepository) {
  const TypeRepository &repository = *Sprig2_type_repository;
  EXPECT_EQ(repository.count, 29U);
  const std::set<TypeCode> listed(repository.types, repository.types + repository.count);
  EXPECT_EQ(listed.size(), 29U);
  EXPECT_EQ(listed, addresses());
}

TEST_F(Types, HaveARepositoryWhoseParentHasNone) {
  EXPECT_EQ(Sprig2_type_repository->parent, type_repository_null);
  EXPECT_EQ(type_repository_null->count, 0U);
}

TEST_F(Types, AreFoundByNameWhenAnAnyIsDecoded) {
  const Value samples = test::sampleOfEachType();
  for (const any &value : anysIn(samples)) {
    expectDecodesToItself(value);
  }
}

TEST_F(Types, AreFoundUnderTheirOtherNames) {
  const std::pair<TypeCode, TypeCode> names[] = {
      {TC_NEX_Sprig2_Properties, TC_NEX_Sprig2__sequence_Property_Properties},
      {TC_NEX_Sprig2_PropertiesList, TC_NEX_Sprig2__sequence_Properties_PropertiesList},
      {TC_NEX_Sprig2_PropertiesListList, TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList},
      {TC_NEX_Sprig2_StreamKey, TC_NEX_Sprig2__sequence_octet_StreamKey},
  };
  Sequence empty{};
  for (const auto &[alias, original] : names) {
    any value{alias, &empty};
    any other{original, &empty};
    expectDecodesToItself(value);
    EXPECT_EQ(encoded(TC_any, &value), encoded(TC_any, &other));
  }
}

TEST_F(TypesMarshal, EncodesAsTheFrameworkDoes) {
  const Value samples = test::sampleOfEachType();
  for (const any &sample : anysIn(samples)) {
    const Bytes bytes =
        test::encodedBy([&](AdrBuffer *buffer) { sample.type->marshal(buffer, sample.value); });
    EXPECT_EQ(bytes, encoded(sample.type, sample.value)) << sample.type->name;
  }
}

TEST_F(TypesMarshal, DecodesAsTheFrameworkDoes) {
  const Value samples = test::sampleOfEachType();
  for (const any &sample : anysIn(samples)) {
    const Bytes bytes = encoded(sample.type, sample.value);
    const Value decoded(sample.type);
    test::decodeBy(bytes, [&](AdrBuffer *buffer) { sample.type->marshal(buffer, decoded.data()); });
    EXPECT_TRUE(_t_generic_equal(sample.type, nullptr, decoded.data(), sample.value))
        << sample.type->name;
    EXPECT_EQ(encoded(decoded), bytes) << sample.type->name;
  }
}

TEST_F(TypesMarshal, EncodesAPropertyMemberByMember) {
  const Value value(TC_NEX_Sprig2_Property, test::sample<Property>(1));
  auto &property = value.as<Property>();
  const Bytes bytes = encoded(value);
  EXPECT_EQ(
      test::encodedBy([&](AdrBuffer *buffer) { adr_v_NEX_Sprig2_Property(buffer, &property); }),
      bytes);
  EXPECT_EQ(test::encodedBy([&](AdrBuffer *buffer) {
              adr_start_struct(buffer, TC_NEX_Sprig2_Property);
              adr_v_string(buffer, &property.key);
              adr_v_any(buffer, &property.value);
              adr_end_struct(buffer, TC_NEX_Sprig2_Property);
            }),
            bytes);
}

TEST_F(TypesMarshal, DecodesAProperty) {
  const Value value(TC_NEX_Sprig2_Property, test::sample<Property>(1));
  const Value decoded(TC_NEX_Sprig2_Property);
  test::decodeBy(encoded(value), [&](AdrBuffer *buffer) {
    adr_v_NEX_Sprig2_Property(buffer, &decoded.as<Property>());
  });
  EXPECT_TRUE(_equal_NEX_Sprig2_Property(nullptr, &decoded.as<Property>(), &value.as<Property>()));
}

TEST_F(SprigInit, MayBeCalledAsOftenAsOneLikes) {
  for (int i = 0; i < 100000; ++i) {
    sprig_init();
  }
  const Value samples = test::sampleOfEachType();
  for (const any &value : anysIn(samples)) {
    expectDecodesToItself(value);
  }
}

TEST(BuildStamps, NameTheLevelAndTheRelease) {
  const std::string level = nexver_get_level_name();
  EXPECT_EQ(level.rfind("$BLD: ", 0), 0U) << level;
  EXPECT_NE(level.find("4.3.1"), std::string::npos) << level;
  EXPECT_EQ(nexver_get_level_name(), level);
}

TEST(BuildStamps, NameTheDate) {
  const std::string start = "$BLD: BLD_DATE_";
  const std::string date = nexver_get_bld_date();
  EXPECT_EQ(date.rfind(start, 0), 0U) << date;
  EXPECT_TRUE(std::any_of(date.begin() + static_cast<std::ptrdiff_t>(start.size()), date.end(),
                          [](unsigned char character) { return std::isdigit(character) != 0; }))
      << date;
  EXPECT_EQ(nexver_get_bld_date(), date);
}

// What docs/formats/adr.md shows is what the code does.
#include <cstring>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

#include "hex.h"
#include "support/document.h"
#include "support/values.h"

using test::anyOf;
using test::Bytes;
using test::listOf;
using test::propertyOf;
using test::Row;
using test::stringsOf;
using test::Value;

namespace {

// The values that it names.

struct Reading {
  int16_t degrees;
  uint8_t isSure;
  char *place;
  Sequence counts;
  OctetList raw;
};

const TypeCodeMember longElement[] = {{nullptr, TC_long}};
const TypeCodeRecord longsType[1] = {{"Example::_sequence_long", TYPE_KIND_SEQUENCE,
                                      sizeof(Sequence), nullptr, longElement, 1, nullptr}};
const TypeCodeMember readingMembers[] = {{"degrees", TC_short},
                                         {"is_sure", TC_boolean},
                                         {"place", TC_string},
                                         {"counts", longsType},
                                         {"raw", TC_NEX_Types_OctetList}};
const TypeCodeRecord readingType[1] = {{"Example::Reading", TYPE_KIND_STRUCT, sizeof(Reading),
                                        nullptr, readingMembers, std::size(readingMembers),
                                        nullptr}};
const TypeCode ownTypes[] = {longsType, readingType};
const TypeRepository ownRepository[1] = {{type_repository_null, ownTypes, std::size(ownTypes)}};

using Values = std::map<std::string, Value>;

Values shortValues() {
  Values values;
  values.try_emplace("short -32768", TC_short, int16_t{INT16_MIN});
  values.try_emplace("short 32767", TC_short, int16_t{INT16_MAX});
  values.try_emplace("long -2", TC_long, int32_t{-2});
  values.try_emplace("long 70000", TC_long, int32_t{70000});
  values.try_emplace("ulong 4000000000", TC_ulong, uint32_t{4000000000});
  values.try_emplace("boolean true", TC_boolean, uint8_t{1});
  values.try_emplace("octet 200", TC_octet, uint8_t{200});
  for (const char *text : {"a", "ros", "rose", "ros\u00e9"}) {
    values.try_emplace(std::string("string ").append(text), TC_string, mg_strdup(text));
  }
  values.try_emplace("string empty", TC_string, mg_strdup(""));
  values.try_emplace("string null", TC_string);
  values.try_emplace("Object 1.2.3", TC_Object, mg_strdup("1.2.3"));
  values.try_emplace("Object nil", TC_Object);
  values.try_emplace("OctetList 01 00 ff", TC_NEX_Types_OctetList,
                     listOf<OctetList, uint8_t>({1, 0, 255}));
  values.try_emplace("OctetList empty", TC_NEX_Types_OctetList);
  values.try_emplace("StringList a, empty", TC_NEX_Types_StringList, stringsOf({"a", ""}));
  values.try_emplace("StringList empty", TC_NEX_Types_StringList);
  return values;
}

Properties exampleProperties() {
  const auto parts = listOf<Properties>({propertyOf("a", anyOf(TC_boolean, uint8_t{1}))});
  return listOf<Properties>({propertyOf("name", anyOf(TC_string, mg_strdup("rosebud"))),
                             propertyOf("size", anyOf(TC_long, int32_t{-2})),
                             propertyOf("parts", anyOf(TC_NEX_Sprig2_Properties, parts))});
}

Reading exampleReading() {
  return {-3, 1, mg_strdup("Rome"), listOf<Sequence>({int32_t{10}, int32_t{-10}}),
          listOf<OctetList, uint8_t>({0xca, 0xfe, 1})};
}

ExDistributionDeferred exampleException() {
  constexpr int32_t paused = 105;
  const MessageEntry entry{mg_strdup(Sprig2Catalog[0]), mg_strdup(Sprig2Catalog[paused]), paused,
                           anyOf(TC_NEX_Types_StringList, stringsOf({"spring", "garden"}))};
  ExErrorMsg base{};
  base.type_name = mg_strdup("NEX_Sprig2::ExDistributionDeferred");
  base.default_msg = mg_strdup("%7$M");
  base.time_stamp = 1700000000;
  base.emsg = listOf<XOpenMessage>({entry});
  return {base, base.time_stamp + 3600};
}

Values exampleValues() {
  Values values;
  values.try_emplace("An empty any", TC_any);
  values.try_emplace("An any with a number", TC_any, anyOf(TC_long, int32_t{-2}));
  values.try_emplace("An any in an any", TC_any,
                     anyOf(TC_any, anyOf(TC_string, mg_strdup("rose"))));
  values.try_emplace("A list of strings", TC_NEX_Types_StringList, stringsOf({"rose", "", "a"}));
  values.try_emplace("A property list", TC_NEX_Sprig2_Properties, exampleProperties());
  values.try_emplace("A value of a program's own type", TC_any,
                     anyOf(readingType, exampleReading()));
  values.try_emplace("An exception", TC_NEX_Sprig2_ExDistributionDeferred, exampleException());
  return values;
}

TypeCode typeCalled(const std::string &name) {
  static const std::map<std::string, TypeCode> types = {
      {"any", TC_any},
      {"boolean", TC_boolean},
      {"long", TC_long},
      {"octet", TC_octet},
      {"short", TC_short},
      {"string", TC_string},
      {"OctetList", TC_NEX_Types_OctetList},
      {"Properties", TC_NEX_Sprig2_Properties},
      {"StringList", TC_NEX_Types_StringList},
  };
  return types.at(name);
}

class EncodingDocument : public testing::Test {
protected:
  EncodingDocument() {
    sprig_init();
    adr_type_init(ownRepository);
  }

  const std::vector<Row> &table(const std::string &firstLine) const {
    return document.tables.at(firstLine);
  }

  const test::Document document = test::readDocument(SPRIG_SOURCE_DIR "/docs/formats/adr.md");
};

// Each of the values has its encoding there, and there are no others.
void expectEncodings(const Values &values, const std::map<std::string, Bytes> &encodings) {
  EXPECT_EQ(values.size(), encodings.size());
  for (const auto &[name, encoding] : encodings) {
    SCOPED_TRACE(name);
    const Value &value = values.at(name);
    EXPECT_EQ(encoded(value), encoding);
    const Value decoded(value.type());
    EXPECT_EQ(decode(encoding, decoded), RUNTIME_ADR_OK);
    EXPECT_TRUE(_t_generic_equal(value.type(), nullptr, value.data(), decoded.data()));
  }
}

} // namespace

TEST_F(EncodingDocument, HasTheBytesOfSmallValues) {
  std::map<std::string, Bytes> encodings;
  for (const Row &row : table("| type | value | bytes |")) {
    encodings[std::string(row[0]).append(" ").append(row[1])] = test::bytesOfHex(row[2]);
  }
  expectEncodings(shortValues(), encodings);
}

TEST_F(EncodingDocument, HasTheBytesOfItsExamples) {
  std::map<std::string, Bytes> encodings;
  for (const auto &[heading, example] : document.examples) {
    EXPECT_EQ(example.offsets, example.counted) << heading;
    encodings[heading] = Bytes(example.bytes.begin(), example.bytes.end());
  }
  expectEncodings(exampleValues(), encodings);
}

TEST_F(EncodingDocument, HasTheNumbersOfTheRuntimesTypes) {
  std::vector<std::string> names;
  for (const Row &row : table("| number | type | what it is |")) {
    names.push_back(row[1]);
    EXPECT_EQ(row[0], std::to_string(names.size()));
  }
  ASSERT_EQ(names.size(), stypes_type_repository->count);
  for (uint32_t i = 0; i < names.size(); ++i) {
    EXPECT_EQ(names[i], stypes_type_repository->types[i]->name);
  }
}

TEST_F(EncodingDocument, NamesAllOfTheLibrarysTypes) {
  for (uint32_t i = 0; i < Sprig2_type_repository->count; ++i) {
    const std::string name = Sprig2_type_repository->types[i]->name;
    EXPECT_NE(document.text.find("`" + name + "`"), std::string::npos) << name;
  }
}

TEST_F(EncodingDocument, HasTheTextOfEachError) {
  const std::vector<Row> &rows = table("| code | name | text | when |");
  for (size_t code = 0; code < rows.size(); ++code) {
    EXPECT_EQ(rows[code][0], std::to_string(code));
    EXPECT_EQ(rows[code][2], runtime_adr_error_text(static_cast<int32_t>(code)));
  }
  EXPECT_STREQ(runtime_adr_error_text(static_cast<int32_t>(rows.size())),
               runtime_adr_error_text(-1));
}

TEST_F(EncodingDocument, SaysWhatIsRefused) {
  for (const Row &row : table("| read as | bytes | code |")) {
    const Value value(typeCalled(row[0]));
    EXPECT_EQ(std::to_string(decode(test::bytesOfHex(row[1]), value)), row[2]) << row[1];
  }
}

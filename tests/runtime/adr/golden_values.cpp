#include "golden_values.h"

#include <string_view>
#include <utility>

#include <gtest/gtest.h>

namespace {

using test::anyOf;
using test::listOf;
using test::propertyOf;
using test::stringsOf;
using test::Value;

// Types of a program's own.

extern const TypeCodeRecord nestType[1];
extern const TypeCodeRecord countType[1];
extern const TypeCodeRecord shortsType[1];
extern const TypeCodeRecord readingType[1];
extern const TypeCodeRecord readingsType[1];

struct Reading {
  uint8_t mark;
  int16_t degrees;
  char *place;
  Sequence shorts;
  uint8_t isSure;
  Object source;
  any extra;
};

const TypeCodeMember nestElement[] = {{nullptr, nestType}};
const TypeCodeMember longMember[] = {{nullptr, TC_long}};
const TypeCodeMember shortElement[] = {{nullptr, TC_short}};
const TypeCodeMember readingElement[] = {{nullptr, readingType}};
const TypeCodeMember readingMembers[] = {
    {"mark", TC_octet},      {"degrees", TC_short}, {"place", TC_string}, {"shorts", shortsType},
    {"is_sure", TC_boolean}, {"source", TC_Object}, {"extra", TC_any}};

constexpr TypeCodeRecord sequenceOf(const char *name, const TypeCodeMember *element) {
  return {name, TYPE_KIND_SEQUENCE, sizeof(Sequence), nullptr, element, 1, nullptr};
}

const TypeCodeRecord nestType[1] = {sequenceOf("Golden::Nest", nestElement)};
const TypeCodeRecord countType[1] = {
    {"Golden::Count", TYPE_KIND_ALIAS, sizeof(int32_t), nullptr, longMember, 1, nullptr}};
const TypeCodeRecord shortsType[1] = {sequenceOf("Golden::_sequence_short", shortElement)};
const TypeCodeRecord readingType[1] = {{"Golden::Reading", TYPE_KIND_STRUCT, sizeof(Reading),
                                        nullptr, readingMembers, std::size(readingMembers),
                                        nullptr}};
const TypeCodeRecord readingsType[1] = {sequenceOf("Golden::_sequence_Reading", readingElement)};

const TypeCode ownTypes[] = {nestType, countType, shortsType, readingType, readingsType};
const TypeRepository ownRepository[1] = {{type_repository_null, ownTypes, std::size(ownTypes)}};

// The runtime's types that have no TypeCode for others.
constexpr uint32_t messageEntry = 12;
constexpr uint32_t errorMessage = 13;
TypeCode runtimeType(uint32_t place) { return stypes_type_repository->types[place]; }

// Parts that many values have.

char *text(const std::string &content) { return mg_strdup(content.c_str()); }

template <typename List, typename Make> List listOfMade(uint32_t count, Make make) {
  List list{};
  for (uint32_t i = 0; i < count; ++i) {
    const auto element = make(i);
    seq_add(&list, &element, sizeof element);
  }
  return list;
}

StringList numberedStrings(uint32_t count) {
  return listOfMade<StringList>(count,
                                [](uint32_t i) { return text("string " + std::to_string(i)); });
}

Properties numberedProperties(uint32_t count) {
  return listOfMade<Properties>(count, [](uint32_t i) {
    return propertyOf(("key " + std::to_string(i)).c_str(), anyOf(TC_long, i));
  });
}

PropertiesList propertiesList() {
  return listOf<PropertiesList>({numberedProperties(2), Properties{}, numberedProperties(1)});
}

MessageEntry entryWithArguments() {
  return {text("Catalog"), text("%2$s %1$s\n"), 12,
          anyOf(TC_NEX_Types_StringList, stringsOf({"one", "two"}))};
}

XOpenMessage messages() {
  return listOf<XOpenMessage>(
      {entryWithArguments(), MessageEntry{nullptr, text("plain"), -1, any{}}});
}

Sequence context() {
  return listOf<Sequence>({anyOf(TC_string, text("context")), any{}, anyOf(TC_short, int16_t{-5})});
}

ExErrorMsg record(const std::string &typeName, size_t key) {
  const auto number = static_cast<int32_t>(key);
  return {text(typeName),      text("Catalog"), number,    text("%7$M"),
          1700000000 + number, context(),       messages()};
}

Reading reading() {
  return {200,
          -32768,
          text("rain"),
          listOf<Sequence>({int16_t{-1}, int16_t{2}}),
          1,
          text("1.2.3"),
          anyOf(countType, int32_t{5})};
}

class Golden {
public:
  std::map<std::string, Value> values;

  // Takes over what a value owns.
  template <typename T> void add(const std::string &name, TypeCode type, const T &content) {
    const auto &[place, isNew] = values.try_emplace(name, type, content);
    EXPECT_TRUE(isNew) << name;
    if (type->kind != TYPE_KIND_ANY) {
      const any typed{type, mg_calloc(1, type->size)};
      _t_generic_copy(type, nullptr, place->second.data(), typed.value);
      values.try_emplace("any of " + name, TC_any, typed);
    }
  }

  template <typename T>
  void addNumbers(const std::string &kind, TypeCode type, std::initializer_list<T> numbers) {
    for (const T number : numbers) {
      add(kind + std::to_string(number), type, number);
    }
  }

  // A list of each of these lengths.
  template <typename Make>
  void addLists(const std::string &kind, TypeCode type, std::initializer_list<uint32_t> counts,
                Make make) {
    for (const uint32_t count : counts) {
      add(kind + std::to_string(count), type, make(count));
    }
  }
};

void addPlain(Golden &golden) {
  golden.addNumbers<int16_t>("short ", TC_short, {INT16_MIN, -1, 0, 1, INT16_MAX});
  golden.addNumbers<int32_t>("long ", TC_long, {INT32_MIN, -1, 0, 1, INT32_MAX});
  golden.addNumbers<uint32_t>("ulong ", TC_ulong, {0, 1, 0x80000000, UINT32_MAX});
  golden.addNumbers<uint8_t>("boolean ", TC_boolean, {0, 1});
  golden.addNumbers<uint8_t>("octet ", TC_octet, {0, 1, 128, 255});
}

void addTexts(Golden &golden) {
  const std::string letters = "abcdefghi";
  for (size_t length = 0; length <= letters.size(); ++length) {
    golden.add("string of " + std::to_string(length), TC_string, text(letters.substr(0, length)));
  }
  std::string everyByte;
  for (int byte = 1; byte <= UINT8_MAX; ++byte) {
    everyByte += static_cast<char>(byte);
  }
  golden.add<char *>("string null", TC_string, nullptr);
  golden.add("string of every byte", TC_string, text(everyByte));
  golden.add("string in UTF-8", TC_string, text("\u017elu\u0165 \u99ac \U0001F40E"));
  golden.add<Object>("Object null", TC_Object, nullptr);
  golden.add("Object empty", TC_Object, text(""));
  golden.add("Object", TC_Object, text("1.2.3#depot"));
}

void addRuntimeTypes(Golden &golden) {
  golden.add("any empty", TC_any, any{});
  golden.add("any of any empty", TC_any, anyOf(TC_any, any{}));
  golden.add("any of any of any", TC_any, anyOf(TC_any, anyOf(TC_any, anyOf(TC_long, int32_t{7}))));
  golden.addLists("OctetList of ", TC_NEX_Types_OctetList, {0, 1, 2, 3, 4, 5, 100},
                  [](uint32_t count) {
                    return listOfMade<OctetList>(
                        count, [](uint32_t i) { return static_cast<uint8_t>(255 - i); });
                  });
  golden.addLists("StringList of ", TC_NEX_Types_StringList, {0, 1, 100}, numberedStrings);
  golden.add("StringList with empty ones", TC_NEX_Types_StringList,
             stringsOf({"", nullptr, "rose", ""}));
  golden.add("MessageEntry", runtimeType(messageEntry), entryWithArguments());
  golden.add("XOpenMessage of 0", TC_NEX_Types_XOpenMessage, XOpenMessage{});
  golden.add("XOpenMessage of 2", TC_NEX_Types_XOpenMessage, messages());
  golden.add("MsgContext of 0", TC__sequence_any_MsgContext, Sequence{});
  golden.add("MsgContext of 3", TC__sequence_any_MsgContext, context());
  golden.add("ExErrorMsg", runtimeType(errorMessage), record("ExErrorMsg", 0));
  golden.add("ExErrorMsg empty", runtimeType(errorMessage), ExErrorMsg{});
}

Properties propertiesOfEachType() {
  return listOf<Properties>({
      propertyOf("string", anyOf(TC_string, text("rose"))),
      propertyOf("long", anyOf(TC_long, int32_t{-70000})),
      propertyOf("ulong", anyOf(TC_ulong, uint32_t{4000000000})),
      propertyOf("short", anyOf(TC_short, int16_t{-700})),
      propertyOf("boolean", anyOf(TC_boolean, uint8_t{1})),
      propertyOf("octet", anyOf(TC_octet, uint8_t{200})),
      propertyOf("any", anyOf(TC_any, anyOf(TC_string, text("within")))),
      propertyOf("Object", anyOf(TC_Object, text("1.2.3"))),
      propertyOf("octets", anyOf(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 2, 3}))),
      propertyOf("strings", anyOf(TC_NEX_Types_StringList, stringsOf({"a", "bc"}))),
      propertyOf("messages", anyOf(TC_NEX_Types_XOpenMessage, messages())),
      propertyOf("context", anyOf(TC__sequence_any_MsgContext, context())),
      propertyOf("property", anyOf(TC_NEX_Sprig2_Property, propertyOf("inner", any{}))),
      propertyOf("list", anyOf(TC_NEX_Sprig2_Properties, numberedProperties(2))),
      propertyOf("nothing", any{}),
  });
}

Properties propertiesWithLongKeys() {
  std::string key;
  for (int i = 0; i < 12; ++i) {
    key += "\u043a\u043b\u044e\u0447 \u9375 \U0001F511 ";
  }
  return listOf<Properties>({propertyOf(key.c_str(), anyOf(TC_boolean, uint8_t{1})),
                             propertyOf(key.c_str() + sizeof "\u043a" - 1, any{})});
}

void addLibraryTypes(Golden &golden) {
  golden.add("Property", TC_NEX_Sprig2_Property, propertyOf("key", anyOf(TC_long, int32_t{-2})));
  golden.add("Property empty", TC_NEX_Sprig2_Property, Property{});
  golden.addLists("Properties of ", TC_NEX_Sprig2_Properties, {0, 1, 100}, numberedProperties);
  golden.add("Properties of each type", TC_NEX_Sprig2_Properties, propertiesOfEachType());
  golden.add("Properties with long keys", TC_NEX_Sprig2_Properties, propertiesWithLongKeys());
  golden.add("PropertiesList of 0", TC_NEX_Sprig2_PropertiesList, PropertiesList{});
  golden.add("PropertiesList of 3", TC_NEX_Sprig2_PropertiesList, propertiesList());
  golden.add("PropertiesListList of 0", TC_NEX_Sprig2_PropertiesListList, PropertiesListList{});
  golden.add("PropertiesListList of 3", TC_NEX_Sprig2_PropertiesListList,
             listOf<PropertiesListList>({PropertiesList{}, propertiesList(), propertiesList()}));
  golden.add("StreamKey of 0", TC_NEX_Sprig2_StreamKey, StreamKey{});
  golden.add("StreamKey of 7", TC_NEX_Sprig2_StreamKey,
             listOf<StreamKey, uint8_t>({0, 255, 1, 2, 3, 4, 5}));
  golden.add("Repeater", TC_NEX_Sprig2_Repeater, text("1.2.3#repeater"));
  golden.add<Object>("Repeater null", TC_NEX_Sprig2_Repeater, nullptr);
}

void addExceptions(Golden &golden) {
  for (uint32_t i = 0; i < Sprig2_type_repository->count; ++i) {
    const TypeCode type = Sprig2_type_repository->types[i];
    const std::string_view name = type->name;
    if (type->size == sizeof(ExDistributionDeferred)) {
      golden.add(type->name, type,
                 ExDistributionDeferred{record(type->name, name.size()), INT32_MIN});
    } else if (type->kind == TYPE_KIND_EXCEPTION) {
      golden.add(type->name, type, record(type->name, name.size()));
    }
  }
}

void addDeepest(Golden &golden) {
  golden.add("64 lists", nestType, test::nestedLists(64));
  golden.add("65 anys", TC_any, test::nestedAnys(65));
  golden.add("64 property lists", TC_NEX_Sprig2_Properties, test::nestedProperties(64));
}

void addOwnTypes(Golden &golden) {
  golden.add("Reading", readingType, reading());
  golden.add("Reading empty", readingType, Reading{});
  golden.add("Readings of 2", readingsType, listOf<Sequence>({reading(), reading()}));
  golden.add("Count", countType, int32_t{-5});
}

} // namespace

std::map<std::string, Value> test::goldenValues() {
  sprig_init();
  adr_type_init(ownRepository);
  Golden golden;
  for (const auto add : {addPlain, addTexts, addRuntimeTypes, addLibraryTypes, addExceptions,
                         addDeepest, addOwnTypes}) {
    add(golden);
  }
  return std::move(golden.values);
}

#include "support/values.h"

#include <algorithm>
#include <type_traits>

#include <gtest/gtest.h>

#include <sprig/runtime.h>

namespace test {
namespace {

constexpr TypeCodeRecord sequenceOf(const char *name, const TypeCodeMember *element) {
  return {name, TYPE_KIND_SEQUENCE, sizeof(Sequence), nullptr, element, 1, nullptr};
}

template <typename Struct, size_t count>
constexpr TypeCodeRecord structOf(const char *name, const TypeCodeMember (&members)[count]) {
  return {name, TYPE_KIND_STRUCT, sizeof(Struct), nullptr, members, count, nullptr};
}

const TypeCodeMember recordMembers[] = {
    {"octet", TC_octet}, {"number", TC_long},      {"flag", TC_boolean},
    {"small", TC_short}, {"text", TC_string},      {"last", TC_octet},
    {"large", TC_ulong}, {"reference", TC_Object}, {"octets", TC_NEX_Types_OctetList}};
const TypeCodeMember recordElement[] = {{nullptr, recordType}};
const TypeCodeMember outerMembers[] = {{"mark", TC_octet},
                                       {"record", recordType},
                                       {"extra", TC_any},
                                       {"records", recordsType},
                                       {"count", TC_short}};
const TypeCodeMember longMember[] = {{nullptr, TC_long}};
const TypeCodeMember countElement[] = {{nullptr, countType}};
const TypeCodeMember shortElement[] = {{nullptr, TC_short}};
const TypeCodeMember booleanElement[] = {{nullptr, TC_boolean}};
const TypeCodeMember objectElement[] = {{nullptr, TC_Object}};
const TypeCodeMember nestElement[] = {{nullptr, nestType}};
const TypeCodeMember wiltedMembers[] = {{"type_name", TC_string},
                                        {"catalog", TC_string},
                                        {"key", TC_long},
                                        {"default_msg", TC_string},
                                        {"time_stamp", TC_long},
                                        {"msg_context", TC__sequence_any_MsgContext},
                                        {"emsg", TC_NEX_Types_XOpenMessage},
                                        {"plant", TC_string},
                                        {"days", TC_short},
                                        {"remedies", TC_NEX_Types_StringList}};

} // namespace

const TypeCodeRecord recordType[1] = {structOf<Record>("Test::Record", recordMembers)};
const TypeCodeRecord recordsType[1] = {sequenceOf("Test::_sequence_Record", recordElement)};
const TypeCodeRecord outerType[1] = {structOf<Outer>("Test::Outer", outerMembers)};
const TypeCodeRecord countType[1] = {
    {"Test::Count", TYPE_KIND_ALIAS, sizeof(int32_t), nullptr, longMember, 1, nullptr}};
const TypeCodeRecord countsType[1] = {sequenceOf("Test::_sequence_Count", countElement)};
const TypeCodeRecord shortsType[1] = {sequenceOf("Test::_sequence_short", shortElement)};
const TypeCodeRecord booleansType[1] = {sequenceOf("Test::_sequence_boolean", booleanElement)};
const TypeCodeRecord objectsType[1] = {sequenceOf("Test::_sequence_Object", objectElement)};
const TypeCodeRecord nestType[1] = {sequenceOf("Test::Nest", nestElement)};
const TypeCodeRecord wiltedType[1] = {{"Test::ExWilted", TYPE_KIND_EXCEPTION, sizeof(ExWilted),
                                       nullptr, wiltedMembers, std::size(wiltedMembers),
                                       "Exception:ExErrorMsg:Test::ExWilted"}};

namespace {

const TypeCode ownTypes[] = {recordType, recordsType,  outerType,   countType, countsType,
                             shortsType, booleansType, objectsType, nestType,  wiltedType};
const TypeRepository ownRepository[1] = {{type_repository_null, ownTypes, std::size(ownTypes)}};

TypeCode elementOf(TypeCode type) { return type->members[0].type; }

size_t alignmentOf(TypeCode type) {
  switch (type->kind) {
  case TYPE_KIND_BOOLEAN:
  case TYPE_KIND_OCTET:
    return alignof(uint8_t);
  case TYPE_KIND_SHORT:
    return alignof(int16_t);
  case TYPE_KIND_LONG:
  case TYPE_KIND_ULONG:
    return alignof(int32_t);
  case TYPE_KIND_ALIAS:
    return alignmentOf(elementOf(type));
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION: {
    size_t alignment = 1;
    for (uint32_t i = 0; i < type->member_count; ++i) {
      alignment = std::max(alignment, alignmentOf(type->members[i].type));
    }
    return alignment;
  }
  default:
    return alignof(void *);
  }
}

template <typename Inner, typename Wrap> Inner nested(size_t depth, Wrap wrap) {
  Inner result{};
  for (size_t i = 1; i < depth; ++i) {
    result = wrap(result);
  }
  return result;
}

template <auto make> std::unique_ptr<Value> nestedValue(TypeCode type, size_t depth) {
  return std::make_unique<Value>(type, make(depth));
}

AdrBuffer *encode(TypeCode type, const void *value) {
  AdrBuffer *buffer = adr_init_encode_buffer(type, value);
  marshal_item(buffer, type, const_cast<void *>(value));
  return buffer;
}

} // namespace

void registerTypes() {
  sprig_init();
  static const bool once = (adr_type_init(ownRepository), true);
  static_cast<void>(once);
}

const std::vector<TypeCode> &allTypes() {
  static const std::vector<TypeCode> types = [] {
    std::vector<TypeCode> all = {TC_string,
                                 TC_long,
                                 TC_ulong,
                                 TC_short,
                                 TC_boolean,
                                 TC_octet,
                                 TC_any,
                                 TC_Object,
                                 TC_NEX_Types_OctetList,
                                 TC_NEX_Types_StringList,
                                 TC_NEX_Types_XOpenMessage,
                                 TC__sequence_any_MsgContext,
                                 TC_NEX_Sprig2_Property,
                                 TC_NEX_Sprig2_Properties,
                                 TC_NEX_Sprig2_PropertiesList,
                                 TC_NEX_Sprig2_PropertiesListList,
                                 TC_NEX_Sprig2_StreamKey,
                                 TC_NEX_Sprig2_Repeater,
                                 TC_NEX_Sprig2_ExSegmentLocked,
                                 TC_NEX_Sprig2_ExDistributionDeferred};
    all.insert(all.end(), std::begin(ownTypes), std::end(ownTypes));
    return all;
  }();
  return types;
}

Value::Value(TypeCode type) : type_(type), storage_(new std::byte[type->size]()) {}

Value::~Value() { nex_free_generic(data(), type_); }

bool Value::isZero() const {
  return std::all_of(storage_.get(), storage_.get() + type_->size,
                     [](std::byte byte) { return byte == std::byte{}; });
}

void Value::scribble() { std::memset(data(), 0xa5, type_->size); }

StringList stringsOf(std::initializer_list<const char *> texts) {
  StringList list{};
  for (const char *text : texts) {
    char *copy = mg_strdup(text);
    seq_add(&list, &copy, sizeof copy);
  }
  return list;
}

Property propertyOf(const char *key, any value) { return {mg_strdup(key), value}; }

Properties someProperties() {
  auto inner = listOf<Properties>(
      {propertyOf("text", anyOf(TC_string, mg_strdup("inside"))), propertyOf("empty", any{})});
  return listOf<Properties>(
      {propertyOf("text", anyOf(TC_string, mg_strdup("rose"))),
       propertyOf("number", anyOf(TC_long, int32_t{-2})),
       propertyOf("flag", anyOf(TC_boolean, uint8_t{1})),
       propertyOf("octets", anyOf(TC_NEX_Types_OctetList, listOf<OctetList, uint8_t>({1, 2, 3}))),
       propertyOf("strings", anyOf(TC_NEX_Types_StringList, stringsOf({"a", "bc", nullptr}))),
       propertyOf("list", anyOf(TC_NEX_Sprig2_Properties, inner)), propertyOf(nullptr, any{})});
}

Sequence nestedLists(size_t depth) {
  return nested<Sequence>(depth, [](const Sequence &inner) {
    Sequence outer{};
    seq_add(&outer, &inner, sizeof inner);
    return outer;
  });
}

any nestedAnys(size_t depth) {
  return nested<any>(depth, [](const any &inner) { return anyOf(TC_any, inner); });
}

Properties nestedProperties(size_t depth) {
  return nested<Properties>(depth, [](const Properties &inner) {
    return listOf<Properties>({propertyOf("inner", anyOf(TC_NEX_Sprig2_Properties, inner))});
  });
}

std::ostream &operator<<(std::ostream &out, const Nesting &nesting) { return out << nesting.name; }

const std::vector<Nesting> &nestings() {
  static const std::vector<Nesting> all = {
      {"Lists", 64, 65, [](size_t depth) { return nestedValue<nestedLists>(nestType, depth); }},
      {"Anys", 64, 66, [](size_t depth) { return nestedValue<nestedAnys>(TC_any, depth); }},
      {"Properties", 64, 65, [](size_t depth) {
         return nestedValue<nestedProperties>(TC_NEX_Sprig2_Properties, depth);
       }}};
  return all;
}

std::optional<Thrown> takenFrom(Environment &environment) {
  if (environment.exception == nullptr) {
    return std::nullopt;
  }
  return thrown([&] { ev_to_exception(&environment); });
}

Bytes encoded(TypeCode type, const void *value) {
  AdrBuffer *buffer = encode(type, value);
  EXPECT_EQ(buffer->error, RUNTIME_ADR_OK) << type->name;
  Bytes bytes(buffer->data, buffer->data + buffer->length);
  adr_free_buf(buffer);
  return bytes;
}

int32_t encodingError(TypeCode type, const void *value) {
  AdrBuffer *buffer = encode(type, value);
  const int32_t error = buffer->error;
  adr_free_buf(buffer);
  return error;
}

int32_t decode(const Bytes &bytes, const Value &target) {
  AdrBuffer *buffer = adr_init_decode_buffer(bytes.data(), static_cast<uint32_t>(bytes.size()));
  marshal_item(buffer, target.type(), target.data());
  const int32_t error = buffer->error;
  adr_free_buf(buffer);
  return error;
}

void RandomValues::fill(TypeCode type, void *target, int depth) {
  switch (type->kind) {
  case TYPE_KIND_STRING:
  case TYPE_KIND_OBJECT:
    *static_cast<char **>(target) = text();
    return;
  case TYPE_KIND_SEQUENCE:
    fillSequence(type, *static_cast<Sequence *>(target), depth);
    return;
  case TYPE_KIND_ANY:
    fillAny(*static_cast<any *>(target), depth);
    return;
  case TYPE_KIND_STRUCT:
  case TYPE_KIND_EXCEPTION:
    fillMembers(type, target, depth);
    return;
  case TYPE_KIND_ALIAS:
    fill(elementOf(type), target, depth);
    return;
  default:
    fillNumber(type, target);
  }
}

void RandomValues::fillNumber(TypeCode type, void *target) {
  const uint32_t limits[] = {0, 1, 127, 128, 255, 256, 32767, 32768, 0x7fffffff, 0x80000000};
  const uint32_t number =
      below(2) == 0 ? static_cast<uint32_t>(engine_()) : limits[below(std::size(limits))];
  const auto octet = static_cast<uint8_t>(number);
  const auto small = static_cast<int16_t>(number);
  const void *source = type->size == sizeof octet   ? static_cast<const void *>(&octet)
                       : type->size == sizeof small ? static_cast<const void *>(&small)
                                                    : &number;
  std::memcpy(target, source, type->size);
}

void RandomValues::fillSequence(TypeCode type, Sequence &target, int depth) {
  const TypeCode element = elementOf(type);
  target.length = depth > 5 ? 0 : below(element->size == 1 ? 40 : 5);
  target.maximum = target.length + below(3);
  if (target.maximum == 0) {
    return;
  }
  target.buffer = mg_calloc(target.maximum, element->size);
  for (uint32_t i = 0; i < target.length; ++i) {
    fill(element, static_cast<std::byte *>(target.buffer) + size_t{i} * element->size, depth + 1);
  }
}

void RandomValues::fillAny(any &target, int depth) {
  if (depth > 5 || below(8) == 0) {
    return;
  }
  target.type = type();
  target.value = mg_calloc(1, target.type->size);
  fill(target.type, target.value, depth + 1);
}

void RandomValues::fillMembers(TypeCode type, void *target, int depth) {
  size_t offset = 0;
  for (uint32_t i = 0; i < type->member_count; ++i) {
    const TypeCode member = type->members[i].type;
    const size_t alignment = alignmentOf(member);
    offset = (offset + alignment - 1) / alignment * alignment;
    fill(member, static_cast<std::byte *>(target) + offset, depth + 1);
    offset += member->size;
  }
}

char *RandomValues::text() {
  if (below(6) == 0) {
    return nullptr;
  }
  const uint32_t length = below(12);
  auto *result = static_cast<char *>(mg_calloc(length + 1, 1));
  for (uint32_t i = 0; i < length; ++i) {
    result[i] = static_cast<char>(1 + below(255));
  }
  return result;
}

} // namespace test

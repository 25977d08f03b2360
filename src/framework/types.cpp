// The library's own types, as the framework needs to know them. Everything that a type has follows
// from its line here.
#include <cstdint>
#include <string_view>

#include <sprig/types.h>

// The value types.

namespace {

template <typename Record, uint32_t count>
constexpr TypeCodeRecord
typeCode(const char *name, TypeKind kind, void (*marshal)(AdrBuffer *, void *),
         const TypeCodeMember (&members)[count], const char *ancestry = nullptr) {
  return {name, kind, sizeof(Record), marshal, members, count, ancestry};
}

template <const TypeCodeRecord *type> void marshalSequence(AdrBuffer *buffer, void *value) {
  adr_v_tc_sequence(buffer, type, value);
}

// Makes what encodes a record one of those that encode anything.
template <typename Record, void (*marshal)(AdrBuffer *, Record *)>
void marshalRecord(AdrBuffer *buffer, void *value) {
  marshal(buffer, static_cast<Record *>(value));
}

constexpr TypeCodeMember propertyMembers[]{{"key", TC_string}, {"value", TC_any}};

} // namespace

const TypeCodeRecord TC_NEX_Sprig2_Property[]{
    typeCode<Property>("NEX_Sprig2::Property", TYPE_KIND_STRUCT,
                       marshalRecord<Property, adr_v_NEX_Sprig2_Property>, propertyMembers)};

// The alias is weak: a program that has a copy of the record then sees both names lead to it.
#define SPRIG_SEQUENCE_TYPE(Sequence, Alias, Value, element)                                       \
  namespace {                                                                                      \
  constexpr TypeCodeMember elementOf##Alias[]{{nullptr, element}};                                 \
  }                                                                                                \
  const TypeCodeRecord TC_NEX_Sprig2_##Sequence[]{                                                 \
      typeCode<Value>("NEX_Sprig2::" #Sequence, TYPE_KIND_SEQUENCE,                                \
                      marshalSequence<TC_NEX_Sprig2_##Sequence>, elementOf##Alias)};               \
  extern const TypeCodeRecord TC_NEX_Sprig2_##Alias[1]                                             \
      __attribute__((weak, alias("TC_NEX_Sprig2_" #Sequence)))

SPRIG_SEQUENCE_TYPE(_sequence_Property_Properties, Properties, Properties, TC_NEX_Sprig2_Property);
SPRIG_SEQUENCE_TYPE(_sequence_Properties_PropertiesList, PropertiesList, PropertiesList,
                    TC_NEX_Sprig2__sequence_Property_Properties);
SPRIG_SEQUENCE_TYPE(_sequence_PropertiesList_PropertiesListList, PropertiesListList,
                    PropertiesListList, TC_NEX_Sprig2__sequence_Properties_PropertiesList);
SPRIG_SEQUENCE_TYPE(_sequence_octet_StreamKey, StreamKey, StreamKey, TC_octet);

const TypeCodeRecord TC_NEX_Sprig2_Repeater[]{{"NEX_Sprig2::Repeater", TYPE_KIND_OBJECT,
                                               sizeof(Object), marshalRecord<Object, adr_v_Object>,
                                               nullptr, 0, nullptr}};

void adr_v_NEX_Sprig2_Property(AdrBuffer *buffer, Property *property) {
  adr_start_struct(buffer, TC_NEX_Sprig2_Property);
  adr_v_string(buffer, &property->key);
  adr_v_any(buffer, &property->value);
  adr_end_struct(buffer, TC_NEX_Sprig2_Property);
}

// NOLINTBEGIN(bugprone-macro-parentheses): types cannot stand in parentheses
#define SPRIG_VALUE_TYPE(name, Value)                                                              \
  int _equal_##name(Environment *environment, const Value *a, const Value *b) {                    \
    return _generic_equal(environment, TC_##name, a, b);                                           \
  }                                                                                                \
  int _t_equal_##name(TypeCode type, Environment *environment, const Value *a, const Value *b) {   \
    return _t_generic_equal(type, environment, a, b);                                              \
  }                                                                                                \
  Value _copy_##name(Environment *environment, const Value *source) {                              \
    Value copy{};                                                                                  \
    _generic_copy(environment, TC_##name, source, &copy);                                          \
    return copy;                                                                                   \
  }                                                                                                \
  void _t_copy_##name(TypeCode type, Environment *environment, const Value *source,                \
                      Value *target) {                                                             \
    _t_generic_copy(type, environment, source, target);                                            \
  }
// NOLINTEND(bugprone-macro-parentheses)

SPRIG_VALUE_TYPE(NEX_Sprig2_Property, Property)
SPRIG_VALUE_TYPE(NEX_Sprig2__sequence_Property_Properties, Properties)
SPRIG_VALUE_TYPE(NEX_Sprig2__sequence_Properties_PropertiesList, PropertiesList)
SPRIG_VALUE_TYPE(NEX_Sprig2__sequence_PropertiesList_PropertiesListList, PropertiesListList)
SPRIG_VALUE_TYPE(NEX_Sprig2__sequence_octet_StreamKey, StreamKey)

// The exceptions.

namespace {

// clang-format off
#define SPRIG_BASE_MEMBERS                                                                         \
  {"type_name", TC_string}, {"catalog", TC_string}, {"key", TC_long}, {"default_msg", TC_string},  \
  {"time_stamp", TC_long}, {"msg_context", TC__sequence_any_MsgContext},                           \
  {"emsg", TC_NEX_Types_XOpenMessage}
// clang-format on

constexpr TypeCodeMember baseMembers[]{SPRIG_BASE_MEMBERS};
constexpr TypeCodeMember deferredMembers[]{SPRIG_BASE_MEMBERS, {"defer_time", TC_long}};

#define SPRIG_BASE_NAME "NEX_Sprig2::ExSprigException"
#define SPRIG_BASE_ANCESTRY                                                                        \
  "Exception:UserException:SysAdminException::ExException:ExErrorMsg:" SPRIG_BASE_NAME

// Each type but the base itself stands behind it.
constexpr const char *ancestry(std::string_view name, const char *derived) {
  return name == SPRIG_BASE_NAME ? SPRIG_BASE_ANCESTRY : derived;
}

void marshalBase(AdrBuffer *buffer, ExErrorMsg *exception) {
  adr_v_string(buffer, &exception->type_name);
  adr_v_string(buffer, &exception->catalog);
  adr_v_long(buffer, &exception->key);
  adr_v_string(buffer, &exception->default_msg);
  adr_v_long(buffer, &exception->time_stamp);
  adr_v_tc_sequence(buffer, TC__sequence_any_MsgContext, &exception->msg_context);
  adr_v_NEX_Types_XOpenMessage(buffer, &exception->emsg);
}

} // namespace

#define SPRIG_EXCEPTION_TYPE(Name, Record, members)                                                \
  const TypeCodeRecord TC_NEX_Sprig2_##Name[]{typeCode<Record>(                                    \
      "NEX_Sprig2::" #Name, TYPE_KIND_EXCEPTION, marshalRecord<Record, adr_v_NEX_Sprig2_##Name>,   \
      members, ancestry("NEX_Sprig2::" #Name, SPRIG_BASE_ANCESTRY ":NEX_Sprig2::" #Name))};

#define SPRIG_PLAIN_EXCEPTION_TYPE(Name)                                                           \
  SPRIG_EXCEPTION_TYPE(Name, ExErrorMsg, baseMembers)                                              \
  void adr_v_NEX_Sprig2_##Name(AdrBuffer *buffer, ExErrorMsg *exception) {                         \
    adr_start_struct(buffer, TC_NEX_Sprig2_##Name);                                                \
    marshalBase(buffer, exception);                                                                \
    adr_end_struct(buffer, TC_NEX_Sprig2_##Name);                                                  \
  }                                                                                                \
  ExErrorMsg *_create_NEX_Sprig2_##Name(SPRIG_EXCEPTION_MEMBERS) {                                 \
    return static_cast<ExErrorMsg *>(generic_create(TC_NEX_Sprig2_##Name, type_name, catalog, key, \
                                                    default_msg, time_stamp, msg_context, emsg));  \
  }

SPRIG_PLAIN_EXCEPTION_TYPES(SPRIG_PLAIN_EXCEPTION_TYPE)

SPRIG_EXCEPTION_TYPE(ExDistributionDeferred, ExDistributionDeferred, deferredMembers)

void adr_v_NEX_Sprig2_ExDistributionDeferred(AdrBuffer *buffer, ExDistributionDeferred *exception) {
  adr_start_struct(buffer, TC_NEX_Sprig2_ExDistributionDeferred);
  marshalBase(buffer, &exception->base);
  adr_v_long(buffer, &exception->defer_time);
  adr_end_struct(buffer, TC_NEX_Sprig2_ExDistributionDeferred);
}

ExDistributionDeferred *_create_NEX_Sprig2_ExDistributionDeferred(SPRIG_EXCEPTION_MEMBERS,
                                                                  int32_t defer_time) {
  return static_cast<ExDistributionDeferred *>(
      generic_create(TC_NEX_Sprig2_ExDistributionDeferred, type_name, catalog, key, default_msg,
                     time_stamp, msg_context, emsg, defer_time));
}

// All of them.

namespace {

#define SPRIG_LISTED(Name) TC_NEX_Sprig2_##Name,

constexpr TypeCode allTypes[]{TC_NEX_Sprig2_Property,
                              TC_NEX_Sprig2__sequence_Property_Properties,
                              TC_NEX_Sprig2__sequence_Properties_PropertiesList,
                              TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList,
                              TC_NEX_Sprig2__sequence_octet_StreamKey,
                              TC_NEX_Sprig2_Repeater,
                              TC_NEX_Sprig2_ExDistributionDeferred,
                              SPRIG_PLAIN_EXCEPTION_TYPES(SPRIG_LISTED)};

} // namespace

const TypeRepository Sprig2_type_repository[]{
    {type_repository_null, allTypes, sizeof allTypes / sizeof allTypes[0]}};

void sprig_init() {
  static bool isDone = false;
  if (!isDone) {
    adr_type_init(Sprig2_type_repository);
    isDone = true;
  }
}

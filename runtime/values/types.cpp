#include "values/types.h"

#include <cstdint>

using namespace sprig::runtime;

namespace {

template <const TypeCodeRecord *type> void marshal(AdrBuffer *buffer, void *value) {
  marshal_item(buffer, type, value);
}

template <const TypeCodeRecord *type, typename Value>
constexpr TypeCodeRecord simpleType(const char *name, TypeKind kind) {
  return {name, kind, sizeof(Value), marshal<type>, nullptr, 0, nullptr};
}

template <const TypeCodeRecord *type>
constexpr TypeCodeRecord sequenceType(const char *name, const TypeCodeMember (&element)[1]) {
  return {name, TYPE_KIND_SEQUENCE, sizeof(Sequence), marshal<type>, element, 1, nullptr};
}

template <const TypeCodeRecord *type, typename Record, uint32_t count>
constexpr TypeCodeRecord structType(const char *name, TypeKind kind,
                                    const TypeCodeMember (&members)[count],
                                    const char *ancestry = nullptr) {
  return {name, kind, sizeof(Record), marshal<type>, members, count, ancestry};
}

constexpr TypeCodeMember anyElement[]{{nullptr, TC_any}};
constexpr TypeCodeMember octetElement[]{{nullptr, TC_octet}};
constexpr TypeCodeMember stringElement[]{{nullptr, TC_string}};
constexpr TypeCodeMember entryElement[]{{nullptr, TC_NEX_Types_MessageEntry}};

constexpr TypeCodeMember entryMembers[]{{"catalog", TC_string},
                                        {"default_text", TC_string},
                                        {"message_id", TC_long},
                                        {"arguments", TC_any}};
constexpr TypeCodeMember errorMembers[]{{"type_name", TC_string},
                                        {"catalog", TC_string},
                                        {"key", TC_long},
                                        {"default_msg", TC_string},
                                        {"time_stamp", TC_long},
                                        {"msg_context", TC__sequence_any_MsgContext},
                                        {"emsg", TC_NEX_Types_XOpenMessage}};

} // namespace

const TypeCodeRecord TC_string[]{simpleType<TC_string, char *>("string", TYPE_KIND_STRING)};
const TypeCodeRecord TC_long[]{simpleType<TC_long, int32_t>("long", TYPE_KIND_LONG)};
const TypeCodeRecord TC_ulong[]{simpleType<TC_ulong, uint32_t>("ulong", TYPE_KIND_ULONG)};
const TypeCodeRecord TC_short[]{simpleType<TC_short, int16_t>("short", TYPE_KIND_SHORT)};
const TypeCodeRecord TC_boolean[]{simpleType<TC_boolean, uint8_t>("boolean", TYPE_KIND_BOOLEAN)};
const TypeCodeRecord TC_octet[]{simpleType<TC_octet, uint8_t>("octet", TYPE_KIND_OCTET)};
const TypeCodeRecord TC_any[]{simpleType<TC_any, any>("any", TYPE_KIND_ANY)};
const TypeCodeRecord TC_Object[]{simpleType<TC_Object, Object>("Object", TYPE_KIND_OBJECT)};

const TypeCodeRecord TC_NEX_Types_OctetList[]{
    sequenceType<TC_NEX_Types_OctetList>("NEX_Types::OctetList", octetElement)};
const TypeCodeRecord TC_NEX_Types_StringList[]{
    sequenceType<TC_NEX_Types_StringList>("NEX_Types::StringList", stringElement)};
const TypeCodeRecord TC_NEX_Types_XOpenMessage[]{
    sequenceType<TC_NEX_Types_XOpenMessage>("NEX_Types::XOpenMessage", entryElement)};
const TypeCodeRecord TC__sequence_any_MsgContext[]{
    sequenceType<TC__sequence_any_MsgContext>("_sequence_any_MsgContext", anyElement)};

const TypeCodeRecord sprig::runtime::TC_NEX_Types_MessageEntry[]{
    structType<TC_NEX_Types_MessageEntry, MessageEntry>("NEX_Types::MessageEntry", TYPE_KIND_STRUCT,
                                                        entryMembers)};
const TypeCodeRecord sprig::runtime::TC_ExErrorMsg[]{structType<TC_ExErrorMsg, ExErrorMsg>(
    "ExErrorMsg", TYPE_KIND_EXCEPTION, errorMembers,
    "Exception:UserException:SysAdminException::ExException:ExErrorMsg")};

namespace {

// Their places are their numbers in encoded values: types may be added at the end only.
constexpr TypeCode ownTypes[]{TC_string,
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
                              TC_NEX_Types_MessageEntry,
                              TC_ExErrorMsg};

} // namespace

const TypeRepository type_repository_null[]{{nullptr, nullptr, 0}};
const TypeRepository stypes_type_repository[]{
    {type_repository_null, ownTypes, sizeof ownTypes / sizeof ownTypes[0]}};

const uint32_t _any_bound_zero = 0;

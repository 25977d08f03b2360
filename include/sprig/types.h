/**
 * @file
 * @brief The library's own value types, and what makes them known to the framework.
 */
#ifndef SPRIG_TYPES_H
#define SPRIG_TYPES_H

#include <stdint.h>

#include <sprig/api.h>
#include <sprig/exceptions.h>
#include <sprig/framework.h>

SPRIG_BEGIN_DECLS

/** A named value. */
typedef struct Property {
  char *key; /**< Name. */
  any value; /**< Value, of any type. */
} Property;

/** A list of named values, in the order in which they were put in. */
typedef struct Properties {
  uint32_t maximum; /**< As in #Sequence. */
  uint32_t length;  /**< As in #Sequence. */
  Property *buffer; /**< As in #Sequence. */
} Properties;

/** A list of #Properties. */
typedef struct PropertiesList {
  uint32_t maximum;   /**< As in #Sequence. */
  uint32_t length;    /**< As in #Sequence. */
  Properties *buffer; /**< As in #Sequence. */
} PropertiesList;

/** A list of #PropertiesList. */
typedef struct PropertiesListList {
  uint32_t maximum;       /**< As in #Sequence. */
  uint32_t length;        /**< As in #Sequence. */
  PropertiesList *buffer; /**< As in #Sequence. */
} PropertiesListList;

/** Tells a stream what to open. */
typedef struct StreamKey {
  uint32_t maximum; /**< As in #Sequence. */
  uint32_t length;  /**< As in #Sequence. */
  uint8_t *buffer;  /**< As in #Sequence. */
} StreamKey;

/**
 * @name TypeCodes
 * @{
 */

SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_Property[1]; /**< #Property */
/** #Properties */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2__sequence_Property_Properties[1];
/** Another name of TC_NEX_Sprig2__sequence_Property_Properties. */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_Properties[1];
/** #PropertiesList */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2__sequence_Properties_PropertiesList[1];
/** Another name of TC_NEX_Sprig2__sequence_Properties_PropertiesList. */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_PropertiesList[1];
/** #PropertiesListList */
SPRIG_API extern const struct TypeCodeRecord
    TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList[1];
/** Another name of TC_NEX_Sprig2__sequence_PropertiesList_PropertiesListList. */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_PropertiesListList[1];
/** #StreamKey */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2__sequence_octet_StreamKey[1];
/** Another name of TC_NEX_Sprig2__sequence_octet_StreamKey. */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_StreamKey[1];
/** A reference to a repeater: #Object. */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_Repeater[1];

/** All types of this file. */
SPRIG_API extern const TypeRepository Sprig2_type_repository[1];

/**
 * Makes the library's types known to the framework. Called once, at the start of the process,
 * before any property list is encoded, copied or compared; further calls do nothing.
 */
SPRIG_API void sprig_init(void);

/** @} */

/**
 * @name What each type has
 *
 * Of each type of lists, and of #Property: comparison and copying, which are those of the framework
 * with the type's TypeCode, or another. Of #Property and of each exception type: encoding. Of each
 * exception type: a TypeCode, and a function that creates a record from values for its members,
 * which are copied; the record is the caller's.
 * @{
 */

/**
 * Encodes or decodes a property: marshal_item() with its TypeCode.
 *
 * @param buffer    the buffer.
 * @param property  the property to encode, or storage for one.
 */
SPRIG_API void adr_v_NEX_Sprig2_Property(AdrBuffer *buffer, Property *property);

/* NOLINTBEGIN(bugprone-macro-parentheses): types cannot stand in parentheses */
/** Declares comparison and copying of a type by the rest of its TypeCode's name. */
#define SPRIG_DECLARE_VALUE_TYPE(name, Value)                                                      \
  SPRIG_API int _equal_##name(Environment *environment, const Value *a, const Value *b);           \
  SPRIG_API int _t_equal_##name(TypeCode type, Environment *environment, const Value *a,           \
                                const Value *b);                                                   \
  SPRIG_API Value _copy_##name(Environment *environment, const Value *source);                     \
  SPRIG_API void _t_copy_##name(TypeCode type, Environment *environment, const Value *source,      \
                                Value *target)
/* NOLINTEND(bugprone-macro-parentheses) */

SPRIG_DECLARE_VALUE_TYPE(NEX_Sprig2_Property, Property);
SPRIG_DECLARE_VALUE_TYPE(NEX_Sprig2__sequence_Property_Properties, Properties);
SPRIG_DECLARE_VALUE_TYPE(NEX_Sprig2__sequence_Properties_PropertiesList, PropertiesList);
SPRIG_DECLARE_VALUE_TYPE(NEX_Sprig2__sequence_PropertiesList_PropertiesListList,
                         PropertiesListList);
SPRIG_DECLARE_VALUE_TYPE(NEX_Sprig2__sequence_octet_StreamKey, StreamKey);

/** The values of the members that every exception has. */
#define SPRIG_EXCEPTION_MEMBERS                                                                    \
  const char *type_name, const char *catalog, int32_t key, const char *default_msg,                \
      int32_t time_stamp, const Sequence *msg_context, const XOpenMessage *emsg

/** Declares what an exception type has whose record is an #ExErrorMsg. */
#define SPRIG_DECLARE_EXCEPTION_TYPE(Name)                                                         \
  SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_##Name[1];                            \
  SPRIG_API void adr_v_NEX_Sprig2_##Name(AdrBuffer *buffer, ExErrorMsg *exception);                \
  SPRIG_API ExErrorMsg *_create_NEX_Sprig2_##Name(SPRIG_EXCEPTION_MEMBERS);

SPRIG_PLAIN_EXCEPTION_TYPES(SPRIG_DECLARE_EXCEPTION_TYPE)

/** #ExDistributionDeferred */
SPRIG_API extern const struct TypeCodeRecord TC_NEX_Sprig2_ExDistributionDeferred[1];
/**
 * Encodes or decodes an exception: marshal_item() with its TypeCode.
 *
 * @param buffer     the buffer.
 * @param exception  the exception to encode, or storage for one.
 */
SPRIG_API void adr_v_NEX_Sprig2_ExDistributionDeferred(AdrBuffer *buffer,
                                                       ExDistributionDeferred *exception);
/**
 * Creates an exception.
 *
 * @param type_name    value of the member.
 * @param catalog      value of the member.
 * @param key          value of the member.
 * @param default_msg  value of the member.
 * @param time_stamp   value of the member.
 * @param msg_context  value of the member; null for an empty one.
 * @param emsg         value of the member; null for an empty one.
 * @param defer_time   value of the member.
 * @return             the record.
 */
SPRIG_API ExDistributionDeferred *_create_NEX_Sprig2_ExDistributionDeferred(
    const char *type_name, const char *catalog, int32_t key, const char *default_msg,
    int32_t time_stamp, const Sequence *msg_context, const XOpenMessage *emsg, int32_t defer_time);

/** @} */

/**
 * @name Build stamps
 * @{
 */

/** @return the level that this was built at, and the release: a constant that begins "$BLD: ". */
SPRIG_API const char *nexver_get_level_name(void);
/** @return when this was built: a constant that begins "$BLD: BLD_DATE_". */
SPRIG_API const char *nexver_get_bld_date(void);

/** @} */

SPRIG_END_DECLS

#endif

/**
 * @file
 * @brief Property lists: named, typed values, in memory, in files and compared.
 *
 * A list keeps its properties in the order in which their keys were first put in; a key is there
 * once, and keys are compared byte by byte. The list owns every key, always its own copy, and every
 * value with everything that it owns. A value lies in a block of its own from mg_malloc(), also
 * where it is a scalar. `docs/guide/properties.md` shows how to use them.
 *
 * Call sprig_init() first. Failures are thrown; message numbers are those of the library's catalog.
 * One thread at a time may use a list.
 */
#ifndef SPRIG_PROPERTIES_H
#define SPRIG_PROPERTIES_H

#include <stdint.h>

#include <sprig/api.h>
#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/types.h>

SPRIG_BEGIN_DECLS

/**
 * @name Lists
 * @{
 */

/** @return an empty list. properties_delete() releases what is in it, mg_free() then the list. */
SPRIG_API Properties *properties_new(void);
/** @return an empty list, released with properties_list_delete() and then mg_free(). */
SPRIG_API PropertiesList *properties_list_new(void);
/**
 * Sets a record of the caller's to the empty list, whatever is in it.
 *
 * @param list  the record.
 */
SPRIG_API void properties_init(Properties *list);
/**
 * Sets a record of the caller's to the empty list, whatever is in it.
 *
 * @param list  the record.
 */
SPRIG_API void properties_list_init(PropertiesList *list);
/**
 * Releases everything that a list owns. The record itself stays, as the empty list.
 *
 * @param list  the list; null is ignored.
 */
SPRIG_API void properties_delete(Properties *list);
/**
 * Releases everything that a list owns. The record itself stays, as the empty list.
 *
 * @param list  the list; null is ignored.
 */
SPRIG_API void properties_list_delete(PropertiesList *list);
/**
 * Releases the keys and the buffer of a list whose values belong to somebody else. The record
 * itself stays, as the empty list.
 *
 * @param list  the list.
 */
SPRIG_API void properties_free(Properties *list);
/**
 * @param list  a list.
 * @return      a copy that shares nothing with it, in a new record.
 */
SPRIG_API Properties *properties_clone(const Properties *list);
/**
 * @param list  a list.
 * @return      a copy that shares nothing with it, in a new record.
 */
SPRIG_API PropertiesList *properties_list_clone(const PropertiesList *list);

/** @} */

/**
 * @name Values by key
 *
 * Of each type of values, its name standing for @c F:
 *
 * - <tt>properties_get_F(list, key)</tt> gives the value. Throws message 36 (key) when the key is
 *   missing, 37 (key) when its value has another type.
 * - <tt>properties_get_F2(list, key, otherwise)</tt> gives the value, or @c otherwise when the key
 * is missing. Throws message 37 (key) when it is there with another type.
 * - <tt>properties_put_F(list, key, block)</tt> puts in a value that is in a block of its own,
 * which the list then owns. Where it throws, for want of memory, the block is still the caller's.
 * - <tt>properties_put_F_dup(list, key, value)</tt> puts in a copy of a value.
 *
 * What is got still belongs to the list, and lives as long as the property.
 * @{
 */

/* NOLINTBEGIN(bugprone-macro-parentheses): types cannot stand in parentheses */
/**
 * All types of values, as each(name in the functions' names, TypeCode, what getters give, what
 * stands for a missing value, a block with a value, what is copied into a block).
 */
#define SPRIG_PROPERTY_TYPES(each)                                                                 \
  each(string, TC_string, char *, const char *, char **, const char *)                             \
      each(any, TC_any, any *, any *, any *, const any *)                                          \
          each(object, TC_Object, Object, Object, Object *, const char *)                          \
              each(short, TC_short, int16_t, int16_t, int16_t *, int16_t)                          \
                  each(long, TC_long, int32_t, int32_t, int32_t *, int32_t)                        \
                      each(ulong, TC_ulong, uint32_t, uint32_t, uint32_t *, uint32_t)              \
                          each(boolean, TC_boolean, uint8_t, uint8_t, uint8_t *, uint8_t)          \
                              each(OctetList, TC_NEX_Types_OctetList, OctetList *, OctetList *,    \
                                   OctetList *, const OctetList *)                                 \
                                  each(properties, TC_NEX_Sprig2_Properties, Properties *,         \
                                       Properties *, Properties *, const Properties *)             \
                                      each(properties_list, TC_NEX_Sprig2_PropertiesList,          \
                                           PropertiesList *, PropertiesList *, PropertiesList *,   \
                                           const PropertiesList *)

/** Declares the functions of one type of values. */
#define SPRIG_DECLARE_PROPERTY_TYPE(F, type, Got, Otherwise, Block, Copied)                        \
  SPRIG_API Got properties_get_##F(const Properties *list, const char *key);                       \
  SPRIG_API Got properties_get_##F##2(const Properties *list, const char *key,                     \
                                      Otherwise otherwise);                                        \
  SPRIG_API void properties_put_##F(Properties *list, const char *key, Block block);               \
  SPRIG_API void properties_put_##F##_dup(Properties *list, const char *key, Copied value);
/* NOLINTEND(bugprone-macro-parentheses) */

SPRIG_PROPERTY_TYPES(SPRIG_DECLARE_PROPERTY_TYPE)
#undef SPRIG_DECLARE_PROPERTY_TYPE

/**
 * @param list  a list.
 * @param key   a key.
 * @return      the index of its property, from 0, or -1 when it is missing.
 */
SPRIG_API int32_t properties_get_property_index(const Properties *list, const char *key);
/**
 * @param list  a list.
 * @param key   a key.
 * @return      1 when it is there, else 0.
 */
SPRIG_API int properties_find(const Properties *list, const char *key);
/**
 * Gives the block of a value of any type. Throws message 36 (key) when the key is missing and must
 * be there, 37 (key) when its value has another type.
 *
 * @param list        a list.
 * @param key         a key.
 * @param type        the type that the value must have.
 * @param must_exist  whether the key must be there.
 * @return            the block, which is the list's, or null when the key is missing.
 */
SPRIG_API void *properties_get(const Properties *list, const char *key, TypeCode type,
                               int must_exist);
/**
 * Puts in a value of any type. One that was there under the same key is released, and the new one
 * takes its place in the order.
 *
 * @param list   the list.
 * @param key    the key, which is copied.
 * @param type   the value's type.
 * @param block  the value, in a block of its own, which the list then owns. Where this throws, for
 *               want of memory, the block is still the caller's.
 */
SPRIG_API void properties_put(Properties *list, const char *key, TypeCode type, void *block);
/**
 * Takes a property out of a list.
 *
 * @param list  the list.
 * @param key   its key.
 * @return      a block with the property, or null when the key is missing. nex_free_generic() with
 *              TC_NEX_Sprig2_Property releases what is in it, mg_free() then the block.
 */
SPRIG_API Property *properties_remove(Properties *list, const char *key);
/**
 * Takes a property out of a list and releases it. A key that is missing is no failure.
 *
 * @param list  the list.
 * @param key   its key.
 */
SPRIG_API void properties_remove_and_destroy(Properties *list, const char *key);

/** @} */

/**
 * @name Encoded, and in files
 *
 * Three layouts, which `docs/formats/properties.md` describes byte by byte:
 *
 * - with the length in front: properties_save(), properties_load();
 * - "improved", with a version word before the length: names that end in @c _improved;
 * - the encoding alone: names that end in @c _without_len.
 *
 * The words in front are in the machine's byte order. Saving creates or truncates the file, for its
 * owner only, and writes it in place: a file that could not be written to its end stays as it is.
 * What opening, creating, reading and writing throw is told in files.h. Loading also throws message
 * 11 (path) for what is neither a file nor a directory, 19 (path, the length as far as it is known,
 * errno) when the file ends too early or its size does not fit the length, and 35 when the
 * encoding is damaged. The list that is loaded into must be empty; after a failure it may hold some
 * of the properties, and is released like any list.
 * @{
 */

/**
 * Encodes a value. Throws message 34 (error code) for what has no encoding.
 *
 * @param type    its type.
 * @param value   the value.
 * @param data    receives the bytes, which are the caller's (mg_free()).
 * @param length  receives their number.
 */
SPRIG_API void properties_encode(TypeCode type, const void *value, uint8_t **data,
                                 uint32_t *length);
/**
 * Decodes a value. Throws message 35 (error code) for bytes that are no encoding of its type.
 *
 * @param type    its type.
 * @param data    the bytes; those behind the value are ignored.
 * @param length  their number.
 * @param target  storage for a value, whose content is overwritten. After a failure it holds what
 *                was decoded before, and is released like any value.
 */
SPRIG_API void properties_decode(TypeCode type, const uint8_t *data, uint32_t length, void *target);

/**
 * Writes a list with its length to an open file.
 *
 * @param list  the list.
 * @param file  the file.
 */
SPRIG_API void properties_write(const Properties *list, File *file);
/**
 * Writes a list in the improved layout to an open file.
 *
 * @param list  the list.
 * @param file  the file.
 */
SPRIG_API void properties_write_improved(const Properties *list, File *file);
/**
 * Reads a list with its length from an open file. The whole file, by its name, must be the list.
 *
 * @param list  an empty list.
 * @param file  the file.
 */
SPRIG_API void properties_read(Properties *list, File *file);
/**
 * Reads a list in the improved layout from an open file, whatever its version word. The whole
 * file, by its name, must be the list.
 *
 * @param list  an empty list.
 * @param file  the file.
 */
SPRIG_API void properties_read_improved(Properties *list, File *file);
/**
 * Reads a list without a length from an open file: all of the file, by its name.
 *
 * @param list  an empty list.
 * @param file  the file.
 */
SPRIG_API void properties_read_without_len(Properties *list, File *file);

/**
 * Saves a list with its length.
 *
 * @param list  the list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_save(const Properties *list, const char *path);
/**
 * Saves a list in the improved layout.
 *
 * @param list  the list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_save_improved(const Properties *list, const char *path);
/**
 * Saves a list without a length.
 *
 * @param list  the list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_save_without_len(const Properties *list, const char *path);
/**
 * Loads a list that was saved with its length.
 *
 * @param list  an empty list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_load(Properties *list, const char *path);
/**
 * Loads a list that was saved in the improved layout.
 *
 * @param list  an empty list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_load_improved(Properties *list, const char *path);
/**
 * Loads a list that was saved without a length.
 *
 * @param list  an empty list.
 * @param path  path name of the file.
 */
SPRIG_API void properties_load_without_len(Properties *list, const char *path);

/** @} */

/**
 * @name Comparison
 * @{
 */

/**
 * @param a  a property.
 * @param b  another.
 * @return   1 when their keys are the same and their values equal, of type and content; else 0,
 *           also where a value has no encoding.
 */
SPRIG_API int property_equal(const Property *a, const Property *b);
/**
 * Compares a property with a pattern.
 *
 * @param pattern   a property. One of type TC_string is a pattern for match(); of another, the
 *                  values must be equal.
 * @param property  the property with the value to look at. Next to a pattern of type TC_string it
 *                  is taken for text whatever type it says; numbers and sequences, which cannot
 *                  be, do not match.
 * @return          1 when their keys are the same and it matches, else 0.
 */
SPRIG_API int property_match(const Property *pattern, const Property *property);
/**
 * Compares two values by their encodings.
 *
 * @param type         type of both.
 * @param environment  receives the exception "Marshalling error (%1$d)" where one of them has no
 *                     encoding; what is in it is forgotten first.
 * @param a            a value.
 * @param b            another. The same address is equal without a look at it.
 * @return             1 when they are equal, else 0.
 */
SPRIG_API int krt_generic_equal(TypeCode type, Environment *environment, const void *a,
                                const void *b);

/** @} */

SPRIG_END_DECLS

#endif

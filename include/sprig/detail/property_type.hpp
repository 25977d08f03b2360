/**
 * @file
 * @brief The types that properties have, as C++ types. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_PROPERTY_TYPE_HPP
#define SPRIG_DETAIL_PROPERTY_TYPE_HPP

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <sprig/detail/error.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/types.h>

namespace sprig {

/** Octets. */
using Octets = std::vector<uint8_t>;

/** A stringified object reference; empty, it refers to nothing. */
struct ObjectReference {
  std::string text; /**< The reference. */
};
/**
 * @param a  a reference.
 * @param b  another.
 * @return   whether they are the same.
 */
inline bool operator==(const ObjectReference &a, const ObjectReference &b) {
  return a.text == b.text;
}
/**
 * @param a  a reference.
 * @param b  another.
 * @return   whether they are different.
 */
inline bool operator!=(const ObjectReference &a, const ObjectReference &b) { return !(a == b); }

class Any;
class ConstPropertyView;
class PropertyView;
class PropertyList;
class ConstPropertyListsView;
class PropertyLists;

/** @cond */
namespace detail {

// How a C++ type stands in a property: the TypeCode, read() from a value's block, put() of a copy.
template <typename T> struct PropertyType {
  static_assert(!std::is_same_v<T, T>,
                "no property has this type: name one that it has, as in put<int32_t>(key, value)");
};

template <typename T, const TypeCodeRecord (&code)[1], auto put_copy> struct NumberType {
  static constexpr TypeCode type = code;
  using Stored = std::conditional_t<std::is_same_v<T, bool>, uint8_t, T>;

  static T read(const void *block) { return static_cast<T>(*static_cast<const Stored *>(block)); }
  static void put(::Properties *list, const char *key, T value) {
    call([=] { put_copy(list, key, static_cast<Stored>(value)); });
  }
};
template <>
struct PropertyType<int16_t> : NumberType<int16_t, TC_short, properties_put_short_dup> {};
template <> struct PropertyType<int32_t> : NumberType<int32_t, TC_long, properties_put_long_dup> {};
template <>
struct PropertyType<uint32_t> : NumberType<uint32_t, TC_ulong, properties_put_ulong_dup> {};
template <> struct PropertyType<bool> : NumberType<bool, TC_boolean, properties_put_boolean_dup> {};

template <typename T> struct TextType {
  static constexpr TypeCode type = TC_string;

  static T read(const void *block) {
    const char *text = *static_cast<const char *const *>(block);
    return T(text == nullptr ? "" : text);
  }
  static void put(::Properties *list, const char *key, const Text &value) {
    call([&] { properties_put_string_dup(list, key, value.c_str()); });
  }
};
template <> struct PropertyType<std::string> : TextType<std::string> {};
template <> struct PropertyType<std::string_view> : TextType<std::string_view> {};
template <> struct PropertyType<const char *> : TextType<const char *> {};
template <> struct PropertyType<char *> : TextType<const char *> {};

template <> struct PropertyType<ObjectReference> {
  static constexpr TypeCode type = TC_Object;

  static ObjectReference read(const void *block) { return {TextType<std::string>::read(block)}; }
  static void put(::Properties *list, const char *key, const ObjectReference &value) {
    const Text text(value.text);
    call([&] { properties_put_object_dup(list, key, text.c_str()); });
  }
};

template <> struct PropertyType<Octets> {
  static constexpr TypeCode type = TC_NEX_Types_OctetList;

  static Octets read(const void *block) {
    const auto &list = *static_cast<const OctetList *>(block);
    return Octets(list.buffer, list.buffer + list.length);
  }
  static void put(::Properties *list, const char *key, const Octets &value) {
    if (value.size() > UINT32_MAX) {
      throw std::length_error("more octets than a property has room for");
    }
    const auto length = static_cast<uint32_t>(value.size());
    const OctetList octets{length, length, const_cast<uint8_t *>(value.data())}; // only read
    call([&] { properties_put_OctetList_dup(list, key, &octets); });
  }
};

// Views and owners of a record. Views borrow it, owners copy it.
template <typename T, typename Record, const TypeCodeRecord (&code)[1], auto put_copy>
struct RecordType {
  static constexpr TypeCode type = code;

  static T read(const void *block) { return T(*static_cast<const Record *>(block)); }
  static void put(::Properties *list, const char *key, const T &value) {
    call([&] { put_copy(list, key, value.native()); });
  }
};
template <> struct PropertyType<Any> : RecordType<Any, any, TC_any, properties_put_any_dup> {};
template <typename T>
using ListType =
    RecordType<T, ::Properties, TC_NEX_Sprig2_Properties, properties_put_properties_dup>;
template <> struct PropertyType<ConstPropertyView> : ListType<ConstPropertyView> {};
template <> struct PropertyType<PropertyView> : ListType<ConstPropertyView> {};
template <> struct PropertyType<PropertyList> : ListType<PropertyList> {};
template <typename T>
using ListsType = RecordType<T, ::PropertiesList, TC_NEX_Sprig2_PropertiesList,
                             properties_put_properties_list_dup>;
template <> struct PropertyType<ConstPropertyListsView> : ListsType<ConstPropertyListsView> {};
template <> struct PropertyType<PropertyLists> : ListsType<PropertyLists> {};

template <typename T> bool holds(const any &value) {
  return value.value != nullptr && TypeCode_equal(value.type, PropertyType<T>::type) != 0;
}

} // namespace detail
/** @endcond */

} // namespace sprig

#endif

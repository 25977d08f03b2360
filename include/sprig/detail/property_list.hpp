/**
 * @file
 * @brief Property lists for C++. Included by `sprig/sprig.hpp`.
 */
#ifndef SPRIG_DETAIL_PROPERTY_LIST_HPP
#define SPRIG_DETAIL_PROPERTY_LIST_HPP

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include <sprig/detail/error.hpp>
#include <sprig/detail/property_type.hpp>
#include <sprig/detail/text.hpp>
#include <sprig/detail/value.hpp>
#include <sprig/exceptions.h>
#include <sprig/properties.h>
#include <sprig/types.h>

namespace sprig {

/** How a property list lies in a file. */
enum class Layout {
  with_length, /**< With its length in front. */
  improved,    /**< With a version word and its length in front. */
  bare,        /**< Its encoding alone. */
};

/** A property of a list, borrowed: it is valid until the list changes. */
class PropertyEntry {
public:
  /** @param property  the property. */
  explicit PropertyEntry(const ::Property &property) noexcept : property_(&property) {}

  /** @return its key. */
  std::string_view key() const noexcept {
    return property_->key == nullptr ? std::string_view() : property_->key;
  }
  /** @return the type of its value. */
  TypeCode type() const noexcept { return property_->value.type; }
  /** @return whether its value can be had as a @c T: any of the types that lists have. */
  template <typename T> bool holds() const { return detail::holds<T>(property_->value); }
  /** @return its value. Throws message 37 (key) when that has another type. */
  template <typename T> T get() const {
    if (!holds<T>()) {
      call([this] { vaThrow(Sprig2Catalog[0], 37, Sprig2Catalog[37], property_->key); });
    }
    return detail::PropertyType<T>::read(property_->value.value);
  }
  /**
   * @param pattern  a property, whose text is a pattern for match().
   * @return         whether this one has its key and matches it, as property_match() tells.
   */
  bool matches(PropertyEntry pattern) const {
    return call([&] { return property_match(pattern.native(), native()); }) != 0;
  }

  /** @return the property, for the C functions. It stays the list's. */
  const ::Property *native() const noexcept { return property_; }

private:
  const ::Property *property_;
};

/**
 * Compares two properties, as property_equal() does.
 *
 * @param a  a property.
 * @param b  another.
 * @return   whether their keys and their values are equal.
 */
inline bool operator==(PropertyEntry a, PropertyEntry b) {
  return call([&] { return property_equal(a.native(), b.native()); }) != 0;
}
/**
 * @param a  a property.
 * @param b  another.
 * @return   whether they are not equal.
 */
inline bool operator!=(PropertyEntry a, PropertyEntry b) { return !(a == b); }

namespace detail {

/** @cond */
template <typename Function>
Function of_layout(Layout layout, Function with_length, Function improved, Function bare) {
  switch (layout) {
  case Layout::improved:
    return improved;
  case Layout::bare:
    return bare;
  default:
    return with_length;
  }
}
/** @endcond */

/**
 * Reading a property list. Values are had as these types, those in brackets borrowed from the list:
 *
 * - string: `std::string` (`std::string_view`, `const char *`)
 * - any: sprig::Any
 * - object: sprig::ObjectReference
 * - short: `int16_t`
 * - long: `int32_t`
 * - ulong: `uint32_t`
 * - boolean: `bool`
 * - OctetList: sprig::Octets
 * - properties: sprig::PropertyList (sprig::ConstPropertyView)
 * - properties_list: sprig::PropertyLists (sprig::ConstPropertyListsView)
 */
template <typename Self> class PropertyReader : public Range<Self, ::Property, PropertyEntry> {
public:
  /**
   * @param key  a key.
   * @return     whether there is a property with it.
   */
  bool contains(const Text &key) const {
    return call([&] { return properties_find(list(), key.c_str()); }) != 0;
  }
  /**
   * @param key  a key.
   * @return     an iterator at its property, or end().
   */
  auto find(const Text &key) const {
    const int32_t index = call([&] { return properties_get_property_index(list(), key.c_str()); });
    return index < 0 ? this->end() : typename PropertyReader::iterator(list()->buffer + index);
  }
  /**
   * Gives a value. Throws message 36 (key) when the key is missing, 37 (key) when its value is no
   * @c T.
   *
   * @param key  the key.
   * @return     the value.
   */
  template <typename T> T get(const Text &key) const {
    return PropertyType<T>::read(block<T>(key, true));
  }
  /**
   * Gives a value. Throws message 37 (key) when that is no @c T.
   *
   * @param key        the key.
   * @param otherwise  what to give when the key is missing.
   * @return           the value.
   */
  template <typename T> T get_or(const Text &key, T otherwise) const {
    const void *found = block<T>(key, false);
    return found == nullptr ? std::move(otherwise) : PropertyType<T>::read(found);
  }

  /** @return the list's encoding. Throws message 34 where it has none. */
  std::vector<uint8_t> encode() const {
    uint8_t *data = nullptr;
    uint32_t length = 0;
    call([&] { properties_encode(TC_NEX_Sprig2_Properties, list(), &data, &length); });
    const std::unique_ptr<uint8_t, Release<mg_free>> owner(data);
    return std::vector<uint8_t>(data, data + length);
  }
  /**
   * Saves the list, in place. Throws what properties_save() does.
   *
   * @param path    path name of the file.
   * @param layout  how it is to lie in it.
   */
  void save(const Text &path, Layout layout = Layout::with_length) const {
    const auto save_list =
        of_layout(layout, properties_save, properties_save_improved, properties_save_without_len);
    call([&] { save_list(list(), path.c_str()); });
  }

private:
  const ::Properties *list() const noexcept { return static_cast<const Self *>(this)->native(); }

  template <typename T> const void *block(const Text &key, bool must_exist) const {
    return call([&] {
      return properties_get(list(), key.c_str(), PropertyType<T>::type, must_exist ? 1 : 0);
    });
  }
};

/** Changing a property list. */
template <typename Self> class PropertyWriter {
public:
  /**
   * Puts in a copy of a value: of any of the types that PropertyReader tells of. One that was there
   * under the same key is released, and the new one takes its place in the order.
   *
   * @param key    the key.
   * @param value  the value. Text with a NUL inside is refused with std::invalid_argument.
   */
  template <typename T> void put(const Text &key, const T &value) {
    PropertyType<std::decay_t<const T>>::put(list(), key.c_str(), value);
  }
  /**
   * Takes a property out and releases it.
   *
   * @param key  its key.
   * @return     whether it was there.
   */
  bool erase(const Text &key) {
    return call([&] {
      const bool is_there = properties_find(list(), key.c_str()) != 0;
      properties_remove_and_destroy(list(), key.c_str());
      return is_there;
    });
  }
  /**
   * Gives a list within the list, to be changed in place. Throws what PropertyReader::get() does.
   *
   * @param key  its key.
   * @return     the list, which is valid until this one changes.
   */
  PropertyView edit(const Text &key);

private:
  ::Properties *list() noexcept { return static_cast<Self *>(this)->native(); }
};

} // namespace detail

/** A property list of somebody else's, to be read. */
class ConstPropertyView : public detail::PropertyReader<ConstPropertyView> {
public:
  /** @param list  the list, which must outlive the view. */
  explicit ConstPropertyView(const ::Properties &list) noexcept : list_(&list) {}

  /** @return the list, for the C functions. */
  const ::Properties *native() const noexcept { return list_; }

private:
  const ::Properties *list_;
};

/** A property list of somebody else's, to be read and changed. */
class PropertyView : public detail::PropertyReader<PropertyView>,
                     public detail::PropertyWriter<PropertyView> {
public:
  /** @param list  the list, which must outlive the view. */
  explicit PropertyView(::Properties &list) noexcept : list_(&list) {}
  /** @return the same list, to be read. */
  operator ConstPropertyView() const noexcept { return ConstPropertyView(*list_); }

  /** @return the list, for the C functions. */
  ::Properties *native() const noexcept { return list_; }

private:
  ::Properties *list_;
};

/** A property list, released with its owner. A copy shares nothing with it. */
class PropertyList : public detail::Owner<::Properties, TC_NEX_Sprig2_Properties>,
                     public detail::PropertyReader<PropertyList>,
                     public detail::PropertyWriter<PropertyList> {
public:
  /** An empty list. */
  PropertyList() noexcept = default;
  /** @param list  a list, which is copied. */
  explicit PropertyList(const ::Properties &list) : Owner(list) {}
  /** @param list  a list, which is copied. */
  explicit PropertyList(ConstPropertyView list) : Owner(*list.native()) {}

  /** @return the list, to be read. */
  operator ConstPropertyView() const noexcept { return ConstPropertyView(*native()); }
  /** @return the list, to be changed. */
  operator PropertyView() noexcept { return PropertyView(*native()); }

  /**
   * Takes over a list from a C function.
   *
   * @param list  the list, whose record is released at once.
   * @return      what was in it.
   */
  static PropertyList adopt(::Properties *list) noexcept {
    PropertyList adopted;
    std::swap(*adopted.native(), *list);
    mg_free(list);
    return adopted;
  }
  /**
   * Decodes a list. Throws message 35 for bytes that are no encoding of one.
   *
   * @param encoding  what encode() gave.
   * @return          the list.
   */
  static PropertyList decode(const std::vector<uint8_t> &encoding) {
    if (encoding.size() > UINT32_MAX) {
      throw std::length_error("more bytes than an encoding has");
    }
    PropertyList list;
    call([&] {
      properties_decode(TC_NEX_Sprig2_Properties, encoding.data(),
                        static_cast<uint32_t>(encoding.size()), list.native());
    });
    return list;
  }
  /**
   * Loads a list that was saved. Throws what properties_load() does.
   *
   * @param path    path name of the file.
   * @param layout  how it lies in it.
   * @return        the list.
   */
  static PropertyList load(const Text &path, Layout layout = Layout::with_length) {
    const auto load_list = detail::of_layout(layout, properties_load, properties_load_improved,
                                             properties_load_without_len);
    PropertyList list;
    call([&] { load_list(list.native(), path.c_str()); });
    return list;
  }
};

/** A list of property lists of somebody else's, to be read. */
class ConstPropertyListsView
    : public detail::Range<ConstPropertyListsView, ::Properties, ConstPropertyView> {
public:
  /** @param lists  the lists, which must outlive the view. */
  explicit ConstPropertyListsView(const ::PropertiesList &lists) noexcept : lists_(&lists) {}

  /** @return the lists, for the C functions. */
  const ::PropertiesList *native() const noexcept { return lists_; }

private:
  const ::PropertiesList *lists_;
};

/** A list of property lists, released with its owner. A copy shares nothing with it. */
class PropertyLists : public detail::Owner<::PropertiesList, TC_NEX_Sprig2_PropertiesList>,
                      public detail::Range<PropertyLists, ::Properties, ConstPropertyView> {
public:
  /** An empty list. */
  PropertyLists() noexcept = default;
  /** @param lists  lists, which are copied. */
  explicit PropertyLists(const ::PropertiesList &lists) : Owner(lists) {}
  /** @param lists  lists, which are copied. */
  explicit PropertyLists(ConstPropertyListsView lists) : Owner(*lists.native()) {}

  /** @return the lists, to be read. */
  operator ConstPropertyListsView() const noexcept { return ConstPropertyListsView(*native()); }

  using Range::operator[];
  /**
   * @param index  of a list, less than size().
   * @return       the list, to be changed; it is valid until lists are appended.
   */
  PropertyView operator[](std::size_t index) noexcept {
    return PropertyView(native()->buffer[index]);
  }
  /** @param list  the list to append. */
  void push_back(PropertyList list) {
    call([&] { seq_add(native(), list.native(), sizeof(::Properties)); });
    *list.native() = {};
  }
};

/** A value of any type, released with its owner. A copy shares nothing with it. */
class Any : public detail::Owner<any, TC_any> {
public:
  /** No value, of no type. */
  Any() noexcept = default;
  /** @param value  a value, which is copied. */
  explicit Any(const any &value) : Owner(value) {}
  /** @param value  a value of any of the types that property lists have, which is copied. */
  template <typename T> explicit Any(const T &value) {
    PropertyList list;
    list.put("", value);
    std::swap(*native(), list.native()->buffer[0].value);
  }

  /** @return its type, or null. */
  TypeCode type() const noexcept { return native()->type; }
  /** @return whether it can be had as a @c T: any of the types that property lists have. */
  template <typename T> bool holds() const { return detail::holds<T>(*native()); }
  /** @return the value. One of another type is refused with std::bad_cast. */
  template <typename T> T get() const {
    if (!holds<T>()) {
      throw std::bad_cast();
    }
    return detail::PropertyType<T>::read(native()->value);
  }
};

/**
 * Compares two lists by their encodings. Throws where one has none.
 *
 * @param a  a list.
 * @param b  another.
 * @return   whether they have equal properties in the same order.
 */
inline bool operator==(ConstPropertyView a, ConstPropertyView b) {
  return detail::equal(TC_NEX_Sprig2_Properties, a.native(), b.native());
}
/**
 * @param a  a list.
 * @param b  another.
 * @return   whether they are not equal.
 */
inline bool operator!=(ConstPropertyView a, ConstPropertyView b) { return !(a == b); }
/**
 * Compares two lists of lists by their encodings. Throws where one has none.
 *
 * @param a  lists.
 * @param b  others.
 * @return   whether they have equal lists in the same order.
 */
inline bool operator==(ConstPropertyListsView a, ConstPropertyListsView b) {
  return detail::equal(TC_NEX_Sprig2_PropertiesList, a.native(), b.native());
}
/**
 * @param a  lists.
 * @param b  others.
 * @return   whether they are not equal.
 */
inline bool operator!=(ConstPropertyListsView a, ConstPropertyListsView b) { return !(a == b); }
/**
 * Compares two values by their encodings. Throws where one has none.
 *
 * @param a  a value.
 * @param b  another.
 * @return   whether they have the same type and are equal.
 */
inline bool operator==(const Any &a, const Any &b) {
  return detail::equal(TC_any, a.native(), b.native());
}
/**
 * @param a  a value.
 * @param b  another.
 * @return   whether they are not equal.
 */
inline bool operator!=(const Any &a, const Any &b) { return !(a == b); }

/** @cond */
template <typename Self> PropertyView detail::PropertyWriter<Self>::edit(const Text &key) {
  void *block =
      call([&] { return properties_get(list(), key.c_str(), TC_NEX_Sprig2_Properties, 1); });
  return PropertyView(*static_cast<::Properties *>(block));
}
/** @endcond */

} // namespace sprig

#endif

#include "json.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "digest.h"
#include "failure.h"
#include "json_text.h"
#include "output.h"

using sprig::Any;
using sprig::ConstPropertyListsView;
using sprig::ConstPropertyView;
using sprig::ObjectReference;
using sprig::Octets;
using sprig::PropertyEntry;
using sprig::PropertyList;
using sprig::PropertyLists;

namespace tool {
namespace {

// A value of whatever type, as its encoding.
struct Encoded {
  Octets octets;
};

Encoded encodingOf(const any &value) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  sprig::call([&] { properties_encode(TC_any, &value, &data, &length); });
  const std::unique_ptr<uint8_t, decltype(&mg_free)> owner(data, mg_free);
  return {Octets(data, data + length)};
}

Any decoded(const Encoded &encoded) {
  Any value;
  sprig::call([&] {
    properties_decode(TC_any, encoded.octets.data(), static_cast<uint32_t>(encoded.octets.size()),
                      value.native());
  });
  return value;
}

template <typename T> Any boxed(const T &value) {
  PropertyList list; // which also takes an any into an any
  list.put("", value);
  Any box;
  std::swap(*box.native(), list.native()->buffer[0].value);
  return box;
}
Any boxed(const Encoded &encoded) { return decoded(encoded); }
Any boxed(std::nullptr_t) { return {}; }

// Values as JSON.

Json typed(PropertyEntry property);

template <typename T> Json asJson(const T &value) { return value; }
Json asJson(const ObjectReference &reference) {
  return reference.text.empty() ? Json() : Json(reference.text);
}
Json asJson(const Octets &octets) { return hexadecimal(octets); }
Json asJson(ConstPropertyView list) { return toJson(list); }
Json asJson(ConstPropertyListsView lists) {
  Json array = Json::array();
  for (const ConstPropertyView list : lists) {
    array.push_back(toJson(list));
  }
  return array;
}
Json asJson(const Any &value) {
  const Property unnamed{nullptr, *value.native()};
  return typed(PropertyEntry(unnamed));
}

// JSON as values: nothing where it has another form.

template <typename Number> std::optional<Number> numberOf(const Json &json) {
  const bool isFitting = json.is_number_unsigned() ? std::in_range<Number>(json.get<uint64_t>())
                                                   : json.is_number_integer() &&
                                                         std::in_range<Number>(json.get<int64_t>());
  return isFitting ? std::optional(json.get<Number>()) : std::nullopt;
}

bool isTextWithoutNul(const Json &json) {
  return json.is_string() && json.get_ref<const std::string &>().find('\0') == std::string::npos;
}

std::optional<std::string> textOf(const Json &json) {
  return isTextWithoutNul(json) ? std::optional(json.get<std::string>()) : std::nullopt;
}

std::optional<bool> truthOf(const Json &json) {
  return json.is_boolean() ? std::optional(json.get<bool>()) : std::nullopt;
}

std::optional<ObjectReference> referenceOf(const Json &json) {
  return json.is_null()           ? std::optional(ObjectReference{})
         : isTextWithoutNul(json) ? std::optional(ObjectReference{json.get<std::string>()})
                                  : std::nullopt;
}

std::optional<Octets> octetsOf(const Json &json) {
  static constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
  const std::string text = json.is_string() ? json.get<std::string>() : "-";
  Octets octets;
  for (size_t i = 0; i < text.size(); i += 2) {
    const size_t high = digits.find(text[i]);
    const size_t low = i + 1 < text.size() ? digits.find(text[i + 1]) : std::string_view::npos;
    if (high == std::string_view::npos || low == std::string_view::npos) {
      return std::nullopt;
    }
    octets.push_back(static_cast<uint8_t>(high % 16 * 16 + low % 16));
  }
  return octets;
}

std::optional<Encoded> encodedOf(const Json &json) {
  auto octets = octetsOf(json);
  return octets ? std::optional(Encoded{std::move(*octets)}) : std::nullopt;
}

std::optional<PropertyList> listOf(const Json &json) {
  return json.is_object() ? std::optional(listFromJson(json)) : std::nullopt;
}

std::optional<PropertyLists> listsOf(const Json &json) {
  if (!json.is_array()) {
    return std::nullopt;
  }
  PropertyLists lists;
  for (const Json &element : json) {
    lists.push_back(listFromJson(element));
  }
  return lists;
}

Any anyFromJson(const Json &json);

std::optional<Any> anyOf(const Json &json) {
  return json.is_object() ? std::optional(anyFromJson(json)) : std::nullopt;
}

std::optional<std::nullptr_t> nothingOf(const Json &json) {
  return json.is_null() ? std::optional(nullptr) : std::nullopt;
}

// The types.

enum class Written { asText, asWord, asJson };

struct Type {
  const char *name;
  const char *meaning; // "a short is ..."
  Written written;     // on a command line
  bool (*isOf)(PropertyEntry property);
  Json (*toJson)(PropertyEntry property);
  std::optional<Any> (*fromJson)(const Json &json);
};

template <auto reads> std::optional<Any> boxOf(const Json &json) {
  const auto value = reads(json);
  return value ? std::optional(boxed(*value)) : std::nullopt;
}

template <typename T, auto reads>
constexpr Type type(const char *name, const char *meaning, Written written) {
  return {name,
          meaning,
          written,
          [](PropertyEntry property) { return property.holds<T>(); },
          [](PropertyEntry property) { return asJson(property.get<T>()); },
          boxOf<reads>};
}

// The last is that of all properties that are of no other.
const Type types[] = {
    type<std::string, textOf>("string", "a string is text without a NUL", Written::asText),
    type<int16_t, numberOf<int16_t>>("short", "a short is a whole number from -32768 to 32767",
                                     Written::asWord),
    type<int32_t, numberOf<int32_t>>(
        "long", "a long is a whole number from -2147483648 to 2147483647", Written::asWord),
    type<uint32_t, numberOf<uint32_t>>("ulong", "a ulong is a whole number from 0 to 4294967295",
                                       Written::asWord),
    type<bool, truthOf>("boolean", "a boolean is true or false", Written::asWord),
    type<Octets, octetsOf>("octets", "octets are text of hexadecimal digits, two for each",
                           Written::asText),
    type<ConstPropertyView, listOf>(
        "properties", R"(properties are an object from keys to {"type": TYPE, "value": VALUE})",
        Written::asJson),
    type<ConstPropertyListsView, listsOf>(
        "properties_list", "a properties_list is an array of properties", Written::asJson),
    type<Any, anyOf>("any", R"(an any is {"type": TYPE, "value": VALUE})", Written::asJson),
    type<ObjectReference, referenceOf>("object", "an object is text without a NUL, or null",
                                       Written::asText),
    {"none", "a none is null", Written::asWord,
     [](PropertyEntry property) { return property.type() == nullptr; },
     [](PropertyEntry /*property*/) { return Json(); }, boxOf<nothingOf>},
    {"encoded", "what is encoded is text of hexadecimal digits, two for each octet",
     Written::asText, [](PropertyEntry /*property*/) { return true; },
     [](PropertyEntry property) { return asJson(encodingOf(property.native()->value).octets); },
     boxOf<encodedOf>},
};

const Type &typeOf(PropertyEntry property) {
  return *std::find_if(std::begin(types), std::end(types),
                       [&](const Type &type) { return type.isOf(property); });
}

const Type &typeNamed(const std::string &name) {
  const auto found = std::find_if(std::begin(types), std::end(types),
                                  [&](const Type &type) { return name == type.name; });
  if (found == std::end(types)) {
    throw Failure("there is no type \"" + printable(name) + '"');
  }
  return *found;
}

Json typed(PropertyEntry property) {
  const Type &type = typeOf(property);
  Json json;
  json["type"] = type.name;
  json["value"] = type.toJson(property);
  return json;
}

Any valueOf(const Type &type, const Json &json) {
  std::optional<Any> value = type.fromJson(json);
  if (!value) {
    throw Failure(type.meaning);
  }
  return std::move(*value);
}

Any anyFromJson(const Json &json) {
  const auto type = json.find("type");
  const auto value = json.find("value");
  if (json.size() != 2 || type == json.end() || value == json.end() || !type->is_string()) {
    throw Failure(R"(a property is {"type": TYPE, "value": VALUE})");
  }
  return valueOf(typeNamed(type->get_ref<const std::string &>()), *value);
}

Any valueOfKey(const std::string &key, const Json &json) {
  if (key.find('\0') != std::string::npos) {
    throw Failure("the key \"" + printable(key) + "\" has a NUL inside");
  }
  try {
    if (!json.is_object()) {
      throw Failure(R"(a property is {"type": TYPE, "value": VALUE})");
    }
    return anyFromJson(json);
  } catch (const std::runtime_error &failure) {
    throw Failure(printable(key) + ": " + failure.what());
  }
}

// At the end, without a look for the key: those of an object are different.
void append(PropertyList &list, const std::string &key, Any value) {
  sprig::call([&] {
    const Property property{mg_strdup(key.c_str()), *value.native()};
    seq_add(list.native(), &property, sizeof property);
  });
  *value.native() = {};
}

Json jsonOf(const Type &type, const std::string &text) {
  switch (type.written) {
  case Written::asWord:
    return Json::parse(text, nullptr, false);
  case Written::asJson:
    return parseJson(text);
  default:
    return text;
  }
}

} // namespace

Json toJson(ConstPropertyView list) {
  Json::object_t object;
  object.reserve(list.size());
  for (const PropertyEntry property : list) {
    object.emplace_back(std::string(property.key()), typed(property));
  }
  return object;
}

Json toJson(PropertyEntry property) {
  return Json::object_t{{std::string(property.key()), typed(property)}};
}

PropertyList listFromJson(const Json &json) {
  if (!json.is_object()) {
    throw Failure(typeNamed("properties").meaning);
  }
  PropertyList list;
  for (const auto &[key, value] : json.get_ref<const Json::object_t &>()) {
    append(list, key, valueOfKey(key, value));
  }
  return list;
}

void putWritten(PropertyList &list, const std::string &key, const std::string &type,
                const std::string &value) {
  const Type &valueType = typeNamed(type);
  Any any = valueOf(valueType, jsonOf(valueType, value));
  sprig::call(
      [&] { properties_put(list.native(), key.c_str(), any.native()->type, any.native()->value); });
  *any.native() = {};
}

std::vector<std::string> propertyTypes() {
  std::vector<std::string> names;
  for (const Type &type : types) {
    names.emplace_back(type.name);
  }
  return names;
}

} // namespace tool

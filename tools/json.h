// Property lists as JSON: an object from keys to {"type": TYPE, "value": VALUE}, in the list's
// order.
//
//   string            text
//   short long ulong  a number
//   boolean           true or false
//   octets            text of hexadecimal digits
//   properties        such an object
//   properties_list   an array of such objects
//   any               {"type": TYPE, "value": VALUE}
//   object            text, or null
//   none              null: there is no value, and no type
//   encoded           any other type: the type and the value encoded, in hexadecimal digits
#ifndef SPRIG_TOOLS_JSON_H
#define SPRIG_TOOLS_JSON_H

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <sprig/sprig.hpp>

namespace tool {

using Json = nlohmann::ordered_json;

// A key that is in the list twice is in the object twice, and text has the bytes that it has:
// jsonText() refuses what JSON cannot have.
Json toJson(sprig::ConstPropertyView list);
// An object with one key.
Json toJson(sprig::PropertyEntry property);

// Throws Failure, which names the property, for what is no property list.
sprig::PropertyList listFromJson(const Json &json);

// Puts in a value that somebody has written on a command line: text and octets as they are, lists
// in JSON. Throws Failure for what is no value of the type.
void putWritten(sprig::PropertyList &list, const std::string &key, const std::string &type,
                const std::string &value);

// The names of all types.
std::vector<std::string> propertyTypes();

} // namespace tool

#endif

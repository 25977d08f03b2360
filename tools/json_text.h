// JSON as text. All of it can be shown again: nothing in it is lost in silence.
#ifndef SPRIG_TOOLS_JSON_TEXT_H
#define SPRIG_TOOLS_JSON_TEXT_H

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace tool {

// Throws Failure for text that is no JSON, that has a key twice in one object, or that is nested
// deeper than any property list.
nlohmann::ordered_json parseJson(std::string_view text);

// For a person to read, with a newline at its end. Throws Failure for what JSON cannot have: an
// object with a key twice, and text that is no UTF-8.
std::string jsonText(const nlohmann::ordered_json &json);

} // namespace tool

#endif

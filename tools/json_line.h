// JSON for a program that reads lines.
#ifndef SPRIG_TOOLS_JSON_LINE_H
#define SPRIG_TOOLS_JSON_LINE_H

#include <string>

#include <nlohmann/json.hpp>

namespace tool {

// With a newline at its end. Bytes that are no text are replaced.
inline std::string jsonLine(const nlohmann::ordered_json &json) {
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

} // namespace tool

#endif

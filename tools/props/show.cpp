#include "props/show.h"

#include "output.h"

namespace tool {
namespace {

using Lines = std::vector<std::string>;

void indent(Lines &lines, const Json &list, const std::string &first) {
  const std::string others(first.size(), ' ');
  Lines inner = shownList(list);
  if (inner.empty() && first.find('-') != std::string::npos) {
    lines.push_back(first.substr(0, first.size() - 1));
  }
  for (size_t i = 0; i < inner.size(); ++i) {
    lines.push_back((i == 0 ? first : others) + inner[i]);
  }
}

// " VALUE", or nothing where there is nothing to be seen.
std::string shownValue(const Json &value) {
  if (value.is_structured() || value.is_null()) {
    return "";
  }
  const std::string text =
      value.is_string() ? printable(value.get_ref<const std::string &>()) : value.dump();
  return text.empty() ? "" : ' ' + text;
}

void showProperty(Lines &lines, const std::string &key, const Json *property) {
  std::string type = property->at("type");
  while (property->at("type") == "any") {
    property = &property->at("value");
    type += " of " + property->at("type").get_ref<const std::string &>();
  }
  const Json &value = property->at("value");
  lines.push_back(printable(key) + " (" + type + "):" + shownValue(value));
  if (value.is_object()) {
    indent(lines, value, "  ");
  } else if (value.is_array()) {
    for (const Json &list : value) {
      indent(lines, list, "  - ");
    }
  }
}

} // namespace

std::vector<std::string> shownList(const Json &list) {
  Lines lines;
  for (const auto &[key, property] : list.get_ref<const Json::object_t &>()) {
    showProperty(lines, key, &property);
  }
  return lines;
}

} // namespace tool

// Texts of the message catalog, translated where there is a translation.
#ifndef SPRIG_TOOLS_CATALOG_H
#define SPRIG_TOOLS_CATALOG_H

#include <string>
#include <string_view>

#include <sprig/sprig.hpp>

namespace tool {

// A message with its arguments, which are of the types that its conversions take: text as
// `const char *`, numbers as `int`, a time as `time_t`. Newlines at its end stay.
template <typename... Arguments> std::string catalogText(int id, Arguments... arguments) {
  const std::string_view original = Sprig2Catalog[id];
  try {
    sprig::call([=] { vaThrow(Sprig2Catalog[0], id, Sprig2Catalog[id], arguments...); });
  } catch (const sprig::Error &message) { // which goes without them
    const size_t newlines = original.size() - (original.find_last_not_of('\n') + 1);
    return message.what() + std::string(newlines, '\n');
  }
  return {};
}

} // namespace tool

#endif

#include "depot/commands.h"

#include <iostream>

#include "depot/depot.h"
#include "failure.h"
#include "json_line.h"
#include "output.h"

namespace tool {

sprig::Depot openedDepot(const DepotRequest &request) {
  return openDepot(enterDepot(request.directory, false));
}

std::string SegmentName::shown() const { return printable(id + '^' + version); }

SegmentName parseSegmentName(const std::string &text) {
  const size_t separator = text.rfind('^');
  if (separator == std::string::npos || separator == 0 || separator + 1 == text.size()) {
    throw Failure(catalogLine(166), "write it as ID^VERSION", wrongUsage);
  }
  return {text.substr(0, separator), text.substr(separator + 1)};
}

SegmentName nameOf(const sprig::DepotEntry &entry) { return {entry.id, entry.version}; }

std::string shownEntries(size_t count, uint64_t kilobytes) {
  return std::to_string(count) + (count == 1 ? " entry, " : " entries, ") +
         std::to_string(kilobytes) + " KB";
}

void printJson(const nlohmann::ordered_json &value) { std::cout << jsonLine(value); }

} // namespace tool

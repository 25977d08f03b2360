#include <algorithm>
#include <random>

#include "properties/task.h"

namespace bench {
namespace {

Names numberedNames(size_t count) {
  Names names;
  for (size_t k = 0; k < count; ++k) {
    names.push_back("property-" + std::to_string(100 + k));
  }
  return names;
}

Names wordNames(size_t count) {
  Names names;
  for (const char *of : {"", "source_", "target_", "result_", "parent_", "control_"}) {
    for (const char *what : {"id", "version", "location", "size", "timeout", "label", "checksum",
                             "state", "method", "mandatory_date"}) {
      names.push_back(std::string(of) + what);
    }
  }
  names.resize(std::min(count, names.size()));
  return names;
}

} // namespace

Names makeNames(Naming naming, size_t count) {
  return naming == Naming::numbered ? numberedNames(count) : wordNames(count);
}

Names shuffled(Names names) {
  names.push_back(names.front() + "?");
  names.push_back(names.back().substr(0, names.back().size() - 2) + "?");
  std::shuffle(names.begin(), names.end(), std::mt19937(1)); // NOLINT(cert-msc51-cpp)
  return names;
}

} // namespace bench

#include "depot/description.h"

#include <algorithm>

namespace tool {

std::optional<DescribedData> describedData(const sprig::DepotEntry &entry) {
  try {
    const sprig::PropertyList description = entry.description();
    const sprig::ConstSegmentView segment(description);
    return DescribedData{static_cast<uint64_t>(std::max(segment.size(), 0)), segment.checksum()};
  } catch (const sprig::Error &) {
    return std::nullopt;
  }
}

uint64_t describedSize(const sprig::DepotEntry &entry) {
  const auto data = describedData(entry);
  return data ? data->size : 0;
}

} // namespace tool

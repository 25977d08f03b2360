// What an entry's description says of its data.
#ifndef SPRIG_TOOLS_DEPOT_DESCRIPTION_H
#define SPRIG_TOOLS_DEPOT_DESCRIPTION_H

#include <optional>

#include <sprig/sprig.hpp>

namespace tool {

struct DescribedData {
  uint64_t size;          // 0 where it is not told
  sprig::Octets checksum; // empty where it is not told
};

// Nothing where the description cannot be read.
std::optional<DescribedData> describedData(const sprig::DepotEntry &entry);
// 0 also where it cannot be read.
uint64_t describedSize(const sprig::DepotEntry &entry);

} // namespace tool

#endif

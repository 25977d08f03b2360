// Where the data of a receive came from.
#ifndef SPRIG_TOOLS_RECEIVE_SHARE_H
#define SPRIG_TOOLS_RECEIVE_SHARE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace tool {

enum class Origin : size_t { here, depot, channel, directory, cd, files };

constexpr size_t originCount = 6;

// As a person is told: "from the ...".
constexpr std::array<const char *, originCount> originNames{
    "what was there already", "depot", "channel", "directory", "CD", "named files"};
// In JSON.
constexpr std::array<const char *, originCount> originKeys{"here",      "depot", "channel",
                                                           "directory", "cd",    "files"};

// What came from one of them.
struct Share {
  uint64_t bytes = 0;
  uint64_t segments = 0;
  std::string passedOver; // why, where it was
};

using Shares = std::array<Share, originCount>;

inline Share &shareOf(Shares &shares, Origin origin) { return shares[static_cast<size_t>(origin)]; }

} // namespace tool

#endif

// What the types of streams have in common and what tells them apart.
#ifndef SPRIG_STREAMS_STREAM_TYPE_H
#define SPRIG_STREAMS_STREAM_TYPE_H

#include <cstdint>

namespace sprig {

enum StreamType : uint8_t {
  network = 2,    // data come through the endpoint's channel
  namedFiles = 4, // data are in files that the key names
  lastType = 11,
};

constexpr bool canBeMobile(uint8_t type) {
  return type == network || (type >= namedFiles && type <= lastType);
}

} // namespace sprig

#endif

// What the types of streams can do.
#ifndef SPRIG_STREAMS_STREAM_TYPE_H
#define SPRIG_STREAMS_STREAM_TYPE_H

#include <cstdint>
#include <iterator>

namespace sprig {

enum StreamType : uint8_t {
  ioChannel = 1,   // a channel that the caller opened and that close closes
  network = 2,     // the endpoint's channel
  bare = 3,        // can be opened, and that is all
  namedFiles = 4,  // files that the key names
  fromDepot = 10,  // files of entries of the endpoint's depot
  channelOnly = 11 // neither opened here nor searched for
};

enum Trait : uint32_t {
  opens = 1U << 0,       // net_stream_open() makes it
  closes = 1U << 1,      // net_stream_close() releases it
  takesHandle = 1U << 2, // its source is the caller's to give
  mobile = 1U << 3,      // it can be a mobile endpoint's
  local = 1U << 4,       // its source is a list of files
  polled = 1U << 5,      // the channel is asked for commands before each read
  searched = 1U << 6,    // its data are looked for on the machine
  namesFiles = 1U << 7,  // its segments may name their files
  searchesRemoteDir = 1U << 8,
  searchesCd = 1U << 9,
  searchesKeyDirectory = 1U << 10,
};

// What each type can do; types above the last one can do nothing.
constexpr uint32_t streamTraits[]{
    /*  0 */ 0,
    /*  1 */ closes,
    /*  2 */ opens | closes | takesHandle | mobile | searched,
    /*  3 */ opens,
    /*  4 */ opens | closes | mobile | local,
    /*  5 */ mobile | local | searched | namesFiles,
    /*  6 */ opens | closes | takesHandle | mobile | local | polled | searched | namesFiles |
        searchesCd,
    /*  7 */ opens | closes | takesHandle | mobile | local | polled | searched | namesFiles |
        searchesRemoteDir,
    /*  8 */ opens | closes | takesHandle | mobile | local | polled | searched | namesFiles |
        searchesRemoteDir | searchesCd,
    /*  9 */ opens | closes | takesHandle | mobile | local | searched | namesFiles |
        searchesKeyDirectory,
    /* 10 */ opens | closes | takesHandle | mobile | local | searched | namesFiles,
    /* 11 */ closes | mobile | local | polled | searched,
};

constexpr bool can(int32_t type, Trait trait) {
  return type >= 0 && type < static_cast<int32_t>(std::size(streamTraits)) &&
         (streamTraits[type] & trait) != 0;
}

} // namespace sprig

#endif

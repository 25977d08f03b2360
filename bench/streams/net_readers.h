// Local files through a stream that could have its data from the network.
#ifndef SPRIG_BENCH_STREAMS_NET_READERS_H
#define SPRIG_BENCH_STREAMS_NET_READERS_H

#include "streams/reader.h"

namespace bench {

std::unique_ptr<Reader> makeNetReader(const std::string &path);
// One that asks the channel for commands before each piece.
std::unique_ptr<Reader> makePolledReader(const std::string &path);

} // namespace bench

#endif

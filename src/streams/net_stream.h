// The stream's record.
#ifndef SPRIG_STREAMS_NET_STREAM_H
#define SPRIG_STREAMS_NET_STREAM_H

#include <cstdint>

#include <sprig/streams.h>

namespace sprig {

// How much is read or sent at once, in bytes, unless a receiver asks for something else.
inline constexpr int32_t pieceSize = 16384;

// Releases a stream with everything that it owns, of whatever type it is. Nothing is written.
void releaseStream(void *block);

// Releases the depot's handle and the list of entries held. On disk nothing changes.
void releaseDepot(NetStream *stream);

// Gives a stream descriptions of segments in place of those that it has.
void setSegments(NetStream *stream, PropertiesList *segments);

} // namespace sprig

#endif

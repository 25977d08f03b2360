// The endpoint's depot as a source of segments.
#ifndef SPRIG_STREAMS_DEPOT_SOURCE_H
#define SPRIG_STREAMS_DEPOT_SOURCE_H

#include <sprig/streams.h>

namespace sprig {

// Looks for the segments of a network stream in the endpoint's depot. Entries that are found are
// held by the stream; when all are found, it becomes a stream over them. What is missing is logged.
void searchDepot(NetStream *stream, Toc *toc, StringList *foundPaths);

} // namespace sprig

#endif

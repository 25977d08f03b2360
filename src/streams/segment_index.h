// Which segment a file's data belong to.
#ifndef SPRIG_STREAMS_SEGMENT_INDEX_H
#define SPRIG_STREAMS_SEGMENT_INDEX_H

#include <sprig/types.h>

namespace sprig {

// The first segment whose "data_path" is a name, or null. Throws message 37 where one on the way to
// it has a "data_path" that is no text.
//
// A long list is indexed when it is first searched, so that a stream of many files is not searched
// from its start for each. The index is one for each thread, of the list that was searched last;
// what it finds is compared again, and what it does not find is looked for in the list itself. So
// other contents in the same list cost time, and no more, unless a name moves to an earlier
// segment.
const Properties *findSegment(const PropertiesList *segments, const char *name);

// Forgets the list that was searched last: another one may come to lie in its place.
void forgetSegments();

} // namespace sprig

#endif

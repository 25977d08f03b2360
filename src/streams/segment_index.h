// Which segment a file's data belong to.
#ifndef SPRIG_STREAMS_SEGMENT_INDEX_H
#define SPRIG_STREAMS_SEGMENT_INDEX_H

#include <sprig/types.h>

namespace sprig {

// The first segment whose "data_path" is a name, or null. Throws message 37 where one on the way to
// it has a "data_path" that is no text.
//
// A long list is indexed when it is first searched, so that a stream of many files is not searched
// from its start for each. Each thread keeps the indexes of a few lists that were searched last;
// what one finds is compared again, and what it does not find is looked for in the list itself. So
// other contents in the same list cost time, and no more, unless a name moves to an earlier
// segment.
const Properties *findSegment(const PropertiesList *segments, const char *name);

// Forgets a list that goes away: another one may come to lie in its place. Null forgets all lists.
void forgetSegments(const PropertiesList *segments);

} // namespace sprig

#endif

// Where the data of a distribution's segments may be on the machine.
#ifndef SPRIG_STREAMS_SEARCH_H
#define SPRIG_STREAMS_SEARCH_H

#include <sprig/streams.h>

namespace sprig {

inline bool hasUnfound(const Toc *toc) { return toc->found_count < toc->count; }

// Notes that a segment's data are in a file, whose path also goes to the list, if there is one.
void setFound(Toc *toc, Segment *segment, const char *path, StringList *foundPaths);
// The same with the file's size.
void setFoundWithSize(Toc *toc, Segment *segment, const char *path, StringList *foundPaths);

// Searches the directories that "remote.dir" names, in its order. Throws message 170 where there is
// no such file.
void searchRemoteDirectories(Toc *toc, StringList *foundPaths);

// A path in the endpoint's data directory, in a block, or null where that is not configured.
char *inDataDirectory(const char *name);

} // namespace sprig

#endif

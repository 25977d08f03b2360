// Lists of files that are read one after the other.
#ifndef SPRIG_STREAMS_FILE_LIST_H
#define SPRIG_STREAMS_FILE_LIST_H

#include <sprig/streams.h>

namespace sprig {

// A list of the names in a text, separated by commas, which is copied.
FileList *newFileList(const char *text);

// Releases a list with the file that is open. Null is ignored.
void releaseFileList(void *block);

} // namespace sprig

#endif

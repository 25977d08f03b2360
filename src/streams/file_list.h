// Lists of files that are read one after the other.
#ifndef SPRIG_STREAMS_FILE_LIST_H
#define SPRIG_STREAMS_FILE_LIST_H

#include <sprig/streams.h>

namespace sprig {

// A list of the names in a text, separated by commas, which is copied.
FileList *newFileList(const char *text);

// Releases a list with the file that is open. Null is ignored.
void releaseFileList(void *block);

// Closes a file and releases its record, also where closing throws.
void closeAndRelease(File *file);

} // namespace sprig

#endif

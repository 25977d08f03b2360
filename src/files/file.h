// Files that are closed whatever happens.
#ifndef SPRIG_FILES_FILE_H
#define SPRIG_FILES_FILE_H

#include <sprig/files.h>

namespace sprig {

// Closes a file and releases its record, also where closing fails; then throws message 14. Null is
// ignored. Release functions of try frames take a void pointer.
void closeAndRelease(void *block);

} // namespace sprig

#endif

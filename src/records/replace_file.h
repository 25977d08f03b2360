// Files that others read while they are written.
#ifndef SPRIG_RECORDS_REPLACE_FILE_H
#define SPRIG_RECORDS_REPLACE_FILE_H

#include <sprig/types.h>

namespace sprig {

// What properties_save_without_len() does, with the same failures, but through a file beside it
// that takes its place when it is whole. In place where none can be made or another's file is in
// the way.
void replaceFile(const Properties *list, const char *path);

} // namespace sprig

#endif

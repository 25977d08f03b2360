// The library's directories in the process's work directory.
#ifndef SPRIG_FILES_WORK_DIRECTORY_H
#define SPRIG_FILES_WORK_DIRECTORY_H

namespace sprig {

// A path name in the work directory, or in the temporary directory where there is none; null where
// there is neither. The directory is made where it is missing; whether it can be used shows when a
// file is opened in it. Throws what pathname_append() does.
char *directoryInWorkDirectory(const char *name);

} // namespace sprig

#endif

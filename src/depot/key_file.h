// The files in the current directory that name the depot's semaphores.
#ifndef SPRIG_DEPOT_KEY_FILE_H
#define SPRIG_DEPOT_KEY_FILE_H

#include <sprig/pal.h>

namespace sprig {

// Makes a key file where it is missing. Nothing is ever written to it.
PalError createKeyFile(const char *path);

} // namespace sprig

#endif

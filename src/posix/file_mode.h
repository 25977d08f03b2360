// Translation between the layer's open flags and permission bits and the system's.
#ifndef SPRIG_POSIX_FILE_MODE_H
#define SPRIG_POSIX_FILE_MODE_H

#include <cstdint>
#include <sys/types.h>

namespace sprig {

int GetNativeOFlag(uint32_t oflag);
mode_t GetNativePMode(uint32_t permission);
uint32_t GetPalPMode(mode_t mode);

} // namespace sprig

#endif

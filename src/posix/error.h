// The outcomes that operations of this layer report, each at the number of its failure point.
#ifndef SPRIG_POSIX_ERROR_H
#define SPRIG_POSIX_ERROR_H

#include <cerrno>

#include <sprig/pal.h>

namespace sprig {

inline constexpr PalError success{PAL_OK, 0, 0};

constexpr PalError invalidParameter(int32_t location) {
  return {PAL_INVALID_PARAMETER, 0, location};
}

constexpr PalError outOfMemory(int32_t location) { return {PAL_OUT_OF_MEMORY, 0, location}; }

// Reads errno, so it comes right behind the call that failed.
inline PalError systemCallFailed(int32_t location) {
  return {PAL_SYSTEM_CALL_FAILED, errno, location};
}

// Turns what a system call returned into an outcome: negative results are failures.
inline PalError outcome(int64_t result, int32_t location) {
  return result < 0 ? systemCallFailed(location) : success;
}

} // namespace sprig

#endif

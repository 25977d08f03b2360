// Error records as values that tests can compare and print.
#ifndef SPRIG_TESTS_SUPPORT_PAL_ERROR_H
#define SPRIG_TESTS_SUPPORT_PAL_ERROR_H

#include <ostream>

#include <sprig/pal.h>

inline bool operator==(const PalError &a, const PalError &b) {
  return a.palError == b.palError && a.nativeError == b.nativeError &&
         a.traceLocation == b.traceLocation;
}

inline std::ostream &operator<<(std::ostream &out, const PalError &error) {
  return out << '{' << error.palError << ", " << error.nativeError << ", " << error.traceLocation
             << '}';
}

namespace test {

inline constexpr PalError ok{PAL_OK, 0, 0};

constexpr PalError invalid(int32_t location) { return {PAL_INVALID_PARAMETER, 0, location}; }

constexpr PalError failed(int32_t nativeError, int32_t location) {
  return {PAL_SYSTEM_CALL_FAILED, nativeError, location};
}

} // namespace test

#endif

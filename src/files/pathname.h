// What a path name may be.
#ifndef SPRIG_FILES_PATHNAME_H
#define SPRIG_FILES_PATHNAME_H

#include <cstddef>
#include <cstring>

namespace sprig {

// Room for a path name, with its NUL.
inline constexpr size_t pathSize = 1024;

inline bool isPathName(const char *text) { return strnlen(text, pathSize) < pathSize; }

} // namespace sprig

#endif

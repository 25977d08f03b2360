// What the layers above need of files beyond the public interface.
#ifndef SPRIG_POSIX_FILE_H
#define SPRIG_POSIX_FILE_H

#include <array>
#include <cstdint>

#include <sprig/pal.h>

namespace sprig {

// Which file a path leads to, or a handle is open on. A file that is made later is another one,
// even where the system uses the number of a removed one again.
struct FileIdentity {
  int32_t mount = 0;
  int32_t type = 0;
  uint32_t size = 0;
  std::array<unsigned char, 40> handle{}; // the file system's own, as for network servers

  bool operator==(const FileIdentity &) const = default;
};

// False where there is no such file, or its file system has no such handles.
bool identify(PalFileHandle handle, FileIdentity &identity);
bool identify(const char *path, FileIdentity &identity);

// PalFileOpen() for reading, of a file that somebody else put there: a FIFO without a writer reads
// as empty instead of waiting for one.
PalError openWithoutWaiting(PalFileHandle *handle, const char *path);

// openWithoutWaiting() for files that cannot change without a trace in their directory. Everything
// that can (links of both kinds) or that is no regular file is refused.
PalError openSoleName(PalFileHandle *handle, const char *path);

// Whether there is certainly nothing of that name, not even a link to nothing.
bool isGone(const char *path);

// The size that PalFileGetInfo() tells, without asking who owns the file.
PalError sizeOfFile(const char *path, uint64_t *size);

} // namespace sprig

#endif

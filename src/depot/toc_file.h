// A TOC file as it is read: whole, into memory that serves for one file after the other.
#ifndef SPRIG_DEPOT_TOC_FILE_H
#define SPRIG_DEPOT_TOC_FILE_H

#include <cstddef>
#include <optional>

#include <sprig/pal.h>

#include "posix/file.h"

namespace sprig {

// What is logged when a step fails. Formats take the palError and the path, but `memory` the path
// alone.
struct TocReadTexts {
  const char *opening;
  const char *size;
  const char *memory;
  const char *reading;
};

class TocFile {
public:
  // What it reads can be asked for its identity if that is wanted.
  explicit TocFile(bool wantsIdentity = false) : wantsIdentity_(wantsIdentity) {}
  ~TocFile() { PalMemoryFree(large_); }
  TocFile(const TocFile &) = delete;
  TocFile &operator=(const TocFile &) = delete;

  // Reads a file, and logs what fails if there are texts for it.
  bool read(const char *path, const TocReadTexts *texts);
  // Reads a file that only its directory leads to, and logs nothing.
  bool readSoleName(const char *path);

  // Which file was read last; nothing where the system cannot tell.
  const std::optional<FileIdentity> &identity() const { return identity_; }

  // What was read last, with a NUL behind it.
  char *text() { return large_ == nullptr ? small_ : large_; }

private:
  using Open = PalError (*)(PalFileHandle *handle, const char *path);

  // Most files need no more, and then no question for their size either.
  static constexpr size_t smallSize = 2048;

  bool readWith(Open open, const char *path, const TocReadTexts *texts);
  bool readLarge(PalFileHandle file, const char *path, const TocReadTexts *texts);
  bool takeText(PalFileHandle file, size_t size, size_t *count, const char *path,
                const TocReadTexts *texts);
  bool makeRoom(int64_t size);
  size_t room() const { return (large_ == nullptr ? smallSize : largeSize_) - 1; }

  bool wantsIdentity_;
  std::optional<FileIdentity> identity_;
  char small_[smallSize];
  char *large_ = nullptr; // once a file needed more
  size_t largeSize_ = 0;
};

} // namespace sprig

#endif

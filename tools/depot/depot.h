// A depot as the tool uses it: opened where its lock files are, and filled with verified segments.
#ifndef SPRIG_TOOLS_DEPOT_DEPOT_H
#define SPRIG_TOOLS_DEPOT_DEPOT_H

#include <cstdint>
#include <string>

#include <sprig/sprig.hpp>

namespace tool {

// The deadline of what is kept for ever.
constexpr int32_t noDeadline = INT32_MAX;

// Makes a depot's directory the current one, where the lock files of all its users have to be. It
// is made, if asked, where it is missing. Returns its path from the root.
std::string enterDepot(const std::string &directory, bool isMade);

// Opens the depot that was entered. What lies in it already counts against the limit. Throws
// Failure where its lock files cannot be had.
sprig::Depot openDepot(const std::string &directory, uint32_t limit = 0);

// What a person is told of a failed operation.
std::string reasonOf(const sprig::DepotError &error);

constexpr uint64_t kilobytes(uint64_t bytes) { return bytes / 1024 + (bytes % 1024 == 0 ? 0 : 1); }
// Kilobytes of all data files, each rounded up.
uint64_t usedKilobytes(const std::string &directory);

struct Kept {
  bool isKept;
  std::string why; // it is not
  int error = 0;   // errno, where a system call has failed
};

// Puts a segment, whose data are the file `path`, into a depot until its deadline, unless it is
// there already. It is registered twice: a stream that uses it takes one registration back, and
// with the last one the entry would go.
Kept keepInDepot(sprig::Depot &depot, sprig::ConstSegmentView segment, const std::string &path,
                 int32_t deadline);

// The end of a duration from now on, as a deadline.
int32_t deadlineAfter(int64_t seconds);

} // namespace tool

#endif

// The files of a run of benchmarks.
#ifndef SPRIG_BENCH_DEPOT_WORKSPACE_H
#define SPRIG_BENCH_DEPOT_WORKSPACE_H

#include <cstdint>
#include <string>

namespace bench {

// A directory under TMPDIR, which is also the current one: depots make their lock files there. It
// goes at the end with everything in it, and with the semaphores of the lock files.
class Workspace {
public:
  Workspace();
  ~Workspace();
  Workspace(const Workspace &) = delete;
  Workspace &operator=(const Workspace &) = delete;

  std::string operator/(const std::string &name) const { return path_ + '/' + name; }

  // Takes a file out of its directory without removing it: after many removals some file systems
  // are slow to create files, for minutes, and creation is measured.
  bool bury(const std::string &path);

private:
  std::string path_;
  uint64_t buried_ = 0;
};

// Ends the preparation of a benchmark with an exception, by errno, where something fails.
void require(bool condition, const std::string &what);

} // namespace bench

#endif

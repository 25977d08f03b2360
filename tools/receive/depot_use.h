// What a receive does with a depot: it looks there first, and keeps there what came another way.
#ifndef SPRIG_TOOLS_RECEIVE_DEPOT_USE_H
#define SPRIG_TOOLS_RECEIVE_DEPOT_USE_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <sprig/sprig.hpp>

namespace tool {

// A depot that cannot be used is no failure: the data then go by it. It is open only within these
// operations, so that streams can open it in between.
class DepotUse {
public:
  struct Options {
    std::string directory;
    uint32_t limit = 0; // kilobytes; 0: none
    std::chrono::seconds keep{};
    bool isWanted = true;
    std::string whyNot; // it is not wanted
  };
  struct Result {
    uint64_t kept = 0;
    uint64_t notKept = 0;
    std::string whyNot; // the first reason
    int32_t deadline = 0;
  };

  // Makes the depot and its directory the current one, and warns where that cannot be.
  explicit DepotUse(Options options);

  bool isUsable() const noexcept { return isUsable_; }
  // Why nothing comes from it, unless it is usable.
  const std::string &why() const noexcept { return why_; }

  // Lets streams look there, through a configuration file of their own; or not.
  void showStreams(const std::string &configurationFile) const;
  static void hideFromStreams();

  // Which segments it has.
  std::vector<bool> lookUp(sprig::ConstTableView table);
  // Takes out what does not match its checksum.
  void discard(sprig::ConstSegmentView segment);
  // Opens it to keep segments, whose data are in files, and tells how that went.
  Result keep(sprig::ConstTableView table, const std::vector<std::string> &paths);

private:
  std::optional<sprig::Depot> opened();
  void giveUp(const std::string &why);
  void warn(const std::string &why) const;

  Options options_;
  bool isUsable_ = false;
  std::string why_;
};

} // namespace tool

#endif

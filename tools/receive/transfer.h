// Brings what is missing of a distribution into its target.
#ifndef SPRIG_TOOLS_RECEIVE_TRANSFER_H
#define SPRIG_TOOLS_RECEIVE_TRANSFER_H

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <sprig/sprig.hpp>

#include "distribution.h"
#include "receive/depot_use.h"
#include "receive/progress.h"
#include "receive/share.h"
#include "receive/source.h"
#include "receive/target.h"

namespace tool {

// A segment whose data were not what they should be.
struct Refusal {
  size_t segment;
  Origin origin;
  std::string reason;
};

class Transfer {
public:
  // All outlive it. The target was scanned.
  Transfer(const Distribution &distribution, Target &target, const Source &source, DepotUse &depot,
           Progress &progress);

  // Reads until everything is verified, or the sender gives a command. What does not match its
  // checksum is named, and read once more from where there is another chance. Throws what streams
  // and files do, Failure where data stay wrong.
  sprig::Command run();

  const Shares &shares() const noexcept { return shares_; }
  const std::vector<Refusal> &refusals() const noexcept { return refusals_; }

private:
  sprig::Command readRound();
  sprig::Command read(sprig::Stream &stream);
  sprig::Command readFiles(sprig::Stream &stream);
  sprig::Command readNetwork(sprig::Stream &stream);
  void copyFromDepot(size_t segment, const std::string &path);

  std::vector<size_t> order();
  sprig::TableOfContents table(const std::vector<size_t> &order) const;

  void begin(size_t segment, Origin origin);
  // Takes what the current segment still misses of the bytes, and returns the rest.
  std::string_view take(std::string_view bytes);
  // Ends the current segment. `failure` is why it is not whole, where that is known.
  void finish(const std::string &failure = {});
  void giveUpDepot(const std::string &why);
  bool isRefused(size_t segment, Origin origin) const;
  void refuse(size_t segment, Origin origin, const std::string &reason);
  void refuseWhatIsMissing(Origin origin);
  Origin originOf(sprig::StreamType type, const std::string &path) const;

  const Distribution &distribution_;
  Target &target_;
  const Source &source_;
  DepotUse &depot_;
  Progress &progress_;

  Shares shares_;
  std::vector<Refusal> refusals_;
  std::vector<uint64_t> fromHere_; // of each segment
  std::vector<size_t> order_;      // of the segments in the stream's table
  std::vector<size_t> discarded_;
  bool isWithoutDepot_ = false; // once it had something wrong
  std::unique_ptr<Part> part_;
  Origin partOrigin_ = Origin::channel;
};

} // namespace tool

#endif

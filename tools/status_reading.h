// What the status files tell of distributions.
#ifndef SPRIG_TOOLS_STATUS_READING_H
#define SPRIG_TOOLS_STATUS_READING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace tool {

struct DistributionStatus {
  std::string id;
  std::string_view state; // "receiving", "paused", "failed", "closed", "complete", "done"
  uint64_t received = 0;
  std::optional<uint64_t> total; // nothing until the segments are known
  bool isDone = false;
  std::string failure; // of a failed one; may be empty

  friend bool operator==(const DistributionStatus &, const DistributionStatus &) = default;

  bool isUnderWay() const { return state == "receiving"; }
  bool hasFailed() const { return state == "failed"; }

  // "45 %": never 100 % before all of it has arrived. "-" where the total is not known.
  std::string shownPercent() const;
  std::string shownTotal() const;
  // On one line.
  std::string shown() const;
  nlohmann::ordered_json toJson() const;
};

struct StatusFiles {
  std::vector<DistributionStatus> readable; // by id
  std::vector<std::string> failures;        // of those that are not, and why
};

// All that are in the work directory, or that of `id` where it is not empty. Throws Failure where
// there is none of `id`, or it cannot be read.
StatusFiles readStatusFiles(const std::string &id);

// Where they are.
std::string statusDirectory();

} // namespace tool

#endif

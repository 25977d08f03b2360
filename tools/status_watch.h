// Status files as they change.
#ifndef SPRIG_TOOLS_STATUS_WATCH_H
#define SPRIG_TOOLS_STATUS_WATCH_H

#include <string>
#include <vector>

#include "status_reading.h"

namespace tool {

// A table with what a person wants to know of distributions.
std::vector<std::string> statusTable(const std::vector<DistributionStatus> &statuses);

// Shows the status of all distributions, or of one, until none of them is under way any more. Gives
// the exit status.
int watchStatus(const std::string &id, bool isJson);

} // namespace tool

#endif

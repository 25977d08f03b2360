// What a receive tells at its end.
#ifndef SPRIG_TOOLS_RECEIVE_REPORT_H
#define SPRIG_TOOLS_RECEIVE_REPORT_H

#include <string>
#include <vector>

#include "distribution.h"
#include "receive/depot_use.h"
#include "receive/share.h"
#include "receive/transfer.h"

namespace tool {

struct Report {
  const Distribution &distribution;
  std::string directory; // as it was given
  const Shares &shares;
  const std::vector<Refusal> &refusals;
  const DepotUse::Result &depot;
};

// The lines for a person, and the object for a program.
std::string asText(const Report &report);
std::string asJson(const Report &report);

} // namespace tool

#endif

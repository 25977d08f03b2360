// What a sender tells about its receivers, for a person or, as JSON, for a program. Every line goes
// out at once.
#ifndef SPRIG_TOOLS_SERVE_REPORT_H
#define SPRIG_TOOLS_SERVE_REPORT_H

#include <cstdint>
#include <string>

#include "distribution.h"
#include "serve/account.h"

namespace tool {

class Report {
public:
  explicit Report(bool isJson) : isJson_(isJson) {}

  void serving(const Distribution &distribution, const std::string &address) const;
  // A receiver that is gone.
  void receiver(uint64_t number, const std::string &peer, const Account &account) const;
  void served(uint64_t receivers, bool isCancelled) const;

private:
  bool isJson_;
};

} // namespace tool

#endif

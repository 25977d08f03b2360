// What a sender has to offer: a distribution, and where its data lie.
#ifndef SPRIG_TOOLS_SERVE_OFFER_H
#define SPRIG_TOOLS_SERVE_OFFER_H

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "distribution.h"

namespace tool {

class Offer {
public:
  // Throws Failure for a directory without a distribution that can be used.
  explicit Offer(const std::string &directory);
  Offer(const Offer &) = delete;
  Offer &operator=(const Offer &) = delete;

  const Distribution &distribution() const noexcept { return distribution_; }
  // The distribution as it goes over a channel.
  std::string_view encoding() const noexcept;

  // The number of segments, which is that of none.
  size_t size() const noexcept { return distribution_.table.size(); }
  // The number of the segment; size() where there is none.
  size_t find(std::string_view id, std::string_view version) const;
  uint64_t sizeOf(size_t segment) const;
  std::string dataPath(size_t segment) const;

private:
  std::string directory_;
  Distribution distribution_;
  sprig::Octets encoding_;
  std::map<std::pair<std::string_view, std::string_view>, size_t> index_; // texts of the table
};

} // namespace tool

#endif

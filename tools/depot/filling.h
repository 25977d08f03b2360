// Who is filling an entry: the one that holds a lock on its data file.
#ifndef SPRIG_TOOLS_DEPOT_FILLING_H
#define SPRIG_TOOLS_DEPOT_FILLING_H

#include <optional>
#include <string>

#include <sprig/sprig.hpp>

#include "file.h"

namespace tool {

// The claim on an entry that is being filled. It ends with its owner, however that ends: what is
// being filled without a claim was left behind.
class Filling {
public:
  // Claims an entry; nothing where another process has claimed it, or it is not being filled. An
  // entry without a data file of its own can be claimed as well: nobody can be filling it.
  static std::optional<Filling> claim(sprig::Depot &depot, const std::string &id,
                                      const std::string &version);

private:
  explicit Filling(Descriptor lock) noexcept : lock_(std::move(lock)) {}

  Descriptor lock_;
};

} // namespace tool

#endif

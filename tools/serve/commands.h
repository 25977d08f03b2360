// Pause and cancel, from `sprig pause` and `sprig cancel` to the sender of a distribution: over a
// socket of its own, on which every connection is one command and its answer.
#ifndef SPRIG_TOOLS_SERVE_COMMANDS_H
#define SPRIG_TOOLS_SERVE_COMMANDS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include <sprig/sprig.hpp>

#include "address.h"

namespace tool {

// The sender's side.
class CommandSocket {
public:
  // Where it cannot be had, a warning says so, and no command will come.
  explicit CommandSocket(const std::string &distributionId);

  // Can be read from when a command is waiting; -1 where none can come.
  int get() const noexcept { return listener_ ? listener_->get() : -1; }
  // Takes one and answers how many receivers `carryOut` says that it has reached.
  // Throws Failure where the connection cannot be had.
  void take(const std::function<int32_t(sprig::Command)> &carryOut) const;

private:
  std::optional<Listener> listener_;
};

// Gives a command to the sender of a distribution, and returns how many receivers it has reached.
int32_t giveCommand(const std::string &distributionId, sprig::Command command);

} // namespace tool

#endif

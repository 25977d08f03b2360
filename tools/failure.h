// What a person is told when something cannot be done.
#ifndef SPRIG_TOOLS_FAILURE_H
#define SPRIG_TOOLS_FAILURE_H

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

#include "exit_status.h"

namespace tool {

// A failure with the name of what failed in its text, and a hint where there is something to try.
class Failure : public std::runtime_error {
public:
  explicit Failure(const std::string &text, std::string hint = {}, int status = failed)
      : std::runtime_error(text), hint_(std::move(hint)), status_(status) {}

  const std::string &hint() const noexcept { return hint_; }
  int status() const noexcept { return status_; }

private:
  std::string hint_;
  int status_;
};

// A system call on `name` that failed: "NAME: No such file or directory".
inline Failure systemFailure(const std::string &name, int error = errno, std::string hint = {}) {
  return Failure(name + ": " + std::generic_category().message(error), std::move(hint));
}

} // namespace tool

#endif

// Status files of distributions, and where the tests have them.
#ifndef SPRIG_TESTS_RECORDS_STATUS_H
#define SPRIG_TESTS_RECORDS_STATUS_H

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include <sprig/records.h>

#include "properties/layouts.h"
#include "support/temporary_directory.h"
#include "support/values.h"

namespace test {

// A variable of the environment that has another value, or none, for as long as it lives.
class Variable {
public:
  Variable(const char *name, const char *value) : name_(name) {
    if (const char *before = getenv(name)) {
      before_ = before;
    }
    set(value);
  }
  ~Variable() { set(before_ ? before_->c_str() : nullptr); }
  Variable(const Variable &) = delete;
  Variable &operator=(const Variable &) = delete;

  void set(const char *value) const {
    if (value == nullptr) {
      unsetenv(name_);
    } else {
      setenv(name_, value, 1);
    }
  }

private:
  const char *name_;
  std::optional<std::string> before_;
};

struct DeleteStatus {
  void operator()(Mstat *status) const { mstat_free(status); }
};
using StatusPtr = std::unique_ptr<Mstat, DeleteStatus>;

inline StatusPtr newStatus(const std::string &id, int alternative = 0) {
  return StatusPtr(mstat_new(id.c_str(), alternative));
}

using Names = std::set<std::string>;

inline Names namesIn(const std::string &directory) {
  Names names;
  for (const auto &entry : std::filesystem::directory_iterator(directory)) {
    names.insert(entry.path().filename());
  }
  return names;
}

// A test with a work directory of its own, in which status files are.
class StatusTest : public DirectoryTest {
protected:
  StatusTest() { registerTypes(); }

  std::string pathOf(const std::string &name) const { return statusDirectory + '/' + name; }

  const Variable workDirectory{"KRT_WORKDIR", directory.path().c_str()};
  const std::string statusDirectory = directory / "mstat";
};

} // namespace test

#endif

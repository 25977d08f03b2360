#include "status_reading.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>

#include <sprig/sprig.hpp>

#include "failure.h"
#include "output.h"
#include "reason.h"

namespace fs = std::filesystem;

namespace tool {
namespace {

constexpr const char *directoryHint = "KRT_WORKDIR names the directory above it";

std::string_view stateOf(const sprig::Status &status) {
  return status.has_failed()    ? "failed"
         : status.is_done()     ? "done"
         : status.is_complete() ? "complete"
         : status.is_paused()   ? "paused"
         : status.is_closed()   ? "closed"
                                : "receiving";
}

// Throws sprig::Error for a file that is no status.
DistributionStatus read(const std::string &id) {
  const sprig::Status status = sprig::Status::read(id);
  return {id,
          stateOf(status),
          status.received_length().value_or(0),
          status.total_length(),
          status.is_done() && !status.has_failed(),
          status.has_failed() ? status.failure() : ""};
}

std::string pathOf(const std::string &id, const char *suffix) {
  return statusDirectory() + '/' + id + suffix;
}

bool isThere(const std::string &id) {
  std::error_code error;
  return fs::exists(fs::symlink_status(pathOf(id, ".mds"), error)) ||
         fs::exists(fs::symlink_status(pathOf(id, ".mdf"), error));
}

Failure notRead(const std::string &id, const sprig::Error &error) {
  return Failure(printable(id) + ": its status cannot be read: " + printable(reasonOf(error)));
}

DistributionStatus readOne(const std::string &id) {
  if (id.find('/') == std::string::npos && isThere(id)) {
    try {
      return read(id);
    } catch (const sprig::Error &error) {
      throw notRead(id, error);
    }
  }
  throw Failure(printable(id) + ": no status of it is kept in " + printable(statusDirectory()),
                "\"sprig status\" shows those that are");
}

std::set<std::string> ids() {
  std::set<std::string> ids;
  std::error_code error;
  for (fs::directory_iterator entry(statusDirectory(), error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path name = entry->path().filename();
    if (name.extension() == ".mds" || name.extension() == ".mdf") {
      ids.insert(name.stem().string());
    }
  }
  if (error) {
    throw systemFailure(printable(statusDirectory()), error.value(), directoryHint);
  }
  return ids;
}

StatusFiles readAll() {
  StatusFiles files;
  for (const std::string &id : ids()) {
    try {
      files.readable.push_back(read(id));
    } catch (const sprig::Error &error) {
      if (isThere(id)) { // nobody has removed it meanwhile
        files.failures.emplace_back(notRead(id, error).what());
      }
    }
  }
  return files;
}

} // namespace

std::string DistributionStatus::shownTotal() const { return total ? shownSize(*total) : "-"; }

std::string DistributionStatus::shownPercent() const {
  if (!total) {
    return "-";
  }
  if (isDone) { // before, what has arrived may still be refused
    return "100 %";
  }
  const auto all = static_cast<double>(std::max<uint64_t>(*total, 1));
  const auto percent = 100 * static_cast<double>(received) / all;
  return std::to_string(static_cast<int>(std::min(percent, 99.0))) + " %";
}

std::string DistributionStatus::shown() const {
  return printable(id) + ": " + std::string(state) + ", " + shownSize(received) +
         (total ? " of " + shownTotal() + ", " + shownPercent() : "") +
         (failure.empty() ? "" : ": " + printable(failure));
}

nlohmann::ordered_json DistributionStatus::toJson() const {
  nlohmann::ordered_json json{{"id", id}, {"state", state}, {"received", received}};
  json["total"] = total ? nlohmann::ordered_json(*total) : nullptr;
  json["error"] = hasFailed() ? nlohmann::ordered_json(failure) : nullptr;
  return json;
}

StatusFiles readStatusFiles(const std::string &id) {
  return id.empty() ? readAll() : StatusFiles{{readOne(id)}, {}};
}

std::string statusDirectory() {
  try {
    return sprig::Status::directory();
  } catch (const std::runtime_error &) {
    const char *directory = getenv("KRT_WORKDIR");
    throw Failure(printable(directory == nullptr ? "" : directory) +
                      ": no directory for status files can be made there",
                  directoryHint);
  }
}

} // namespace tool

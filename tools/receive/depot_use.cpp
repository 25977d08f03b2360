#include "receive/depot_use.h"

#include <cstdlib>
#include <utility>

#include "depot/depot.h"
#include "depot/entries.h"
#include "failure.h"
#include "file.h"
#include "output.h"

namespace tool {

namespace {

// Streams find the depot by a line of a configuration file.
void refuseUnlessConfigurable(const std::string &directory) {
  static constexpr std::string_view blanks = " \t\r";
  if (directory.find('\n') != std::string::npos ||
      blanks.find(directory.back()) != std::string_view::npos) {
    throw Failure("its path ends with a blank, or has a newline in it");
  }
}

} // namespace

DepotUse::DepotUse(Options options) : options_(std::move(options)), why_(options_.whyNot) {
  if (!options_.isWanted) {
    return;
  }
  isUsable_ = true;
  try {
    refuseUnlessConfigurable(options_.directory);
    options_.directory = enterDepot(options_.directory, true);
  } catch (const std::exception &failure) {
    giveUp(failure.what());
    return;
  }
  opened();
}

// Its lock files lie in its directory, which is the current one.
std::optional<sprig::Depot> DepotUse::opened() {
  if (!isUsable_) {
    return std::nullopt;
  }
  try {
    return openDepot(options_.directory, options_.limit);
  } catch (const std::exception &failure) {
    giveUp(failure.what());
    return std::nullopt;
  }
}

void DepotUse::giveUp(const std::string &why) {
  const std::string name = options_.directory + ": ";
  isUsable_ = false;
  why_ = why.starts_with(name) ? why.substr(name.size()) : why;
  warn(why_);
}

void DepotUse::warn(const std::string &why) const {
  tool::warn("depot " + options_.directory + ": " + why + ": the data go through uncached");
}

void DepotUse::showStreams(const std::string &configurationFile) const {
  if (!isUsable_) {
    hideFromStreams();
    return;
  }
  OutputFile file(configurationFile);
  file.write("depot_dir=" + options_.directory + '\n');
  file.close();
  setenv("KRT_CONFIG", configurationFile.c_str(), 1);
}

void DepotUse::hideFromStreams() { setenv("KRT_CONFIG", "/dev/null/none", 1); }

std::vector<bool> DepotUse::lookUp(sprig::ConstTableView table) {
  std::vector<bool> isThere(table.size());
  std::optional<sprig::Depot> depot = opened();
  for (size_t i = 0; depot && i < table.size(); ++i) {
    const auto entry = depot->find(table[i].id(), table[i].version());
    if (entry && !hasOwnData(*entry)) { // which would go with it
      tool::discard(*depot, *entry);
    }
    isThere[i] = entry && entry->is_complete() && hasOwnData(*entry) && dataStatus(*entry);
  }
  return isThere;
}

void DepotUse::discard(sprig::ConstSegmentView segment) {
  if (std::optional<sprig::Depot> depot = opened()) {
    try {
      if (const auto entry = depot->find(segment.id(), segment.version())) {
        tool::discard(*depot, *entry);
      }
    } catch (const std::exception &failure) { // it stays
      warn(failure.what());
    }
  }
}

DepotUse::Result DepotUse::keep(sprig::ConstTableView table,
                                const std::vector<std::string> &paths) {
  Result result;
  if (!options_.isWanted || options_.keep.count() == 0 || paths.empty()) {
    return result;
  }
  std::optional<sprig::Depot> depot = opened();
  result.deadline = deadlineAfter(options_.keep.count());
  for (size_t i = 0; i < paths.size(); ++i) {
    const Kept kept =
        depot ? keepInDepot(*depot, table[i], paths[i], result.deadline) : Kept{false, why_};
    ++(kept.isKept ? result.kept : result.notKept);
    if (!kept.isKept && result.whyNot.empty()) {
      result.whyNot = kept.why;
    }
  }
  if (depot && result.notKept > 0) { // else it was told before
    warn(result.whyNot);
  }
  return result;
}

} // namespace tool

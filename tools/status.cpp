// `sprig status`: how far distributions have come, from their status files.
#include <cstddef>
#include <iostream>
#include <memory>
#include <string>

#include "home.h"
#include "json_line.h"
#include "output.h"
#include "status_reading.h"
#include "status_watch.h"
#include "subcommand.h"
#include "table.h"

namespace tool {
namespace {

struct Options {
  std::string id;
  bool isWatching = false;
  bool isJson = false;
};

void print(const StatusFiles &files, bool isJson) {
  if (isJson) {
    auto array = nlohmann::ordered_json::array();
    for (const DistributionStatus &status : files.readable) {
      array.push_back(status.toJson());
    }
    std::cout << jsonLine(array);
  } else {
    for (const std::string &line : statusTable(files.readable)) {
      std::cout << line << '\n';
    }
  }
}

int showStatus(const Options &options) {
  useWorkDirectory();
  if (options.isWatching) {
    return watchStatus(options.id, options.isJson);
  }
  const StatusFiles files = readStatusFiles(options.id);
  for (const std::string &failure : files.failures) {
    warn(failure);
  }
  print(files, options.isJson);
  return files.failures.empty() ? done : failed;
}

} // namespace

std::vector<std::string> statusTable(const std::vector<DistributionStatus> &statuses) {
  Table table({{"ID"},
               {"STATE"},
               {"RECEIVED", Align::right},
               {"TOTAL", Align::right},
               {"PERCENT", Align::right}});
  for (const DistributionStatus &status : statuses) {
    table.add({printable(status.id), std::string(status.state), shownSize(status.received),
               status.shownTotal(), status.shownPercent()});
  }
  std::vector<std::string> lines = table.lines();
  for (size_t i = statuses.size(); i > 0; --i) { // from the end, so that the places stay right
    if (const std::string &failure = statuses[i - 1].failure; !failure.empty()) {
      lines.insert(lines.begin() + static_cast<ptrdiff_t>(i) + 1, "  " + printable(failure));
    }
  }
  return lines;
}

void addStatus(CLI::App &program, Action &action) {
  CLI::App &subcommand =
      addSubcommand(program, "status", "Shows how far distributions have come on this machine",
                    "  sprig status\n"
                    "  sprig status site-2.1 --watch\n"
                    "  sprig status --json");
  const auto options = std::make_shared<Options>();
  subcommand.add_option("ID", options->id, "a distribution (default: all)");
  subcommand.add_flag("--watch", options->isWatching,
                      "go on until none of them is under way any more");
  subcommand.add_flag("--json", options->isJson,
                      "print an array of objects, or with --watch an object for each change");
  subcommand.callback([&action, options] { action = [options] { return showStatus(*options); }; });
}

} // namespace tool

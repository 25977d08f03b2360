// `sprig status`: how far distributions have come, from their status files.
#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <string>

#include "home.h"
#include "output.h"
#include "status_reading.h"
#include "status_watch.h"
#include "subcommand.h"

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
    std::cout << jsonLine(array) << '\n';
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

using Row = std::array<std::string, 5>;

Row rowOf(const DistributionStatus &status) {
  return {printable(status.id), std::string(status.state), shownSize(status.received),
          status.shownTotal(), status.shownPercent()};
}

Row widest(Row row, const Row &other) {
  for (size_t i = 0; i < row.size(); ++i) {
    row[i].resize(std::max(row[i].size(), other[i].size()));
  }
  return row;
}

// Names to the left, numbers to the right.
std::string alignedRow(const Row &row, const Row &widths) {
  constexpr size_t names = 2;
  std::string line;
  for (size_t i = 0; i < row.size(); ++i) {
    const std::string blanks(widths[i].size() - row[i].size(), ' ');
    line += (i == 0 ? "" : "  ") + (i < names ? row[i] + blanks : blanks + row[i]);
  }
  return line;
}

} // namespace

std::vector<std::string> statusTable(const std::vector<DistributionStatus> &statuses) {
  const Row header{"ID", "STATE", "RECEIVED", "TOTAL", "PERCENT"};
  Row widths = header;
  for (const DistributionStatus &status : statuses) {
    widths = widest(widths, rowOf(status));
  }
  std::vector<std::string> lines{alignedRow(header, widths)};
  for (const DistributionStatus &status : statuses) {
    lines.push_back(alignedRow(rowOf(status), widths));
    if (!status.failure.empty()) {
      lines.push_back("  " + printable(status.failure));
    }
  }
  return lines;
}

void warn(const std::string &failure) { std::cerr << "warning: " << failure << '\n'; }

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

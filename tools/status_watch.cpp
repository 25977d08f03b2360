#include "status_watch.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <set>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "json_line.h"
#include "output.h"
#include "receive/interrupt.h"
#include "subcommand.h"

namespace tool {
namespace {

using Statuses = std::vector<DistributionStatus>;
using Lines = std::vector<std::string>;

// Where changes appear.
class Display {
public:
  virtual ~Display() = default;
  virtual void show(const Statuses &statuses) = 0;
  // Something else has been printed.
  virtual void interrupt() {}
};

// A line for each distribution that has changed.
class LineDisplay : public Display {
public:
  explicit LineDisplay(bool isJson) : isJson_(isJson) {}

  void show(const Statuses &statuses) override {
    for (const DistributionStatus &status : statuses) {
      const auto [before, isNew] = shown_.try_emplace(status.id, status);
      if (isNew || before->second != status) {
        before->second = status;
        std::cout << (isJson_ ? jsonLine(status.toJson()) : status.shown() + '\n');
      }
    }
    std::cout.flush();
  }

private:
  bool isJson_;
  std::map<std::string, DistributionStatus> shown_;
};

// A table that is written over.
class TableDisplay : public Display {
public:
  void show(const Statuses &statuses) override {
    Lines lines = statusTable(statuses);
    cut(lines);
    if (lines != shown_) {
      draw(lines);
      shown_ = std::move(lines);
    }
  }

  void interrupt() override { shown_.clear(); }

private:
  // What scrolls out of sight cannot be written over.
  static void cut(Lines &lines) {
    winsize size{};
    const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 2;
    const size_t room = isKnown ? size.ws_row - 1U : lines.size();
    if (lines.size() > room) {
      const size_t left = lines.size() - (room - 1);
      lines.resize(room - 1);
      lines.push_back("and " + counted(left, "more line"));
    }
  }

  // Long lines are cut by the terminal.
  void draw(const Lines &lines) const {
    if (!shown_.empty()) {
      std::cout << "\x1b[" << shown_.size() << "A\x1b[J";
    }
    std::cout << "\x1b[?7l";
    for (const std::string &line : lines) {
      std::cout << line << '\n';
    }
    std::cout << "\x1b[?7h" << std::flush;
  }

  Lines shown_;
};

std::unique_ptr<Display> newDisplay(bool isJson) {
  return isJson || !isTerminal(STDOUT_FILENO)
             ? std::unique_ptr<Display>(std::make_unique<LineDisplay>(isJson))
             : std::make_unique<TableDisplay>();
}

bool isAnyUnderWay(const Statuses &statuses) {
  return std::any_of(statuses.begin(), statuses.end(),
                     [](const DistributionStatus &status) { return status.isUnderWay(); });
}

} // namespace

int watchStatus(const std::string &id, bool isJson) {
  constexpr int second = 1000;
  const InterruptHandler handler;
  const std::unique_ptr<Display> display = newDisplay(isJson);
  std::set<std::string> failures;
  while (!InterruptHandler::isInterrupted() && std::cout) {
    const StatusFiles files = readStatusFiles(id);
    for (const std::string &failure : files.failures) {
      if (failures.insert(failure).second) {
        warn(failure);
        display->interrupt();
      }
    }
    display->show(files.readable);
    if (!isAnyUnderWay(files.readable)) {
      return failures.empty() ? done : failed;
    }
    poll(nullptr, 0, second);
  }
  return interrupted;
}

} // namespace tool

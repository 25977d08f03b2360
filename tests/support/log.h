// What the library logs, kept for the test to look at.
#ifndef SPRIG_TESTS_SUPPORT_LOG_H
#define SPRIG_TESTS_SUPPORT_LOG_H

#include <ostream>
#include <string>
#include <vector>

namespace test {

struct LogLine {
  int level;
  std::string text;

  bool operator==(const LogLine &) const = default;
};

using Lines = std::vector<LogLine>;

std::ostream &operator<<(std::ostream &out, const LogLine &line);

// Takes every line of the log for as long as it lives. One at a time.
class Log {
public:
  Log();
  ~Log();
  Log(const Log &) = delete;
  Log &operator=(const Log &) = delete;

  // All lines, or those up to a level, in order.
  const Lines &lines() const { return lines_; }
  Lines upTo(int level) const;

  // How many lines are just that.
  long count(int level, const std::string &text) const;
  bool has(int level, const std::string &text) const { return count(level, text) > 0; }

  void clear() { lines_.clear(); }

private:
  Lines lines_;
};

} // namespace test

#endif

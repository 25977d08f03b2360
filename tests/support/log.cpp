#include "support/log.h"

#include <algorithm>
#include <iterator>

#include <sprig/runtime.h>

namespace test {

std::ostream &operator<<(std::ostream &out, const LogLine &line) {
  return out << line.level << ": " << line.text;
}

Log::Log() {
  runtime_set_log_sink(
      [](void *log, int level, const char *text) {
        static_cast<Log *>(log)->lines_.push_back({level, text});
      },
      this);
}

Log::~Log() { runtime_set_log_sink(nullptr, nullptr); }

Lines Log::upTo(int level) const {
  Lines kept;
  std::copy_if(lines_.begin(), lines_.end(), std::back_inserter(kept),
               [level](const LogLine &line) { return line.level <= level; });
  return kept;
}

long Log::count(int level, const std::string &text) const {
  return std::count(lines_.begin(), lines_.end(), LogLine{level, text});
}

} // namespace test

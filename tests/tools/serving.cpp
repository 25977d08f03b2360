#include "tools/serving.h"

#include <algorithm>
#include <csignal>
#include <regex>

#include <unistd.h>

namespace test {

std::string ServingTest::start(const std::string &directory, Arguments arguments) {
  if (std::find(arguments.begin(), arguments.end(), "--listen") == arguments.end()) {
    arguments.insert(arguments.begin(), {"--listen", "unix:s"});
  }
  arguments.insert(arguments.begin(), {"serve", directory});
  server_ = std::make_unique<RunningProgram>(arguments);
  return line();
}

Lines ServingTest::lines(size_t count) {
  Lines lines;
  while (lines.size() < count) {
    lines.push_back(line());
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

Outcome ServingTest::stop() {
  server_->send(SIGINT);
  return server_->wait();
}

std::string ServingTest::told(int number, const std::string &text) {
  return "receiver " + std::to_string(number) + " (process " + std::to_string(getpid()) +
         "): " + text;
}

std::string ServingTest::withoutAmount(const std::string &line) {
  static const std::regex amount(", [0-9.]+ [KMGi]*B:");
  return std::regex_replace(line, amount, ", SOME:");
}

} // namespace test

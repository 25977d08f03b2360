#include "support/ratios.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {
namespace {

using Times = std::map<int64_t, std::vector<double>>; // nanoseconds by size

double median(std::vector<double> times) {
  auto middle = times.begin() + static_cast<ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

class RatioReporter : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context &context) override {
    PrintBasicContext(&GetErrorStream(), context);
    return true;
  }

  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        add(run.run_name.function_name, run.run_name.args, run.GetAdjustedRealTime());
      }
    }
  }

  void Finalize() override {
    for (const auto &[group, subjects] : groups_) {
      print(group, subjects);
    }
  }

private:
  using Subjects = std::map<std::string, Times>;

  void add(const std::string &name, const std::string &size, double time) {
    const size_t slash = name.find('/');
    groups_[name.substr(0, slash)][name.substr(slash + 1)][std::stoll(size)].push_back(time);
  }

  static void print(const std::string &group, const Subjects &subjects) {
    const auto own = subjects.find("sprig");
    printf("\n%s\n", group.c_str());
    for (const auto &[subject, times] : subjects) {
      printf("  %-20s", subject.c_str());
      for (const auto &[size, samples] : times) {
        const double time = median(samples);
        const bool isComparable = own != subjects.end() && own->second.count(size) > 0;
        const double ratio = isComparable ? time / median(own->second.at(size)) : 0;
        printf("  %8lld: %10.1f ns %6.2fx", static_cast<long long>(size), time, ratio);
      }
      printf("\n");
    }
  }

  std::map<std::string, Subjects> groups_;
};

} // namespace

int run(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}

} // namespace bench

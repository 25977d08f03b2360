// The embedded runtime's values beside other ways to keep lists of names and values, by the number
// of fields; and the blocks that they are made of beside the system's, by their number. What an
// operation makes is released within the time that is measured.
#include <cstdio>
#include <exception>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "support/ratios.h"
#include "values/second_process.h"
#include "values/task.h"

namespace {

using bench::Operation;

struct Subject {
  std::string name;
  std::vector<int64_t> sizes;
  bench::TaskMaker make;
  bool usesRuntime;
};

std::vector<Subject> valueSubjects() {
  const struct {
    const char *name;
    Operation operation;
  } operations[] = {
      {"values-encode", Operation::encode},
      {"values-decode", Operation::decode},
      {"values-copy", Operation::copy},
      {"values-equal", Operation::equal},
  };
  const struct {
    const char *name;
    bench::Task (*make)(Operation, int64_t);
    bool usesRuntime;
  } formats[] = {
      {"sprig", bench::makeSprigTask, true},      {"protobuf", bench::makeProtobufTask, false},
      {"msgpack", bench::makeMsgpackTask, false}, {"gvariant", bench::makeGvariantTask, false},
      {"bytes", bench::makeBytesTask, false},
  };
  std::vector<int64_t> sizes(std::begin(bench::recordSizes), std::end(bench::recordSizes));
  sizes.push_back(bench::listSize);

  std::vector<Subject> subjects;
  subjects.reserve(std::size(operations) * std::size(formats));
  for (const auto &[group, operation] : operations) {
    for (const auto &[format, make, usesRuntime] : formats) {
      const auto makeOfSize = [make = make, operation = operation](int64_t size) {
        return make(operation, size);
      };
      subjects.push_back(
          {std::string(group).append("/").append(format), sizes, makeOfSize, usesRuntime});
    }
  }
  return subjects;
}

std::vector<Subject> allSubjects() {
  std::vector<Subject> subjects = valueSubjects();
  const std::vector<int64_t> counts = {8, 64, 1000};
  subjects.push_back({"blocks/sprig", counts, bench::makeSprigBlocksTask, true});
  subjects.push_back({"blocks/malloc", counts, bench::makeSystemBlocksTask, false});
  return subjects;
}

using Measurement = std::function<void(benchmark::State &)>;

benchmark::internal::Benchmark *registerSizes(const std::string &name, const Subject &subject,
                                              const Measurement &measurement) {
  auto *benchmark = benchmark::RegisterBenchmark(name.c_str(), measurement);
  for (const int64_t size : subject.sizes) {
    benchmark->Arg(size);
  }
  return benchmark;
}

int runAll(int argc, char **argv) {
  const std::vector<Subject> subjects = allSubjects();
  std::vector<bench::TaskMaker> makers;
  makers.reserve(subjects.size());
  for (const Subject &subject : subjects) {
    makers.push_back(subject.make);
  }
  // First of all, while the runtime has not yet decided where memory comes from.
  bench::SecondProcess second("KRT_MALLOC", "system", makers);
  bench::Tasks tasks(makers);
  for (size_t k = 0; k < subjects.size(); ++k) {
    registerSizes(subjects[k].name, subjects[k], [&tasks, k](benchmark::State &state) {
      const bench::Task &task = tasks.get(k, state.range(0));
      for (auto _ : state) {
        task();
      }
    });
    if (subjects[k].usesRuntime) {
      registerSizes(std::string(subjects[k].name).append(".system-malloc"), subjects[k],
                    [&second, k](benchmark::State &state) {
                      const int64_t times = state.max_iterations;
                      while (state.KeepRunningBatch(times)) {
                        state.SetIterationTime(second.seconds(k, state.range(0), times));
                      }
                    })
          ->UseManualTime();
    }
  }
  return bench::run(argc, argv);
}

} // namespace

int main(int argc, char **argv) {
  try {
    return runAll(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

// Property lists by key and as a whole, beside other ways to keep them, by the number of their
// properties. A time by key is that of one key: a task goes through all of a list's.
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "properties/task.h"
#include "support/ratios.h"

namespace {

constexpr int64_t sizes[] = {8, 20, 60};

// Measures a task that does so many things at once.
void add(const std::string &name, int64_t size, const bench::Task &task, int64_t count) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
    while (state.KeepRunningBatch(count)) {
      task();
    }
  })->Arg(size);
}

void addByName(bench::Naming naming, const std::string &groups) {
  const std::pair<const char *, bench::ByName (*)(const bench::Names &)> subjects[] = {
      {"sprig", bench::makeSprigByName},
      {"scan", bench::makeScanByName},
      {"protobuf", bench::makeProtobufByName},
  };
  for (const auto &[subject, make] : subjects) {
    for (const int64_t size : sizes) {
      const bench::ByName tasks = make(bench::makeNames(naming, static_cast<size_t>(size)));
      add(groups + "-get/" + subject, size, tasks.get, size + 2);
      add(groups + "-put/" + subject, size, tasks.put, size);
      add(groups + "-build/" + subject, size, tasks.build, size);
    }
  }
}

void addAsAWhole(const bench::Directory &directory) {
  const std::pair<const char *, bench::AsAWhole (*)(const bench::Record &, const std::string &)>
      subjects[] = {
          {"sprig", bench::makeSprigAsAWhole},
          {"bytes", bench::makeBytesAsAWhole},
          {"protobuf", bench::makeProtobufAsAWhole},
      };
  for (const auto &[subject, make] : subjects) {
    for (const int64_t size : sizes) {
      const std::string path = directory / (subject + std::to_string(size));
      const bench::AsAWhole tasks = make(bench::makeRecord(static_cast<size_t>(size)), path);
      add(std::string("properties-clone/").append(subject), size, tasks.clone, 1);
      add(std::string("properties-equal/").append(subject), size, tasks.equal, 1);
      add(std::string("properties-save/").append(subject), size, tasks.save, 1);
      add(std::string("properties-load/").append(subject), size, tasks.load, 1);
    }
  }
}

} // namespace

int main(int argc, char **argv) {
  try {
    const bench::Directory directory;
    addByName(bench::Naming::numbered, "numbered");
    addByName(bench::Naming::words, "words");
    addAsAWhole(directory);
    return bench::run(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

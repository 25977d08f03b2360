// Records: tables of contents by the number of their segments, at a time for each segment; and
// status files by the number of their properties.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <map>
#include <string>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "records/task.h"
#include "support/ratios.h"

namespace {

constexpr int64_t segmentCounts[] = {1000, 100000};
constexpr int64_t statusSizes[] = {6, 20};

// Tables of contents, prepared when they are first measured.
class Subject {
public:
  Subject(const char *name, bench::OfSegments (*make)(const bench::List &))
      : name_(name), make_(make) {}

  std::string name() const { return name_; }
  const bench::OfSegments &of(int64_t count) {
    const auto found = made_.find(count);
    return found != made_.end()
               ? found->second
               : made_[count] = make_(bench::makeSegments(static_cast<size_t>(count)));
  }

private:
  const char *name_;
  bench::OfSegments (*make_)(const bench::List &);
  std::map<int64_t, bench::OfSegments> made_;
};

void add(const std::string &group, Subject &subject, bench::Task bench::OfSegments::*task) {
  for (const int64_t count : segmentCounts) {
    benchmark::RegisterBenchmark((group + subject.name()).c_str(), [=, &subject](
                                                                       benchmark::State &state) {
      const bench::Task &measured = subject.of(count).*task;
      while (state.KeepRunningBatch(count)) {
        measured();
      }
    })->Arg(count);
  }
}

void addRelease(Subject &subject) {
  for (const int64_t count : segmentCounts) {
    benchmark::RegisterBenchmark(("toc-free/" + subject.name()).c_str(),
                                 [=, &subject](benchmark::State &state) {
                                   const bench::TimedTask &measured = subject.of(count).free;
                                   while (state.KeepRunningBatch(count)) {
                                     state.SetIterationTime(measured());
                                   }
                                 })
        ->Arg(count)
        ->UseManualTime();
  }
}

void addSegments(Subject &sprig, Subject &scan, Subject &protobuf, Subject &bytes) {
  for (Subject *subject : {&sprig, &scan}) {
    add("toc-build/", *subject, &bench::OfSegments::build);
  }
  for (Subject *subject : {&sprig, &protobuf, &bytes}) {
    add("toc-clone/", *subject, &bench::OfSegments::clone);
    add("toc-encode/", *subject, &bench::OfSegments::encode);
  }
  for (Subject *subject : {&sprig, &protobuf}) {
    addRelease(*subject);
  }
}

void add(const std::string &name, int64_t size, const bench::Task &task) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State &state) {
    for (auto _ : state) {
      task();
    }
  })->Arg(size);
}

void addStatus(const std::string &directory) {
  const struct {
    const char *name;
    bench::OfStatus (*make)(const bench::Record &, const std::string &);
  } subjects[] = {
      {"sprig", bench::makeSprigOfStatus},
      {"in-place", bench::makeListOfStatus},
      {"calls", bench::makeCallsOfStatus},
  };
  for (const auto &[name, make] : subjects) {
    for (const int64_t size : statusSizes) {
      const bench::OfStatus tasks = make(bench::makeStatus(static_cast<size_t>(size)), directory);
      add(std::string("status-save/").append(name), size, tasks.save);
      add(std::string("status-load/").append(name), size, tasks.load);
    }
  }
}

int runAll(int argc, char **argv) {
  const bench::Directory directory;
  Subject sprig("sprig", bench::makeSprigOfSegments);
  Subject scan("scan", bench::makeScanOfSegments);
  Subject protobuf("protobuf", bench::makeProtobufOfSegments);
  Subject bytes("bytes", bench::makeBytesOfSegments);
  addSegments(sprig, scan, protobuf, bytes);
  addStatus(directory / "");
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

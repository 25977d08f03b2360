// From opening a stream to its first byte, by the number of its segments, all of which are in the
// depot. A time is that of the whole.
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <sprig/streams.h>

#include "depot/entry.h"
#include "depot/files.h"
#include "depot/workspace.h"
#include "streams/reader.h"
#include "streams/sprig_stream.h"
#include "support/ratios.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t contentSize = 100; // of a segment

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// Entries that so many have registered for that none goes when a stream is closed.
std::vector<bench::Entry> fillDepot(const std::string &directory, uint32_t size) {
  bench::require(mkdir(directory.c_str(), 0700) == 0, directory);
  std::array<uint32_t, bench::bucketCount> nextIndex{};
  std::vector<bench::Entry> entries;
  for (uint32_t number = 0; number < size; ++number) {
    bench::Entry entry = bench::makeEntry(bench::Spread::allBuckets, number);
    bench::nameFiles(entry, directory, nextIndex[bench::bucketOf(entry)]++);
    std::string text = bench::tocText(entry, true);
    text.insert(text.find(bench::behindIdentity) + std::string(bench::behindIdentity).size(),
                "100000"); // in front of the 1
    bench::require(bench::writeText(entry.tocPath, text, O_EXCL), entry.tocPath);
    bench::require(bench::writeText(entry.dataPath, std::string(contentSize, 'x'), O_EXCL),
                   entry.dataPath);
    entries.push_back(std::move(entry));
  }
  return entries;
}

// A depot, and a table of contents with all of it.
class Distribution {
public:
  Distribution(const std::string &directory, uint32_t size) : entries_(fillDepot(directory, size)) {
    sprig_init();
    segments_.reset(properties_list_new());
    for (const bench::Entry &entry : entries_) {
      Properties segment{};
      properties_put_string_dup(&segment, SEGMENT_ID_KEY, entry.id.c_str());
      properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, entry.version.c_str());
      properties_put_string_dup(&segment, SEGMENT_LOCATION_KEY, "/source/segment.dat");
      properties_put_long_dup(&segment, SEGMENT_SIZE_KEY, contentSize);
      properties_put_long_dup(&segment, SEGMENT_OFFSET_KEY, 0);
      seq_add(segments_.get(), &segment, sizeof segment);
    }
    config_ = directory + ".cfg";
    bench::require(bench::writeText(config_, "depot_dir=" + directory + "\n", 0), config_);
  }

  const std::vector<bench::Entry> &entries() const { return entries_; }
  const PropertiesList *segments() const { return segments_.get(); }
  const std::string &config() const { return config_; }

private:
  std::vector<bench::Entry> entries_;
  bench::Segments segments_;
  std::string config_;
};

class Distributions {
public:
  const Distribution &get(int64_t size) {
    auto &distribution = distributions_[size];
    if (!distribution) {
      distribution.emplace(workspace_ / ("depot-" + std::to_string(size)),
                           static_cast<uint32_t>(size));
    }
    return *distribution;
  }

private:
  bench::Workspace workspace_;
  std::map<int64_t, std::optional<Distribution>> distributions_;
};

// Each gives the time until the first byte is there.
double openStream(const Distribution &distribution) {
  setenv("KRT_CONFIG", distribution.config().c_str(), 1);
  uint8_t bytes[] = {2, 0, 0, 'd', 0};
  StreamKey key{sizeof bytes, sizeof bytes, bytes};
  const Clock::time_point start = Clock::now();
  NetStream *stream = net_stream_open(&key, nullptr);
  net_stream_save_modified_toc(stream, distribution.segments());
  unsigned char *piece = nullptr;
  const int32_t count = net_stream_read(stream, &piece);
  const double seconds = secondsSince(start);
  bench::require(count == contentSize, "net_stream_read");
  net_stream_free_buffer(stream, piece);
  net_stream_close(stream);
  return seconds;
}

// The system calls that this cannot do without: what is known of each entry is read, and its data
// are asked for their size.
double callSystem(const Distribution &distribution) {
  const auto piece = std::make_unique<char[]>(bench::pieceSize);
  std::string text;
  const Clock::time_point start = Clock::now();
  for (const bench::Entry &entry : distribution.entries()) {
    struct stat status {};
    bench::require(bench::readText(entry.tocPath, text), entry.tocPath);
    bench::require(stat(entry.dataPath.c_str(), &status) == 0, entry.dataPath);
  }
  const int file = open(distribution.entries()[0].dataPath.c_str(), O_RDONLY | O_CLOEXEC);
  const ssize_t count = read(file, piece.get(), bench::pieceSize);
  const double seconds = secondsSince(start);
  close(file);
  bench::require(count == contentSize, "read");
  return seconds;
}

void add(const char *name, Distributions &distributions,
         double (*measure)(const Distribution &distribution)) {
  benchmark::RegisterBenchmark(name,
                               [=, &distributions](benchmark::State &state) {
                                 const Distribution &distribution =
                                     distributions.get(state.range(0));
                                 for (auto _ : state) {
                                   state.SetIterationTime(measure(distribution));
                                 }
                               })
      ->Arg(100)
      ->Arg(1000)
      ->Arg(10000)
      ->UseManualTime();
}

} // namespace

int main(int argc, char **argv) {
  try {
    Distributions distributions;
    add("open-depot/sprig", distributions, openStream);
    add("open-depot/calls", distributions, callSystem);
    return bench::run(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

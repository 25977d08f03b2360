// Streams over files. A large file beside other ways to read it, by its size in MiB, at a time for
// each piece of 16 KiB; and many files, by their number, at a time for each.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "streams/names.h"
#include "streams/reader.h"
#include "support/ratios.h"

namespace {

constexpr size_t mebibyte = size_t{1} << 20;
constexpr int64_t largeSize = 256; // MiB: more than any cache holds
constexpr size_t tinySize = 100;

using Content = std::vector<char>;

// Bytes that repeat late.
Content contentOf(size_t size) {
  Content content(size);
  for (size_t i = 0; i < size; ++i) {
    content[i] = static_cast<char>(i * 7 + i / 251 + i / 65521);
  }
  return content;
}

void append(int file, const Content &content) {
  if (write(file, content.data(), content.size()) != static_cast<ssize_t>(content.size())) {
    throw std::runtime_error("write");
  }
}

int create(const std::string &path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file == -1) {
    throw std::runtime_error(path);
  }
  return file;
}

// Files that are made when they are first asked for.
class Files {
public:
  // In large writes, so that the system keeps it in large pieces too.
  const std::string &large(int64_t mebibytes) {
    std::string &path = large_[mebibytes];
    if (path.empty()) {
      path = directory_ / ("large-" + std::to_string(mebibytes));
      const int file = create(path);
      const Content content = contentOf(mebibyte);
      for (int64_t i = 0; i < mebibytes; ++i) {
        append(file, content);
      }
      fsync(file);
      close(file);
    }
    return path;
  }

  const bench::Paths &tiny(int64_t count) {
    bench::Paths &paths = tiny_[count];
    if (paths.empty()) {
      paths = names(count);
      const Content content = contentOf(tinySize);
      for (const std::string &path : paths) {
        const int file = create(path);
        append(file, content);
        close(file);
      }
    }
    return paths;
  }

  bench::Paths names(int64_t count) const {
    bench::Paths paths;
    for (int64_t i = 0; i < count; ++i) {
      paths.push_back(directory_ / ("segment-" + std::to_string(i) + ".dat"));
    }
    return paths;
  }

  std::string operator/(const std::string &name) const { return directory_ / name; }

private:
  bench::Directory directory_;
  std::map<int64_t, std::string> large_;
  std::map<int64_t, bench::Paths> tiny_;
};

// A consumer that keeps the last so many pieces. Returns how many there were.
int64_t readAll(bench::Reader &reader, size_t held) {
  std::vector<bench::Piece> kept(held);
  size_t count = 0;
  for (size_t size = 1; size > 0; ++count) {
    bench::Piece &oldest = kept[count % held];
    reader.release(oldest);
    oldest = reader.next();
    size = oldest.size;
    benchmark::DoNotOptimize(oldest.data);
    benchmark::ClobberMemory();
  }
  for (const bench::Piece &piece : kept) {
    reader.release(piece);
  }
  return static_cast<int64_t>(count) - 1;
}

// Moves the blocks that come next to another place. How fast the system copies to a block depends
// on the end of its address, so that a subject's luck would decide; with this, all go through the
// same.
class Shift {
public:
  explicit Shift(size_t number) : block_(std::make_unique<char[]>(smallest + number % 64 * 208)) {}

private:
  static constexpr size_t smallest = 2048;
  std::unique_ptr<char[]> block_;
};

void measureReading(benchmark::State &state, bench::ReaderMaker make, size_t held,
                    const std::string &path, size_t number) {
  const auto count = state.range(0) * static_cast<int64_t>(mebibyte / bench::pieceSize);
  while (state.KeepRunningBatch(count)) {
    const Shift shift(number++);
    benchmark::DoNotOptimize(readAll(*make(path), held));
  }
}

void verify(bench::ReaderMaker make, const std::string &path, const Content &content) {
  const auto reader = make(path);
  size_t place = 0;
  for (size_t size = 1; size > 0; place += size) {
    const bench::Piece piece = reader->next();
    const auto *data = static_cast<const char *>(piece.data);
    size = piece.size;
    if (size > content.size() - place ||
        !std::equal(data, data + size, content.begin() + static_cast<ptrdiff_t>(place))) {
      throw std::runtime_error("a file came back as another");
    }
    reader->release(piece);
  }
  if (place != content.size()) {
    throw std::runtime_error("a file came back shorter");
  }
}

void addReaders(Files &files) {
  const struct {
    const char *name;
    bench::ReaderMaker make;
  } subjects[] = {
      {"sprig", bench::makeSprigReader},   {"calloc+read+free", bench::makeCallocReader},
      {"gio", bench::makeGioReader},       {"malloc+read+free", bench::makeMallocReader},
      {"fread", bench::makeFreadReader},   {"gio-bytes", bench::makeGioBytesReader},
      {"reused", bench::makeReusedReader},
  };
  const struct {
    const char *name;
    size_t held;
  } consumers[] = {{"stream-read/", 1}, {"stream-read-held/", 64}};

  const Content content = contentOf(3 * bench::pieceSize + tinySize);
  const std::string path = files / "verified";
  const int file = create(path);
  append(file, content);
  close(file);
  for (const auto &[name, make] : subjects) {
    verify(make, path, content);
    for (const auto &[group, held] : consumers) {
      const auto measure = [&files, make = make, held = held,
                            number = size_t{0}](benchmark::State &state) mutable {
        measureReading(state, make, held, files.large(state.range(0)), number++);
      };
      benchmark::RegisterBenchmark(std::string(group).append(name).c_str(), measure)
          ->Arg(largeSize);
    }
  }
}

// Measures a task that is made for so many files.
template <class MakeTask>
void addNames(const char *name, const std::vector<int64_t> &counts, MakeTask makeTask) {
  auto *benchmark = benchmark::RegisterBenchmark(name, [=](benchmark::State &state) {
    const bench::Task task = makeTask(state.range(0));
    task();
    while (state.KeepRunningBatch(state.range(0))) {
      task();
    }
  });
  for (const int64_t count : counts) {
    benchmark->Arg(count);
  }
}

void addNames(Files &files) {
  const std::vector<int64_t> counts = {20, 1000, 100000};
  const auto complete = [&files](bench::Task (*make)(const bench::Paths &)) {
    return [&files, make](int64_t count) { return make(files.names(count)); };
  };
  addNames("stream-complete/sprig", counts, complete(bench::makeSprigCompleteTask));
  addNames("stream-complete/hash", counts, complete(bench::makeHashCompleteTask));
  addNames("stream-complete/scan", {20, 1000}, complete(bench::makeScanCompleteTask));
  const auto tiny = [&files](bench::Task (*make)(const bench::Paths &, size_t)) {
    return [&files, make](int64_t count) { return make(files.tiny(count), tinySize); };
  };
  addNames("stream-tiny/sprig", counts, tiny(bench::makeSprigTinyTask));
  addNames("stream-tiny/calls", counts, tiny(bench::makeCallsTinyTask));
}

} // namespace

int main(int argc, char **argv) {
  try {
    Files files;
    addReaders(files);
    addNames(files);
    return bench::run(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

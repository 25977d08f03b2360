// Receiving through a stream: over a channel, in messages of 16 KiB of data, and 256 MiB out of a
// file, in pieces of as much. A time is that of one message or piece. Messages come in short
// rounds, which now and then have the processors for themselves on a machine that is in use.
#include <cstdint>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "streams/messages.h"
#include "streams/net_readers.h"
#include "streams/reader.h"
#include "support/ratios.h"

namespace {

constexpr int64_t totalSize = int64_t{256} << 20; // more than any cache holds
constexpr int64_t pieceCount = totalSize / int64_t{bench::pieceSize};
constexpr int64_t messageCount = 1024;
constexpr size_t writeSize = size_t{1} << 20;

constexpr bench::Subject subjects[] = {
    {"sprig", bench::makeSprigReceiver, bench::makeSprigSender},
    {"socket", bench::makeSocketReceiver, bench::makeSocketSender},
    {"zeromq", bench::makeZeromqReceiver, bench::makeZeromqSender},
};

constexpr struct {
  const char *name;
  bench::ReaderMaker make;
} readers[] = {
    {"sprig", bench::makeNetReader},
    {"sprig-polled", bench::makePolledReader},
    {"malloc+read+free", bench::makeMallocReader},
    {"calloc+read+free", bench::makeCallocReader},
};

// A large file, made when it is first asked for; in large writes, so that the system keeps it in
// large pieces too.
class LargeFile {
public:
  const std::string &path() {
    if (path_.empty()) {
      path_ = directory_ / "large";
      write();
    }
    return path_;
  }

private:
  void write() const {
    const std::vector<char> content(writeSize, 'x');
    const int file = open(path_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    for (int64_t size = 0; size < totalSize; size += writeSize) {
      if (::write(file, content.data(), writeSize) != ssize_t{writeSize}) {
        throw std::runtime_error(path_);
      }
    }
    fsync(file);
    close(file);
  }

  bench::Directory directory_;
  std::string path_;
};

int64_t readAll(bench::Reader &reader) {
  int64_t size = 0;
  for (;;) {
    const bench::Piece piece = reader.next();
    if (piece.size == 0) {
      reader.release(piece);
      return size;
    }
    benchmark::DoNotOptimize(piece.data);
    size += static_cast<int64_t>(piece.size);
    reader.release(piece);
  }
}

void measureFile(benchmark::State &state, bench::ReaderMaker make, LargeFile &file) {
  const std::string &path = file.path();
  while (state.KeepRunningBatch(pieceCount)) {
    if (readAll(*make(path)) != totalSize) {
      throw std::runtime_error("a file came back as another");
    }
  }
}

} // namespace

int main(int argc, char **argv) {
  try {
    for (const bench::Subject &subject : subjects) {
      bench::addExchange("receive", subject, messageCount);
    }
    LargeFile file;
    for (const auto &[name, make] : readers) {
      benchmark::RegisterBenchmark(
          (std::string("receive-file/") + name).c_str(),
          [&file, make = make](benchmark::State &state) { measureFile(state, make, file); })
          ->Arg(bench::dataSize);
    }
    return bench::run(argc, argv);
  } catch (const std::exception &error) {
    (void)fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

#include "streams/names.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "streams/reader.h"
#include "streams/sprig_stream.h"

namespace bench {
namespace {

void require(bool condition) {
  if (!condition) {
    throw std::runtime_error("a stream is not what its files are");
  }
}

// Two lists that take turns, so that nothing is known of a list from the stream before.
class TwoLists {
public:
  TwoLists(const Paths &paths, int32_t size, int32_t offset)
      : current_(segmentsOf(paths, size, offset)), other_(segmentsOf(paths, size, offset)) {}

  PropertiesList *next() {
    std::swap(current_, other_);
    return current_.get();
  }

private:
  Segments current_;
  Segments other_;
};

// Cuts the names off a copy of a text and hands them on: take(name). The id is left out.
template <class Take> void takeNames(const std::string &text, Take &&take) {
  std::string copy = text;
  char *rest = copy.data();
  strsep(&rest, ",");
  while (const char *name = strsep(&rest, ",")) {
    take(name);
  }
}

size_t readFile(const char *path) {
  std::array<char, pieceSize> buffer; // NOLINT: it is written before it is read
  const int file = open(path, O_RDONLY);
  size_t size = 0;
  for (ssize_t count = 1; count > 0; size += static_cast<size_t>(count)) {
    count = read(file, buffer.data(), buffer.size());
    require(count >= 0);
    benchmark::ClobberMemory();
  }
  close(file);
  return size;
}

} // namespace

Task makeSprigCompleteTask(const Paths &paths) {
  const auto lists = std::make_shared<TwoLists>(paths, 1, 1);
  return [=, text = textOf(paths)] {
    SprigStream stream(text, lists->next());
    unsigned char *piece = nullptr;
    require(stream.read(&piece) == 0);
  };
}

Task makeHashCompleteTask(const Paths &paths) {
  return [=, text = textOf(paths)] {
    std::unordered_map<std::string_view, size_t> index(paths.size());
    for (size_t i = 0; i < paths.size(); ++i) {
      index.emplace(paths[i], i);
    }
    takeNames(text, [&](const char *name) { require(index.count(name) == 1); });
  };
}

Task makeScanCompleteTask(const Paths &paths) {
  return [=, text = textOf(paths)] {
    takeNames(text, [&](const char *name) {
      require(std::any_of(paths.begin(), paths.end(), [=](const std::string &path) {
        return strcmp(path.c_str(), name) == 0;
      }));
    });
  };
}

Task makeSprigTinyTask(const Paths &paths, size_t size) {
  const auto lists = std::make_shared<TwoLists>(paths, static_cast<int32_t>(size), 0);
  return [=, count = paths.size(), text = textOf(paths)] {
    SprigStream stream(text, lists->next());
    unsigned char *piece = nullptr;
    for (size_t i = 0; i < count; ++i) {
      require(stream.read(&piece) == static_cast<int32_t>(size));
      mg_free(piece);
      require(stream.read(&piece) == 0);
    }
  };
}

Task makeCallsTinyTask(const Paths &paths, size_t size) {
  return [=] {
    for (const std::string &path : paths) {
      require(readFile(path.c_str()) == size);
    }
  };
}

} // namespace bench

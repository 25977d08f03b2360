#include <algorithm>
#include <cstdlib>
#include <cstring>

#include <benchmark/benchmark.h>

#include "properties/files.h"
#include "properties/task.h"

namespace bench {

AsAWhole makeBytesAsAWhole(const Record &record, const std::string &path) {
  (void)makeSprigAsAWhole(record, path); // saves it
  const std::string bytes = readFile(path);
  return {[bytes] {
            auto *block = static_cast<char *>(malloc(bytes.size()));
            std::copy(bytes.begin(), bytes.end(), block);
            benchmark::DoNotOptimize(block);
            benchmark::ClobberMemory();
            free(block);
          },
          [bytes, other = bytes] {
            benchmark::DoNotOptimize(memcmp(bytes.data(), other.data(), bytes.size()));
          },
          [=] { writeFile(path, bytes); }, [=] { benchmark::DoNotOptimize(readFile(path)); }};
}

} // namespace bench

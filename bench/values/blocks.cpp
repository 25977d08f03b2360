#include <algorithm>
#include <cstdlib>
#include <vector>

#include <benchmark/benchmark.h>

#include <sprig/framework.h>

#include "values/task.h"

namespace bench {
namespace {

std::vector<size_t> blockSizes(int64_t count) {
  std::vector<size_t> sizes(static_cast<size_t>(count));
  uint32_t state = 1;
  std::generate(sizes.begin(), sizes.end(), [&] {
    state = state * 1664525 + 1013904223;
    return 16 + (state >> 8) % 33;
  });
  return sizes;
}

template <void *(*allocate)(size_t), void (*release)(void *)> Task makeTask(int64_t count) {
  const std::vector<size_t> sizes = blockSizes(count);
  return [sizes, blocks = std::vector<void *>(sizes.size())]() mutable {
    std::transform(sizes.begin(), sizes.end(), blocks.begin(), allocate);
    benchmark::DoNotOptimize(blocks.data());
    benchmark::ClobberMemory();
    std::for_each(blocks.begin(), blocks.end(), release);
  };
}

} // namespace

Task makeSprigBlocksTask(int64_t count) { return makeTask<mg_malloc, mg_free>(count); }

Task makeSystemBlocksTask(int64_t count) { return makeTask<malloc, free>(count); }

} // namespace bench

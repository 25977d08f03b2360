// Finding a tag in documents of growing size that hold every trap for a search: the name all over,
// opening tags that never end, closing tags that do not match. Times grow with the size, no more.
#include <string>

#include <benchmark/benchmark.h>

#include <sprig/encoding.h>

namespace {

std::string repeat(const std::string &piece, size_t size) {
  std::string text;
  while (text.size() < size) {
    text += piece;
  }
  return text;
}

void measure(const std::string &name, std::string (*document)(size_t)) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [=](benchmark::State &state) {
                                 std::string text = document(static_cast<size_t>(state.range(0)));
                                 for (auto _ : state) {
                                   benchmark::DoNotOptimize(
                                       getTagRanges("id", text.data(), nullptr));
                                 }
                               })
      ->Arg(1 << 10)
      ->Arg(1 << 14)
      ->Arg(1 << 18);
}

} // namespace

void registerTags() {
  measure("tags/last-in-document",
          [](size_t size) { return repeat("text ", size) + "<id>1</id>."; });
  measure("tags/names-only", [](size_t size) { return repeat("id", size); });
  measure("tags/unended-openings", [](size_t size) { return repeat("<id ", size); });
  measure("tags/unmatched-closings", [](size_t size) { return "<id>" + repeat("</id ", size); });
}

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include <benchmark/benchmark.h>

#include "records/sprig_lists.h"
#include "records/task.h"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

// The records alone; their descriptions stay.
struct ReleaseRecords {
  void operator()(Toc *toc) const {
    toc_free_buffer(toc);
    mg_free(toc);
  }
};
using Records = std::unique_ptr<Toc, ReleaseRecords>;

struct ReleaseAll {
  void operator()(Toc *toc) const { toc_delete(toc); }
};
using OwnedToc = std::unique_ptr<Toc, ReleaseAll>;

Octets encodingOf(const PropertiesList *list) {
  uint8_t *data = nullptr;
  uint32_t length = 0;
  properties_encode(TC_NEX_Sprig2_PropertiesList, list, &data, &length);
  Octets octets(data, data + length);
  mg_free(data);
  return octets;
}

double secondsToRelease(OwnedToc toc) {
  const auto start = Clock::now();
  toc.reset();
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void verify(const Toc *toc, const List &segments) {
  const OwnedToc copy(toc_clone(toc));
  const Segment &last = *copy->segments[copy->count - 1];
  if (encodingOf(copy->list) != encodingOf(toc->list) ||
      static_cast<size_t>(copy->count) != segments.size() ||
      last.id != std::get<std::string>(segments.back()[0].value) ||
      last.size != std::get<int32_t>(segments.back()[3].value)) {
    throw std::runtime_error("a table of contents came back as another");
  }
}

// One of the members of a record, from the list that it is read from.
const void *find(const Properties &list, const char *key) {
  const Property *end = list.buffer + list.length;
  const Property *found = list.buffer;
  while (found != end && strcmp(found->key, key) != 0) {
    ++found;
  }
  return found == end ? nullptr : found->value.value;
}

} // namespace

OfSegments makeSprigOfSegments(const List &segments) {
  const std::shared_ptr<PropertiesList> list = listOf(segments);
  const std::shared_ptr<Toc> toc = Records(toc_from_properties(list.get()));
  verify(toc.get(), segments);
  return {[=] { benchmark::DoNotOptimize(Records(toc_from_properties(list.get()))); },
          [=] { benchmark::DoNotOptimize(OwnedToc(toc_clone(toc.get()))); },
          [=] {
            uint8_t *data = nullptr;
            uint32_t length = 0;
            properties_encode(TC_NEX_Sprig2_PropertiesList, list.get(), &data, &length);
            mg_free(data);
          },
          [=] { return secondsToRelease(OwnedToc(toc_clone(toc.get()))); }};
}

OfSegments makeBytesOfSegments(const List &segments) {
  const Task move = [bytes = encodingOf(listOf(segments).get())] {
    void *block = malloc(bytes.size());
    benchmark::DoNotOptimize(memcpy(block, bytes.data(), bytes.size()));
    benchmark::ClobberMemory();
    free(block);
  };
  return {nullptr, move, move, nullptr};
}

OfSegments makeScanOfSegments(const List &segments) {
  static constexpr const char *keys[] = {"id",           "version",       "location",
                                         "size",         "offset",        "ctime",
                                         "mtime",        "checksum",      "disposable",
                                         "is_result",    "is_collection", "del_at_src",
                                         "xpk_manager",  "xpk_packageid", "xpk_destination",
                                         "xpk_username", "xpk_password"};
  struct Members {
    const void *values[std::size(keys)];
  };
  const std::shared_ptr<PropertiesList> list = listOf(segments);
  const Task build = [=] {
    std::vector<std::unique_ptr<Members>> records(list->length);
    for (uint32_t i = 0; i < list->length; ++i) {
      records[i] = std::make_unique<Members>();
      std::transform(std::begin(keys), std::end(keys), records[i]->values,
                     [&](const char *key) { return find(list->buffer[i], key); });
    }
    benchmark::DoNotOptimize(records.data());
  };
  return {build, nullptr, nullptr, nullptr};
}

} // namespace bench

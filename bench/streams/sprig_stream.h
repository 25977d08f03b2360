// Streams over named files, and the descriptions of what they read.
#ifndef SPRIG_BENCH_STREAMS_SPRIG_STREAM_H
#define SPRIG_BENCH_STREAMS_SPRIG_STREAM_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <sprig/streams.h>

namespace bench {

struct ReleaseList {
  void operator()(PropertiesList *list) const {
    properties_list_delete(list);
    mg_free(list);
  }
};
using Segments = std::unique_ptr<PropertiesList, ReleaseList>;

// A segment for each file, all of one size, of which so much has arrived.
inline Segments segmentsOf(const std::vector<std::string> &paths, int32_t size, int32_t offset) {
  sprig_init();
  Segments segments(properties_list_new());
  for (const std::string &path : paths) {
    Properties segment{};
    properties_put_string_dup(&segment, SEGMENT_ID_KEY, "segment");
    properties_put_string_dup(&segment, SEGMENT_VERSION_KEY, "1");
    properties_put_long_dup(&segment, SEGMENT_SIZE_KEY, size);
    properties_put_long_dup(&segment, SEGMENT_OFFSET_KEY, offset);
    properties_put_string_dup(&segment, SEGMENT_DATA_PATH_KEY, path.c_str());
    seq_add(segments.get(), &segment, sizeof segment);
  }
  return segments;
}

// A stream's key: a distribution's id, and its files.
inline std::string textOf(const std::vector<std::string> &paths) {
  std::string text = "distribution";
  for (const std::string &path : paths) {
    text.append(",").append(path);
  }
  return text;
}

// An open stream. The segments are somebody else's.
class SprigStream {
public:
  SprigStream(const std::string &text, PropertiesList *segments)
      : stream_(file_stream_open(text.c_str())) {
    stream_->segments = segments;
  }
  ~SprigStream() {
    auto *files = static_cast<FileList *>(stream_->source);
    if (files->current != nullptr) {
      file_delete(files->current);
    }
    mg_free(files->list);
    mg_free(files);
    mg_free(stream_);
  }
  SprigStream(const SprigStream &) = delete;
  SprigStream &operator=(const SprigStream &) = delete;

  int32_t read(unsigned char **piece) { return file_stream_read(stream_, piece); }

private:
  NetStream *stream_;
};

} // namespace bench

#endif

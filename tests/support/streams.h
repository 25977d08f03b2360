// Streams, their keys and what they read, released with their owner.
#ifndef SPRIG_TESTS_SUPPORT_STREAMS_H
#define SPRIG_TESTS_SUPPORT_STREAMS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sprig/streams.h>

#include "support/values.h"

namespace test {

struct ReleaseStream {
  void operator()(NetStream *stream) const {
    releaseFiles(static_cast<FileList *>(stream->source));
    properties_list_delete(stream->segments);
    mg_free(stream->segments);
    int64_length_delete(stream->total_length);
    int64_length_delete(stream->received_length);
    mstat_free(stream->status);
    mg_free(stream);
  }

private:
  static void releaseFiles(FileList *files) {
    if (files != nullptr && files->current != nullptr) {
      file_delete(files->current);
    }
    if (files != nullptr) {
      mg_free(files->list);
    }
    mg_free(files);
  }
};
using Stream = std::unique_ptr<NetStream, ReleaseStream>;

// A stream whose data the network brings.
inline Stream networkStream() {
  Stream stream(static_cast<NetStream *>(mg_calloc(1, sizeof(NetStream))));
  stream->type = 2;
  return stream;
}

inline FileList &filesOf(const Stream &stream) { return *static_cast<FileList *>(stream->source); }

struct ReleaseKey {
  void operator()(StreamKey *key) const { stream_key_delete(key); }
};
using Key = std::unique_ptr<StreamKey, ReleaseKey>;

// All bytes of a key.
inline std::string bytesOf(const Key &key) {
  return {reinterpret_cast<const char *>(key->buffer), key->length};
}

// What the description of a segment says; the rest is not in it.
struct Description {
  std::optional<std::string> path = std::nullopt;
  std::optional<int32_t> size = std::nullopt;
  std::optional<int32_t> offset = std::nullopt;
};

inline Properties propertiesOf(const Description &description) {
  Properties properties{};
  properties_put_string_dup(&properties, SEGMENT_ID_KEY, "segment");
  if (description.size) {
    properties_put_long_dup(&properties, SEGMENT_SIZE_KEY, *description.size);
  }
  if (description.path) {
    properties_put_string_dup(&properties, SEGMENT_DATA_PATH_KEY, description.path->c_str());
  }
  if (description.offset) {
    properties_put_long_dup(&properties, SEGMENT_OFFSET_KEY, *description.offset);
  }
  return properties;
}

inline void addTo(PropertiesList *list, const Description &description) {
  const Properties properties = propertiesOf(description);
  seq_add(list, &properties, sizeof properties);
}

inline PropertiesList *listOf(const std::vector<Description> &descriptions) {
  PropertiesList *list = properties_list_new();
  for (const Description &description : descriptions) {
    addTo(list, description);
  }
  return list;
}

} // namespace test

#endif

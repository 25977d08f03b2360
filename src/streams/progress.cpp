// Progress of mobile endpoints, kept in the stream's status file.
#include <algorithm>
#include <cstdint>
#include <utility>

#include <sprig/properties.h>
#include <sprig/records.h>
#include <sprig/streams.h>

#include "streams/status.h"
#include "streams/stream_type.h"

namespace {

constexpr uint32_t markOffset = 2; // in a key
constexpr uint8_t mobileMark = 1;
constexpr int32_t unsavedAtMost = 10240;

int32_t sum(int32_t a, int32_t b) {
  return static_cast<int32_t>(std::min<int64_t>(int64_t{a} + b, INT32_MAX));
}

// Whether everything has arrived, with what is not saved yet.
bool isComplete(const NetStream *stream) {
  Int64Length received = *stream->received_length;
  int64_length_add(&received, stream->unsaved);
  return int64_length_equal(&received, stream->total_length) != 0;
}

void saveReceived(NetStream *stream) {
  int64_length_add(stream->received_length, stream->unsaved);
  stream->unsaved = 0;
  sprig::putLength(stream, sprig::receivedKey, stream->received_length);
  sprig::saveStatus(stream, sprig::progressNotSaved);
}

} // namespace

int is_mobile_ep(const StreamKey *key) {
  return key->length > markOffset && sprig::can(key->buffer[0], sprig::mobile) &&
                 key->buffer[markOffset] == mobileMark
             ? 1
             : 0;
}

void mobile_ep_create_progress(NetStream *stream, const char *distribution_id) {
  mstat_free(std::exchange(stream->status, nullptr));
  stream->status = mstat_new(distribution_id, 0); // where there is none, every save will say so
  sprig::putText(stream, sprig::statusIdKey, distribution_id);
  for (const char *key : {sprig::errorKey, sprig::closeKey, sprig::pausedKey}) {
    sprig::putFlag(stream, key, false);
  }
}

void mobile_ep_init_progress(NetStream *stream) {
  sprig::resetLength(stream->total_length);
  sprig::resetLength(stream->received_length);
  for (uint32_t i = 0; stream->segments != nullptr && i < stream->segments->length; ++i) {
    const Properties *segment = &stream->segments->buffer[i];
    int64_length_add(stream->total_length, properties_get_long(segment, SEGMENT_SIZE_KEY));
    int64_length_add(stream->received_length, properties_get_long(segment, SEGMENT_OFFSET_KEY));
  }
  sprig::putLength(stream, sprig::totalKey, stream->total_length);
}

void mobile_ep_update_progress(NetStream *stream, int32_t code) {
  if (code < 0) {
    sprig::putFlag(stream, sprig::errorKey, true);
    sprig::saveStatus(stream, sprig::errorNotSaved);
  } else if (code > 0 && stream->received_length != nullptr) { // else nothing is known of it
    stream->unsaved = sum(stream->unsaved, code - 1);
    if (stream->unsaved > unsavedAtMost || isComplete(stream)) {
      saveReceived(stream);
    }
  }
}

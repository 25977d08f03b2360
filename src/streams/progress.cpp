// Progress of mobile endpoints, kept in the stream's status file.
#include <algorithm>
#include <cstdint>
#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>
#include <sprig/streams.h>

#include "framework/try_frame.h"
#include "streams/status.h"

namespace {

constexpr const char *idKey = "msid";
constexpr const char *errorKey = "err";
constexpr const char *closeKey = "close";
constexpr const char *pausedKey = "paused";
constexpr const char *totalKey = "t_len";
constexpr const char *receivedKey = "c_len";

constexpr int32_t unsavedAtMost = 10240;

void putLength(NetStream *stream, const char *key, const Int64Length *length) {
  if (stream->status == nullptr) {
    return;
  }
  sprig::inTryFrame([&] {
    char *text = int64_length_to_string(length);
    ex_delegate(text, mg_free);
    properties_put_string_dup(mstat_get_properties(stream->status), key, text);
  });
}

void putFlag(NetStream *stream, const char *key, bool value) {
  if (stream->status != nullptr) {
    properties_put_boolean_dup(mstat_get_properties(stream->status), key, value ? 1 : 0);
  }
}

// A length of 0 in place of one that may be there.
void reset(Int64Length *&length) {
  int64_length_delete(std::exchange(length, nullptr));
  length = int64_length_new();
}

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
  putLength(stream, receivedKey, stream->received_length);
  sprig::saveStatus(stream, sprig::progressBlanks);
}

} // namespace

void mobile_ep_create_progress(NetStream *stream, const char *distribution_id) {
  stream->status = mstat_new(distribution_id, 0);
  if (stream->status == nullptr) {
    return; // every save will say so
  }
  properties_put_string_dup(mstat_get_properties(stream->status), idKey, distribution_id);
  for (const char *key : {errorKey, closeKey, pausedKey}) {
    putFlag(stream, key, false);
  }
}

void mobile_ep_init_progress(NetStream *stream) {
  reset(stream->total_length);
  reset(stream->received_length);
  for (uint32_t i = 0; stream->segments != nullptr && i < stream->segments->length; ++i) {
    const Properties *segment = &stream->segments->buffer[i];
    int64_length_add(stream->total_length, properties_get_long(segment, SEGMENT_SIZE_KEY));
    int64_length_add(stream->received_length, properties_get_long(segment, SEGMENT_OFFSET_KEY));
  }
  putLength(stream, totalKey, stream->total_length);
}

void mobile_ep_update_progress(NetStream *stream, int32_t code) {
  if (code < 0) {
    putFlag(stream, errorKey, true);
    sprig::saveStatus(stream, sprig::errorBlanks);
  } else if (code > 0 && stream->received_length != nullptr) { // else nothing is known of it
    stream->unsaved = sum(stream->unsaved, code - 1);
    if (stream->unsaved > unsavedAtMost || isComplete(stream)) {
      saveReceived(stream);
    }
  }
}

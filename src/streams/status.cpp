#include "streams/status.h"

#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "framework/try_frame.h"

namespace {

bool trySave(Mstat *status) {
  int result = -1;
  return status != nullptr &&
         sprig::catchAll([&] { result = mstat_save(status); }, [](void *) {}) && result == 0;
}

const char *idOf(const NetStream &stream) {
  if (stream.distribution_id != nullptr) {
    return stream.distribution_id;
  }
  return stream.status == nullptr ? "" : stream.status->distribution_id;
}

bool isMobile(const NetStream *stream) { return stream != nullptr && stream->mobile != 0; }

// For the innermost frame.
const char *copyOf(const char *text) {
  char *copy = mg_strdup(text);
  ex_delegate(copy, mg_free);
  return copy;
}

// Key and value may be those that are in the status file already, and go when they are replaced.
void updateStatus(NetStream *stream, const char *key, const char *value) {
  sprig::inTryFrame([&] {
    const char *ownKey = copyOf(key);
    const char *ownValue = copyOf(value);
    sprig::putText(stream, ownKey, ownValue);
    sprig::saveStatus(stream, sprig::valueNotSaved);
    LogQ("sprig: update mstat key=%s, value=%s\n", ownKey, ownValue);
  });
}

} // namespace

void sprig::putFlag(NetStream *stream, const char *key, bool value) {
  if (stream->status != nullptr) {
    properties_put_boolean_dup(mstat_get_properties(stream->status), key, value ? 1 : 0);
  }
}

void sprig::putText(NetStream *stream, const char *key, const char *value) {
  if (stream->status != nullptr) {
    properties_put_string_dup(mstat_get_properties(stream->status), key, value);
  }
}

void sprig::putLength(NetStream *stream, const char *key, const Int64Length *length) {
  inTryFrame([&] {
    char *text = int64_length_to_string(length);
    ex_delegate(text, mg_free);
    putText(stream, key, text);
  });
}

void sprig::saveStatus(NetStream *stream, const char *failureFormat) {
  if (!trySave(stream->status)) {
    LogQ(failureFormat, idOf(*stream));
  }
}

void sprig::resetLength(Int64Length *&length) {
  int64_length_delete(std::exchange(length, nullptr));
  length = int64_length_new();
}

void net_stream_update_mstat(NetStream *stream, const char *key_name, const char *value) {
  if (isMobile(stream) && key_name != nullptr && value != nullptr) {
    updateStatus(stream, key_name, value);
  }
}

void net_stream_set_status(NetStream *stream, const char *error_text) {
  if (isMobile(stream) && error_text != nullptr) {
    sprig::putFlag(stream, sprig::errorKey, true);
    sprig::putText(stream, sprig::errorTextKey, error_text);
    sprig::saveStatus(stream, sprig::errorNotSaved);
  }
}

// Stream keys.
#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include <sprig/framework.h>
#include <sprig/streams.h>

#include "framework/new_record.h"
#include "streams/stream_type.h"

namespace {

constexpr uint32_t textOffset = 3; // of the texts in the key of a stream over named files
constexpr uint8_t isMobile = 1;
constexpr uint8_t isNotMobile = 2;

void release(void *key) { stream_key_delete(static_cast<StreamKey *>(key)); }

// Length of a key with texts, each with a comma or NUL behind it.
uint32_t lengthWith(int count, va_list texts) {
  uint64_t length = textOffset;
  for (int i = 0; i < count; ++i) {
    length += uint64_t{strlen(va_arg(texts, const char *))} + 1;
  }
  if (length > UINT32_MAX) {
    vaThrow(nullptr, 0, "A stream key cannot have more than %1$u bytes.\n", UINT32_MAX);
  }
  return static_cast<uint32_t>(length);
}

void write(uint8_t *place, int count, va_list texts) {
  for (int i = 0; i < count; ++i) {
    const char *text = va_arg(texts, const char *);
    place = std::copy_n(text, strlen(text), place);
    *place++ = ',';
  }
}

} // namespace

StreamKey *file_stream_key_new(int mobile, int count, ...) {
  va_list texts;
  va_start(texts, count);
  va_list sameTexts;
  va_copy(sameTexts, texts);
  StreamKey *key = sprig::newRecord<StreamKey>(release, [&](StreamKey *made) {
    const uint32_t length = lengthWith(count, texts);
    made->buffer = static_cast<uint8_t *>(mg_calloc(1, length + size_t{1}));
    made->maximum = made->length = length;
    made->buffer[0] = sprig::namedFiles;
    made->buffer[2] = mobile != 0 ? isMobile : isNotMobile;
    write(made->buffer + textOffset, count, sameTexts);
    made->buffer[length - 1] = '\0'; // without texts, that is the mark of a mobile stream
  });
  va_end(sameTexts);
  va_end(texts);
  return key;
}

void stream_key_delete(StreamKey *key) {
  if (key != nullptr) {
    mg_free(key->buffer);
    mg_free(key);
  }
}

char *stream_key_get_data(StreamKey *key) {
  const uint32_t offset = key->buffer[0] == sprig::namedFiles ? textOffset : textOffset - 1;
  return reinterpret_cast<char *>(key->buffer) + offset;
}

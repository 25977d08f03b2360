// Opening and closing.
#include "streams/net_stream.h"

#include <cstring>
#include <utility>

#include <sprig/depot.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>

#include "files/file.h"
#include "framework/message.h"
#include "framework/new_record.h"
#include "streams/file_list.h"
#include "streams/segment_index.h"
#include "streams/status.h"
#include "streams/stream_type.h"

using sprig::can;

namespace {

constexpr uint32_t markLength = 3; // bytes of a key in front of its texts
constexpr int32_t timeout = 180;   // seconds

// The texts of a key, or null where they do not end within it.
char *textsOf(StreamKey *key) {
  static char nothing[1]; // of a key without texts
  if (key->length == markLength) {
    return nothing;
  }
  const bool hasTexts = key->length > markLength &&
                        memchr(key->buffer + markLength, '\0', key->length - markLength) != nullptr;
  return hasTexts ? reinterpret_cast<char *>(key->buffer) + markLength : nullptr;
}

char *copyOf(const char *text, size_t length) {
  auto *copy = static_cast<char *>(mg_calloc(1, length + 1));
  memcpy(copy, text, length);
  return copy;
}

void beginProgress(NetStream *stream) {
  mobile_ep_create_progress(stream, stream->distribution_id);
  stream->mobile = 1;
}

// Splits the texts at the first comma. A mobile stream's key stays cut there.
void takeTexts(NetStream *stream, char *texts, bool isMobile) {
  char *comma = strchr(texts, ',');
  stream->distribution_id =
      copyOf(texts, comma == nullptr ? strlen(texts) : static_cast<size_t>(comma - texts));
  if (comma != nullptr) {
    stream->key_rest = mg_strdup(comma + 1);
    if (isMobile) {
      *comma = '\0';
    }
  }
}

NetStream *openWithHandle(int32_t type, char *texts, bool isMobile, void *handle) {
  return sprig::newRecord<NetStream>(sprig::releaseStream, [&](NetStream *stream) {
    stream->type = type;
    stream->read_size = sprig::pieceSize;
    takeTexts(stream, texts, isMobile);
    if (isMobile) {
      beginProgress(stream);
    }
    stream->source = handle; // the caller's until the stream stands
  });
}

NetStream *openNamedFiles(const char *texts, bool isMobile) {
  NetStream *stream = nullptr;
  sprig::inTryFrame([&] {
    stream = file_stream_open(texts);
    ex_delegate(stream, sprig::releaseStream);
    if (isMobile) {
      beginProgress(stream);
    }
    ex_undelegate(stream, 0);
  });
  return stream;
}

NetStream *openBare() {
  return sprig::newRecord<NetStream>(mg_free,
                                     [](NetStream *stream) { stream->type = sprig::bare; });
}

NetStream *open(StreamKey *key, void *handle) {
  const uint8_t type = key->buffer[0];
  if (type == sprig::bare) {
    return openBare();
  }
  char *texts = can(type, sprig::opens) ? textsOf(key) : nullptr;
  if (texts == nullptr) {
    return nullptr;
  }
  const bool isMobile = is_mobile_ep(key) != 0;
  return can(type, sprig::takesHandle) ? openWithHandle(type, texts, isMobile, handle)
                                       : openNamedFiles(texts, isMobile);
}

// Entries that nobody else is registered for go with it.
void giveUpEntries(void *block) {
  auto *stream = static_cast<NetStream *>(block);
  for (uint32_t i = 0; stream->depot != nullptr && i < stream->depot_entries.length; ++i) {
    static_cast<void>(DepotUnregisterEntry(stream->depot, stream->depot_entries.buffer[i], 0));
  }
}

void closeSource(NetStream *stream) {
  if (stream->type == sprig::ioChannel) {
    iom_close(std::exchange(stream->source, nullptr));
  } else if (can(stream->type, sprig::local)) {
    sprig::releaseFileList(std::exchange(stream->source, nullptr));
  }
}

} // namespace

void sprig::releaseDepot(NetStream *stream) {
  seq_free_buffer(&stream->depot_entries);
  if (Depot *depot = std::exchange(stream->depot, nullptr)) {
    static_cast<void>(DepotFree(depot));
  }
}

void sprig::setSegments(NetStream *stream, PropertiesList *segments) {
  if (PropertiesList *old = std::exchange(stream->segments, segments)) {
    forgetSegments(old);
    properties_list_delete(old);
    seq_free(old);
  }
}

void sprig::releaseStream(void *block) {
  auto *stream = static_cast<NetStream *>(block);
  inTryFrame([&] {
    ex_delegate(stream, mg_free);
    mstat_free(stream->status);
    releaseDepot(stream);
    setSegments(stream, nullptr);
    mg_free(stream->buffer);
    int64_length_delete(stream->total_length);
    int64_length_delete(stream->received_length);
    mg_free(stream->key_rest);
    if (stream->type != namedFiles) { // there, it is in the list of files
      mg_free(stream->distribution_id);
    }
    if (can(stream->type, local)) {
      releaseFileList(stream->source);
    }
    closeAndRelease(stream->output);
  });
}

NetStream *net_stream_open(StreamKey *key, void *handle) {
  if (key == nullptr || key->buffer == nullptr || key->length == 0) {
    return nullptr;
  }
  NetStream *stream = open(key, handle);
  if (stream != nullptr) {
    stream->timeout = timeout;
  }
  return stream;
}

void net_stream_close(NetStream *stream) {
  if (stream == nullptr) {
    return;
  }
  if (!can(stream->type, sprig::closes)) {
    sprig::throwMessage(sprig::MessageId::streamNotClosed, stream->type);
  }
  sprig::inTryFrame([&] {
    ex_delegate(stream, sprig::releaseStream);
    if (stream->type == sprig::fromDepot) {
      ex_delegate(stream, giveUpEntries); // comes first, once the files are closed
    }
    if (stream->mobile != 0) {
      sprig::putFlag(stream, sprig::closeKey, true);
      sprig::saveStatus(stream, sprig::closeNotSaved);
    }
    closeSource(stream);
  });
}

void net_stream_free_buffer(NetStream *stream, unsigned char *buffer) {
  const bool isWhole = buffer == nullptr || can(stream->type, sprig::local);
  mg_free(isWhole ? buffer : buffer - 1); // behind the command
}

void free_toc_octets(OctetList *octets) {
  if (octets != nullptr) {
    nex_free_generic(octets, TC_NEX_Types_OctetList);
    mg_free(octets);
  }
}

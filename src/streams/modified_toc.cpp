// The table of contents that a stream is given, and what of it is on the machine already.
#include <cstdint>
#include <cstring>
#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/records.h>
#include <sprig/streams.h>

#include "framework/message.h"
#include "framework/try_frame.h"
#include "streams/depot_source.h"
#include "streams/file_list.h"
#include "streams/net_stream.h"
#include "streams/search.h"
#include "streams/status.h"
#include "streams/stream_type.h"

using sprig::can;
using sprig::hasUnfound;
using sprig::MessageId;
using sprig::throwMessage;

namespace {

// The segments of a list that stays somebody else's, for the innermost frame.
Toc *segmentsOf(PropertiesList *list) {
  Toc *toc = toc_from_properties(list);
  ex_delegate(toc, [](void *block) {
    toc_free_buffer(static_cast<Toc *>(block));
    mg_free(block);
  });
  return toc;
}

// For the innermost frame.
StringList *newPaths() {
  auto *paths = static_cast<StringList *>(mg_calloc(1, sizeof(StringList)));
  ex_delegate(paths, [](void *block) {
    nex_free_generic(block, TC_NEX_Types_StringList);
    mg_free(block);
  });
  return paths;
}

void takeNamedFiles(Toc *toc, StringList *paths) {
  for (int32_t i = 0; i < toc->count; ++i) {
    Segment *segment = toc->segments[i];
    const char *path = properties_get_string2(segment->properties, SEGMENT_DAT_FILE_KEY, nullptr);
    if (path != nullptr) {
      sprig::setFound(toc, segment, path, paths);
    }
  }
}

// The CD drive and the directory that the key names, where the type of stream has them.
void searchPlaces(const NetStream *stream, Toc *toc, StringList *paths) {
  if (can(stream->type, sprig::searchesCd) && hasUnfound(toc)) {
    net_stream_search_cd_drives(toc, paths);
  }
  if (can(stream->type, sprig::searchesKeyDirectory)) {
    net_stream_search_endpoint_depot(toc, stream->key_rest, paths);
  }
}

void mustBeFound(const Toc *toc) {
  if (!hasUnfound(toc)) {
    return;
  }
  const Segment *missing = toc->segments[0];
  for (int32_t i = toc->count - 1; i >= 0; --i) {
    missing = toc->segments[i]->found == 0 ? toc->segments[i] : missing;
  }
  throwMessage(MessageId::segmentNotFound, missing->id, missing->version);
}

void searchFiles(const NetStream *stream, Toc *toc, StringList *paths) {
  if (can(stream->type, sprig::namesFiles)) {
    takeNamedFiles(toc, paths);
  }
  if (can(stream->type, sprig::searchesRemoteDir) && hasUnfound(toc)) {
    sprig::searchRemoteDirectories(toc, paths);
  }
  searchPlaces(stream, toc, paths);
  if (can(stream->type, sprig::namesFiles)) {
    mustBeFound(toc);
  }
}

// One text of all paths, with commas between them, for the innermost frame.
char *joined(const StringList *paths) {
  size_t size = 1;
  for (uint32_t i = 0; i < paths->length; ++i) {
    size += strlen(paths->buffer[i]) + 1;
  }
  auto *text = static_cast<char *>(mg_calloc(1, size));
  ex_delegate(text, mg_free);
  char *end = text;
  for (uint32_t i = 0; i < paths->length; ++i) {
    end = stpcpy(end, paths->buffer[i]);
    *end++ = i + 1 < paths->length ? ',' : '\0';
  }
  return text;
}

// From now on, the stream reads these files.
void readFrom(NetStream *stream, const StringList *paths, bool ownsSource) {
  FileList *files = sprig::newFileList(joined(paths));
  void *old = std::exchange(stream->source, files);
  if (ownsSource) {
    sprig::releaseFileList(old);
  }
}

void searchLocally(NetStream *stream) {
  sprig::inTryFrame([&] {
    StringList *paths = newPaths();
    Toc *toc = segmentsOf(stream->segments);
    const bool isNetwork = stream->type == sprig::network;
    if (isNetwork) {
      sprig::searchDepot(stream, toc, paths);
    } else {
      searchFiles(stream, toc, paths);
    }
    if (can(stream->type, sprig::namesFiles) && !hasUnfound(toc)) {
      readFrom(stream, paths, !isNetwork);
    }
  });
}

bool isComplete(const PropertiesList *list) {
  bool isComplete = true;
  sprig::inTryFrame([&] {
    const Toc *toc = segmentsOf(const_cast<PropertiesList *>(list)); // is only read
    for (int32_t i = 0; i < toc->count; ++i) {
      isComplete = isComplete && toc->segments[i]->offset == toc->segments[i]->size;
    }
  });
  return isComplete;
}

// All data have arrived before: the status says so at once.
void saveTotal(NetStream *stream) {
  mobile_ep_init_progress(stream);
  sprig::putLength(stream, sprig::receivedKey, stream->total_length);
  sprig::saveStatus(stream, sprig::progressNotSaved);
}

} // namespace

void net_stream_save_modified_toc(NetStream *stream, const PropertiesList *list) {
  if (list == nullptr) {
    throwMessage(MessageId::tocIsNull);
  }
  sprig::setSegments(stream, properties_list_clone(list));
  if (can(stream->type, sprig::searched)) {
    searchLocally(stream);
  }
  if (stream->mobile != 0 && isComplete(list)) {
    saveTotal(stream);
  }
}

void net_stream_get_size(NetStream *stream, PropertiesList *list) {
  constexpr int32_t first = 6;
  if (stream->type < first || stream->type > sprig::channelOnly ||
      stream->type == sprig::fromDepot) {
    return;
  }
  sprig::inTryFrame([&] {
    Toc *toc = segmentsOf(list);
    if (can(stream->type, sprig::searchesRemoteDir)) {
      sprig::searchRemoteDirectories(toc, nullptr);
    }
    searchPlaces(stream, toc, nullptr);
    mustBeFound(toc);
  });
}

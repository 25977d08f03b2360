// Streams over named files.
#include <cstdint>
#include <cstring>
#include <utility>

#include <fcntl.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/streams.h>

#include "framework/new_record.h"
#include "streams/file_list.h"
#include "streams/net_stream.h"
#include "streams/segment_index.h"
#include "streams/stream_type.h"

namespace {

// Leaves no file open where it cannot be read from there.
File *openAt(const char *name, int32_t offset) {
  File *file = nullptr;
  sprig::inTryFrame([&] {
    file = file_open(name, O_RDONLY);
    ex_delegate(file, [](void *opened) { sprig::closeAndRelease(static_cast<File *>(opened)); });
    if (offset != 0) {
      file_seek(file, offset);
    }
    ex_undelegate(file, 0);
  });
  return file;
}

// Opens the next file that has not arrived completely. False at the end of the stream.
bool openNext(FileList *files, const PropertiesList *segments) {
  while (const char *name = get_next_file(files)) {
    const Properties *segment = sprig::findSegment(segments, name);
    if (segment == nullptr) {
      files->cursor = nullptr; // the stream stays at its end
      return false;
    }
    const int32_t size = properties_get_long2(segment, SEGMENT_SIZE_KEY, 0);
    const int32_t offset = properties_get_long2(segment, SEGMENT_OFFSET_KEY, 0);
    if (offset < size) {
      files->current = openAt(name, offset);
      return true;
    }
  }
  return false;
}

} // namespace

NetStream *file_stream_open(const char *text) {
  sprig::forgetSegments();
  return sprig::newRecord<NetStream>(sprig::releaseStream, [&](NetStream *stream) {
    FileList *files = sprig::newFileList(text);
    stream->type = sprig::namedFiles;
    stream->read_size = sprig::pieceSize;
    stream->source = files;
    stream->distribution_id = get_next_file(files);
  });
}

int32_t file_stream_read(NetStream *stream, unsigned char **out_buffer) {
  auto *files = static_cast<FileList *>(stream->source);
  const auto size = static_cast<size_t>(stream->read_size);
  int32_t count = 0;
  *out_buffer = nullptr;
  if (files == nullptr) {
    return 0;
  }
  sprig::inTryFrame([&] {
    auto *buffer = static_cast<unsigned char *>(mg_malloc(size));
    ex_delegate(buffer, mg_free);
    if (files->current != nullptr || openNext(files, stream->segments)) {
      count = file_read(files->current, buffer, stream->read_size);
    }
    if (count > 0) {
      memset(buffer + count, 0, size - static_cast<size_t>(count));
      ex_undelegate(buffer, 0);
      *out_buffer = buffer;
    } else {
      sprig::closeAndRelease(std::exchange(files->current, nullptr));
    }
  });
  return count;
}

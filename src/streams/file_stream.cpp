// Streams over named files.
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/streams.h>

#include "files/file.h"
#include "framework/message.h"
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
    ex_delegate(file, sprig::closeAndRelease);
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

// Reads into a block, with zeros behind what was read. Releases it where the file cannot be read: a
// try frame would take longer than allocating and releasing the block.
int32_t readPiece(const File *file, unsigned char *piece, int32_t size) {
  const ssize_t count = read(file->descriptor, piece, static_cast<size_t>(size));
  if (count == -1) {
    const int error = errno;
    mg_free(piece);
    sprig::throwMessage(sprig::MessageId::fileNotRead, file->path, size, error);
  }
  memset(piece + count, 0, static_cast<size_t>(size - count));
  return static_cast<int32_t>(count);
}

} // namespace

NetStream *file_stream_open(const char *text) {
  sprig::forgetSegments(nullptr); // lists of streams that were released by hand
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
  *out_buffer = nullptr;
  if (files == nullptr || (files->current == nullptr && !openNext(files, stream->segments))) {
    return 0;
  }
  auto *piece = static_cast<unsigned char *>(mg_malloc(static_cast<size_t>(stream->read_size)));
  const int32_t count = readPiece(files->current, piece, stream->read_size);
  if (count > 0) {
    *out_buffer = piece;
  } else {
    mg_free(piece);
    sprig::closeAndRelease(std::exchange(files->current, nullptr));
  }
  return count;
}

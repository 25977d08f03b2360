// Reading the next piece, wherever it comes from.
#include <cstdint>
#include <utility>

#include <sprig/framework.h>
#include <sprig/properties.h>
#include <sprig/streams.h>

#include "framework/new_record.h"
#include "streams/command.h"
#include "streams/status.h"
#include "streams/stream_type.h"

using sprig::can;
using sprig::Command;

namespace {

void releaseOctets(void *octets) { free_toc_octets(static_cast<OctetList *>(octets)); }

// The segments as the sender wants them, for the innermost frame.
OctetList *encodedSegments(const NetStream *stream) {
  auto *octets = sprig::newRecord<OctetList>(releaseOctets, [&](OctetList *made) {
    properties_encode(TC_NEX_Sprig2_PropertiesList, stream->segments, &made->buffer, &made->length);
    made->maximum = made->length;
  });
  ex_delegate(octets, releaseOctets);
  return octets;
}

// What comes before the first piece. Returns the table of contents that goes out with it, or null.
const OctetList *prepareFirst(NetStream *stream) {
  if (stream->started != 0 || stream->segments == nullptr) {
    return nullptr;
  }
  const OctetList *octets = can(stream->type, sprig::local) ? nullptr : encodedSegments(stream);
  if (stream->mobile != 0) {
    mobile_ep_init_progress(stream);
  }
  return octets;
}

// Counts what has arrived. Where that throws, the piece is released.
void updateProgress(NetStream *stream, unsigned char **piece, int32_t code) {
  if (stream->mobile != 0) {
    unsigned char *arrived = std::exchange(*piece, nullptr);
    ex_delegate(arrived, mg_free);
    mobile_ep_update_progress(stream, code);
    ex_undelegate(arrived, 0);
    *piece = arrived;
  }
}

int32_t receive(NetStream *stream, unsigned char **piece, const OctetList *toc) {
  const int32_t length = ep_sprig_recv(piece, toc);
  stream->started = 1;
  updateProgress(stream, piece, length);
  return length;
}

int32_t readFiles(NetStream *stream, unsigned char **piece) {
  if (can(stream->type, sprig::polled)) {
    const int32_t stopped = is_stream_stopped(piece);
    if (stopped != 0) {
      return stopped;
    }
    mg_free(std::exchange(*piece, nullptr)); // another command, which is none for files
  }
  stream->started = 1;
  const int32_t count = file_stream_read(stream, piece);
  updateProgress(stream, piece, count + 1);
  return count;
}

int32_t readPiece(NetStream *stream, unsigned char **piece) {
  const OctetList *toc = prepareFirst(stream);
  if (stream->type == sprig::network) {
    return receive(stream, piece, toc);
  }
  const bool hasFiles = can(stream->type, sprig::local) && can(stream->type, sprig::closes);
  return hasFiles ? readFiles(stream, piece) : 0;
}

// Takes the command from in front of what was received. Other commands than that for data stay for
// the caller to see.
int32_t takeCommand(NetStream *stream, unsigned char **message, int32_t length) {
  const unsigned char command = **message;
  if (command == Command::data) {
    ++*message;
    return length - 1;
  }
  if (command == Command::pause && stream->mobile != 0) {
    sprig::putFlag(stream, sprig::pausedKey, true);
    sprig::saveStatus(stream, sprig::pausedNotSaved);
  }
  return -command;
}

} // namespace

int32_t net_stream_read(NetStream *stream, unsigned char **out_buffer) {
  int32_t result = 0;
  unsigned char *message = nullptr;
  *out_buffer = nullptr;
  sprig::inTryFrame([&] { result = readPiece(stream, &message); });
  *out_buffer = message;
  if (result > 0 && !can(stream->type, sprig::local)) {
    result = takeCommand(stream, out_buffer, result);
  }
  if (result == 0) {
    mg_free(message);
    *out_buffer = nullptr;
  }
  return result;
}

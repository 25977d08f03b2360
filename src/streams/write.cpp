// Sending data back: to the sender, or into a file.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include <fcntl.h>

#include <sprig/files.h>
#include <sprig/framework.h>
#include <sprig/streams.h>

#include "files/file.h"
#include "files/work_directory.h"
#include "framework/new_record.h"
#include "streams/net_stream.h"
#include "streams/stream_type.h"

namespace {

enum MessageType : int32_t { dataMessage = 11, replyMessage = 21, endMessage = 23 };

constexpr const char *outputDirectory = "sprig"; // in the work directory
constexpr int readableForOwner = 0400;

bool goesToFile(const NetStream *stream) { return stream->type == sprig::namedFiles; }

// The receiver's answer to what was sent last; negative: refused.
int32_t awaitReply(void *channel) {
  ChannelReply reply{};
  recv_struct(channel, replyMessage, &reply);
  mg_free(reply.data);
  return reply.status;
}

void sendEnd(void *channel) {
  net_send_protected(channel, nullptr, 0, endMessage, ep_session_id());
}

// The receiver may ask for another size of buffers.
int32_t beginTransfer(NetStream *stream) {
  void *channel = ecp_get_ipc_handle();
  const MethodStatus opening{};
  send_methstat(channel, &opening, ep_session_id());
  const int32_t status = awaitReply(channel);
  if (status < 0) {
    sendEnd(channel);
    return status;
  }
  if (status > 0) {
    stream->read_size = status;
  } else if (stream->read_size <= 0) {
    stream->read_size = sprig::pieceSize;
  }
  return 0;
}

File *createOutput(const char *distributionId) {
  File *file = nullptr;
  sprig::inTryFrame([&] {
    char *directory = sprig::directoryInWorkDirectory(outputDirectory);
    ex_delegate(directory, mg_free);
    char *path = pathname_clone_and_append(directory, distributionId);
    ex_delegate(path, mg_free);
    file = file_create(path, O_WRONLY | O_TRUNC, readableForOwner);
  });
  return file;
}

// -1 where the file cannot be made.
int32_t beginFile(NetStream *stream) {
  stream->read_size = sprig::pieceSize;
  const bool isMade = sprig::catchAll(
      [&] {
        sprig::closeAndRelease(std::exchange(stream->output, nullptr));
        stream->output = createOutput(stream->distribution_id);
      },
      [](void *) {});
  return isMade ? 0 : -1;
}

void releaseBuffer(NetStream *stream) {
  mg_free(std::exchange(stream->buffer, nullptr));
  stream->fill_level = 0;
}

// Sends a block. A receiver that refuses it has ended the transfer.
int32_t send(NetStream *stream, const void *block, int32_t length) {
  if (goesToFile(stream)) {
    file_write(stream->output, block, length);
    return 0;
  }
  void *channel = ecp_get_ipc_handle();
  net_send_protected(channel, block, static_cast<uint32_t>(length), dataMessage, ep_session_id());
  return awaitReply(channel);
}

// Takes the next bytes into the buffer; where they fill one of their own, they go out as they are.
// Returns how many were taken, or the receiver's negative status.
int32_t take(NetStream *stream, const unsigned char *data, int32_t length) {
  const int32_t size = stream->read_size;
  if (stream->fill_level == 0 && length >= size) {
    const int32_t status = send(stream, data, size);
    return status < 0 ? status : size;
  }
  const int32_t count = std::min(length, size - stream->fill_level);
  memcpy(stream->buffer + stream->fill_level, data, static_cast<size_t>(count));
  stream->fill_level += count;
  if (stream->fill_level < size) {
    return count;
  }
  stream->fill_level = 0;
  const int32_t status = send(stream, stream->buffer, size);
  return status < 0 ? status : count;
}

} // namespace

int32_t net_stream_write_begin(NetStream *stream) {
  const int32_t result = goesToFile(stream) ? beginFile(stream) : beginTransfer(stream);
  if (result == 0) {
    releaseBuffer(stream); // of a transfer that was not ended
    stream->buffer =
        static_cast<unsigned char *>(mg_malloc(static_cast<size_t>(stream->read_size)));
  }
  return result;
}

int32_t net_stream_write(NetStream *stream, const void *data, int32_t length) {
  const auto *next = static_cast<const unsigned char *>(data);
  if (length > 0 && stream->buffer == nullptr) {
    return -1; // there is no transfer
  }
  for (int32_t left = length; left > 0;) {
    const int32_t count = take(stream, next, left);
    if (count < 0) {
      sendEnd(ecp_get_ipc_handle());
      releaseBuffer(stream);
      return count;
    }
    next += count;
    left -= count;
  }
  return std::max(length, 0);
}

int32_t net_stream_write_end(NetStream *stream) {
  if (stream->buffer == nullptr) {
    return 0;
  }
  int32_t status = 0;
  if (const int32_t length = std::exchange(stream->fill_level, 0); length > 0) {
    status = send(stream, stream->buffer, length);
  }
  if (!goesToFile(stream)) {
    sendEnd(ecp_get_ipc_handle());
  }
  releaseBuffer(stream);
  sprig::closeAndRelease(std::exchange(stream->output, nullptr));
  return std::min(status, 0);
}

int32_t net_stream_send_file(NetStream *stream, const char *path, int32_t offset) {
  int32_t result = 0;
  const int32_t size = stream->read_size > 0 ? stream->read_size : sprig::pieceSize;
  sprig::inTryFrame([&] {
    void *piece = mg_malloc(static_cast<size_t>(size));
    ex_delegate(piece, mg_free);
    File *file = file_open(path, O_RDONLY);
    ex_delegate(file, sprig::closeAndRelease);
    if (offset > 0) {
      file_seek(file, offset);
    }
    result = net_stream_write_begin(stream);
    int32_t count = 1;
    while (result >= 0 && count > 0) {
      count = file_read(file, piece, size);
      result = count > 0 ? net_stream_write(stream, piece, count) : net_stream_write_end(stream);
    }
  });
  return std::min(result, 0);
}

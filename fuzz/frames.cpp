// The incoming side of a channel with any bytes: it takes the same messages out of them, and ends
// in the same way, in whatever pieces they arrive. The first byte says how long the pieces are. A
// frame whose checksum is 0 gets the right one.
#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

#include <sprig/framework.h>

#include "channel/crc32c.h"
#include "channel/frame.h"
#include "channel/reader.h"

namespace {

using sprig::runtime::Deadline;
using sprig::runtime::FrameReader;
using sprig::runtime::headerSize;

void expect(bool condition) {
  if (!condition) {
    abort();
  }
}

const uint8_t *bytesOf(const std::string &text) {
  return reinterpret_cast<const uint8_t *>(text.data());
}

// What the bytes are: frames, and how they end.
struct Stream {
  std::string bytes;
  std::vector<std::string> frames;
  int ending = sprig::runtime::endOfStream;
};

Stream readStream(const std::string &bytes) {
  Stream stream;
  stream.bytes = bytes;
  for (size_t at = 0; at < bytes.size();) {
    const size_t left = bytes.size() - at;
    if (bytes.compare(at, 4, "SPR\1", std::min<size_t>(left, 4)) != 0) {
      stream.ending = EPROTO;
      break;
    }
    const uint32_t length =
        left < headerSize ? 0 : sprig::runtime::getNumber(bytesOf(bytes) + at + 12);
    if (length > sprig::runtime::longestPayload) {
      stream.ending = EMSGSIZE;
      break;
    }
    if (left < headerSize + length) {
      stream.ending = ECONNRESET;
      break;
    }
    std::string frame = bytes.substr(at, headerSize + length);
    const std::string covered = frame.substr(0, 16) + frame.substr(headerSize);
    const uint32_t checksum = sprig::runtime::crc32c(bytesOf(covered), covered.size());
    uint8_t *place = reinterpret_cast<uint8_t *>(stream.bytes.data()) + at + 16;
    if (sprig::runtime::getNumber(place) == 0) {
      sprig::runtime::putNumber(place, checksum);
    }
    if (sprig::runtime::getNumber(place) != checksum) {
      stream.ending = EBADMSG;
      break;
    }
    stream.frames.push_back(stream.bytes.substr(at, frame.size()));
    at += frame.size();
  }
  return stream;
}

// Sends a stream in pieces. Behind each, what has arrived is taken; an endpoint that has met the
// end takes no more, and the rest may find no room.
template <typename Take> void sendInPieces(const std::string &bytes, uint8_t seed, Take take) {
  int fds[2];
  expect(socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0);
  uint32_t random = seed;
  bool isOpen = true;
  for (size_t done = 0; done < bytes.size() && isOpen;) {
    random = random * 1664525 + 1013904223;
    const size_t longest = size_t{1} << (seed % 13);
    const size_t count = std::min(bytes.size() - done, 1 + (random >> 16) % longest);
    const ssize_t sent = send(fds[1], bytes.data() + done, count, MSG_NOSIGNAL | MSG_DONTWAIT);
    done += count;
    isOpen = sent == static_cast<ssize_t>(count) && take(fds[0], done);
  }
  close(fds[1]);
  take(fds[0], bytes.size());
  close(fds[0]);
}

void expectFrames(const Stream &stream, uint8_t seed, bool readsAhead) {
  FrameReader reader(readsAhead);
  size_t taken = 0;
  int answer = 0;
  sendInPieces(stream.bytes, seed, [&](int fd, size_t arrived) {
    RuntimeMessage message{};
    while ((answer = reader.read(fd, Deadline(0), message)) == 0) {
      expect(taken < stream.frames.size());
      const std::string &frame = stream.frames[taken++];
      uint8_t header[headerSize];
      sprig::runtime::writeHeader(header, message);
      expect(memcmp(header, frame.data(), headerSize) == 0);
      expect(frame.compare(headerSize, std::string::npos,
                           reinterpret_cast<const char *>(message.data), message.length) == 0);
      mg_free(message.data);
    }
    expect(reader.capacity() <= std::max(size_t{1} << 20, 2 * arrived) + headerSize);
    return answer == ETIME;
  });
  expect(taken == stream.frames.size() && answer == stream.ending);
  reader.release();
}

// False when it throws.
bool poll(unsigned char **message) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) {
    ep_sprig_poll(message);
    eh_pop_try(frame);
    return true;
  }
  eh_catch_all(frame);
  eh_pop_try(frame);
  return false;
}

void pollAsEndpoint(const Stream &stream, uint8_t seed) {
  bool isSet = false;
  sendInPieces(stream.bytes, seed, [&](int fd, size_t) {
    if (!isSet) {
      runtime_set_channel(fd, fd, 0);
      isSet = true;
    }
    for (;;) {
      unsigned char *message = nullptr;
      if (!poll(&message)) {
        return false;
      }
      if (message == nullptr) {
        return true;
      }
      expect(message[0] != 0);
      mg_free(message);
    }
  });
  runtime_set_channel(-1, -1, 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) {
    return 0;
  }
  const Stream stream = readStream({reinterpret_cast<const char *>(data) + 1, size - 1});
  for (const bool readsAhead : {false, true}) {
    expectFrames(stream, data[0], readsAhead);
  }
  pollAsEndpoint(stream, data[0]);
  return 0;
}

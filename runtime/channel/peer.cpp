// Both sides of a channel, as the runtime's own interface has them.
#include <cerrno>

#include <sprig/runtime.h>

#include "channel/address.h"
#include "channel/channel.h"
#include "channel/reader.h"
#include "channel/writer.h"

using namespace sprig::runtime;

namespace {

int failed(int error) {
  errno = error;
  return -1;
}

} // namespace

void runtime_set_channel(int read_fd, int write_fd, int32_t session_id) {
  theChannel.use(read_fd, write_fd, session_id);
}

int runtime_channel_listen(const char *address) { return listenAt(address); }

int runtime_channel_accept(int listener) { return acceptFrom(listener); }

int runtime_channel_connect(const char *address) { return connectTo(address); }

int runtime_channel_send(int fd, const RuntimeMessage *message) {
  const int error = writeFrame(fd, *message);
  return error == 0 ? 0 : failed(error);
}

int runtime_channel_receive(int fd, RuntimeMessage *message, int timeout_ms) {
  RuntimeMessage received{};
  FrameReader reader(false);
  const int answer = reader.read(fd, Deadline(timeout_ms), received);
  reader.release();
  switch (answer) {
  case 0:
    *message = received;
    return 0;
  case endOfStream:
    return 1;
  case ETIME:
    return failed(ETIMEDOUT);
  default:
    return failed(answer);
  }
}

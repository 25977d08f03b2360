#include <sprig/framework.h>
#include <sprig/streams.h>

namespace {

enum Command : unsigned char { cancel = 2, pause = 3 };

} // namespace

int is_stream_stopped(unsigned char **message_holder) {
  if (ep_sprig_poll(message_holder) == 0 || message_holder == nullptr ||
      *message_holder == nullptr) {
    return 0;
  }
  switch (**message_holder) {
  case cancel:
    LogQ("from_file distribution has been canceled");
    return -cancel;
  case pause:
    LogQ("from_file distribution has been paused");
    return -pause;
  default:
    return 0;
  }
}

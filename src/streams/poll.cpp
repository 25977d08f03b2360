#include <sprig/framework.h>
#include <sprig/streams.h>

#include "streams/command.h"

using sprig::Command;

int is_stream_stopped(unsigned char **message_holder) {
  if (ep_sprig_poll(message_holder) == 0 || message_holder == nullptr ||
      *message_holder == nullptr) {
    return 0;
  }
  switch (**message_holder) {
  case Command::cancel:
    LogQ("from_file distribution has been canceled");
    return -Command::cancel;
  case Command::pause:
    LogQ("from_file distribution has been paused");
    return -Command::pause;
  default:
    return 0;
  }
}

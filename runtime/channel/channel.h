// This process's channel to the sender.
#ifndef SPRIG_RUNTIME_CHANNEL_CHANNEL_H
#define SPRIG_RUNTIME_CHANNEL_CHANNEL_H

#include <cstdint>

#include <sprig/runtime.h>

#include "channel/reader.h"

namespace sprig::runtime {

// Every failure is thrown. One that leaves the channel unusable cuts it off first.
class Channel {
public:
  // What KRT_CHANNEL says, unless it is in use already.
  void open();
  // The caller's descriptors; -1 for both: nothing.
  void use(int readFd, int writeFd, int32_t session);

  int32_t session() const;
  void send(const RuntimeMessage &message);
  // Waits for the next message. Its data are the caller's.
  RuntimeMessage receive();
  // As receive(), but false at once where no message is there.
  bool poll(RuntimeMessage &message);
  // Gives a message back, which is then the next one.
  void putBack(const RuntimeMessage &message);

  [[noreturn]] void cutOff(const char *reason);

private:
  enum class State { unused, inUse, cutOff };

  void close();
  bool receiveBy(const Deadline &deadline, RuntimeMessage &message);
  void expectUsable();

  State state_ = State::unused;
  bool isOurs_ = false; // not the caller's descriptors
  int readFd_ = -1;
  int writeFd_ = -1;
  int32_t session_ = 0;
  char name_[128] = {}; // for a person
  FrameReader reader_{true};
  bool isPutBack_ = false;
  RuntimeMessage putBack_{};
};

extern Channel theChannel;

} // namespace sprig::runtime

#endif

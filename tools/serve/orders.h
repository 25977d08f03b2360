// Signals that processes of a sender wait for, and commands that it passes on by them.
#ifndef SPRIG_TOOLS_SERVE_ORDERS_H
#define SPRIG_TOOLS_SERVE_ORDERS_H

#include <csignal>
#include <initializer_list>

#include <sys/types.h>

#include <sprig/sprig.hpp>

#include "file.h"

namespace tool {

// Signals that are read instead of interrupting the process. After fork(), each process reads its
// own.
class SignalQueue {
public:
  SignalQueue(std::initializer_list<int> signals);

  // Can be read from when a signal is waiting.
  int get() const noexcept { return descriptor_.get(); }
  // The next signal; 0 where none is waiting.
  int next() const;
  // Lets them do what they do to any process.
  void release() const;

private:
  sigset_t signals_;
  Descriptor descriptor_;
};

// Pause and cancel, from the sender to the processes that serve its receivers. Made before they
// are, so that no order comes too early.
class Orders {
public:
  int get() const noexcept { return signals_.get(); }
  // Command::none where there is nothing to do.
  sprig::Command next() const;

  static void give(sprig::Command command, pid_t process);

private:
  static constexpr int pauseSignal = SIGUSR1;
  static constexpr int cancelSignal = SIGUSR2;

  SignalQueue signals_{pauseSignal, cancelSignal};
};

} // namespace tool

#endif

// An interrupt, by SIGINT or SIGTERM, lets a receive end where it can be resumed.
#ifndef SPRIG_TOOLS_RECEIVE_INTERRUPT_H
#define SPRIG_TOOLS_RECEIVE_INTERRUPT_H

namespace tool {

// Takes note of interrupts as long as it lives, instead of dying from them. One at a time.
class InterruptHandler {
public:
  InterruptHandler();
  ~InterruptHandler();
  InterruptHandler(const InterruptHandler &) = delete;
  InterruptHandler &operator=(const InterruptHandler &) = delete;

  // An interrupt also ends this stream, so that nobody waits for it any longer. -1: none.
  static void endWhenInterrupted(int descriptor);
  static bool isInterrupted();
  // Throws Failure, status interrupted.
  static void endIfInterrupted();
};

} // namespace tool

#endif

// Try frames, and the runtime's own use of them.
#ifndef SPRIG_RUNTIME_EXCEPTIONS_FRAME_H
#define SPRIG_RUNTIME_EXCEPTIONS_FRAME_H

#include <csetjmp>
#include <type_traits>

#include <sprig/framework.h>

struct EhFrame {
  std::remove_extent_t<jmp_buf> *buffer;
  EhFrame *outer;
  struct Delegation *delegations; // the last first
  void *exception;                // that came to this frame
  bool isHandling;                // one came, and the frame has not been closed since
  bool isClaimed;
  bool isPassedOn;
  bool isOnHeap;
};

namespace sprig::runtime {

// Throws a record.
[[noreturn]] void throwRecord(void *record);

// Whether a record has been thrown and came to a frame that is still there.
bool isThrown(const void *record);

// Opens a frame in storage of the caller's, which needs no memory.
void openFrame(EhFrame &frame, jmp_buf buffer);

// Takes the exception that came to a frame out of it, and closes the frame.
void *closeWithException(EhFrame &frame);

// Runs a body in a frame. An exception is passed to the handler, whose it is, when the frame has
// been closed. No object with a destructor may be alive in the body where it throws.
template <typename Body, typename Handler> void inTryFrame(Body &&body, Handler &&handler) {
  jmp_buf buffer;
  EhFrame frame;
  openFrame(frame, buffer);
  if (setjmp(buffer) == 0) { // NOLINT(cert-err52-cpp): this is how exceptions travel here
    body();
    eh_pop_try(&frame);
  } else {
    handler(closeWithException(frame));
  }
}

// Runs a body in a frame, which releases what it delegates.
template <typename Body> void inTryFrame(Body &&body) { inTryFrame(body, throwRecord); }

// Reports an exception through an environment; without one, throws it.
inline void putInto(Environment *environment, void *exception) {
  if (environment == nullptr) {
    throwRecord(exception);
  }
  environment->exception = exception;
}

} // namespace sprig::runtime

#endif

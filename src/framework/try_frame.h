// Try frames for the library's own use: the one place where it calls setjmp().
#ifndef SPRIG_FRAMEWORK_TRY_FRAME_H
#define SPRIG_FRAMEWORK_TRY_FRAME_H

#include <csetjmp>

#include <sprig/framework.h>

namespace sprig {

// Runs a body in a frame of its own; where an exception comes to it, calls onException(frame),
// which claims it with eh_catch_all() or passes it on with eh_again(), and then closes the frame.
//
// The body is a function of its own, so that an exception leaves no variable of the caller's
// undetermined. No object with a destructor may be alive in it where it throws.
template <typename Body, typename OnException>
void inTryFrame(Body &&body, OnException &&onException) {
  jmp_buf buffer;
  EhFrame *const frame = eh_push_try(buffer);
  if (setjmp(buffer) == 0) { // NOLINT(cert-err52-cpp): this is how exceptions travel here
    body();
  } else {
    onException(frame);
  }
  eh_pop_try(frame);
}

// Runs a body in a frame of its own, which releases what the body delegates; exceptions pass on.
template <typename Body> void inTryFrame(Body &&body) {
  inTryFrame(body, [](EhFrame *frame) { eh_again(frame); });
}

// Runs a body in a frame of its own. Returns whether it ended without an exception; one that came
// is first shown to the handler: onException(void *record).
template <typename Body, typename OnException>
[[nodiscard]] bool catchAll(Body &&body, OnException &&onException) {
  bool isDone = true;
  inTryFrame(body, [&](EhFrame *frame) {
    isDone = false;
    if (eh_catch_all(frame) == 0) {
      eh_again(frame);
      return;
    }
    onException(eh_current_exception(frame));
  });
  return isDone;
}

} // namespace sprig

#endif

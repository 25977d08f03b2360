// Try frames: what is thrown, where it goes, and what is released on its way.
#include "exceptions/frame.h"

#include <utility>

#include "exceptions/exhaustion.h"
#include "exceptions/record.h"
#include "exceptions/uncaught.h"
#include "memory/heap.h"
#include "memory/thread_exit.h"

using namespace sprig::runtime;

struct Delegation {
  void *block;
  void (*release)(void *);
  Delegation *next;
};

namespace {

[[gnu::tls_model("initial-exec")]] constinit thread_local struct {
  EhFrame *innermost;
  EhFrame *kept; // closed before its exception was passed on
} state{};

bool isOpen(const EhFrame *frame) {
  const EhFrame *at = state.innermost;
  while (at != nullptr && at != frame) {
    at = at->outer;
  }
  return at != nullptr;
}

void discard(EhFrame *frame) {
  if (frame->isOnHeap) {
    mg_free(frame);
  }
}

// What the frame had before is over.
void receive(EhFrame &frame, void *record) {
  if (frame.exception != nullptr && frame.exception != record) {
    releaseRecord(frame.exception);
    frame.isClaimed = false;
  }
  frame.exception = record;
}

// Releases what was delegated to the innermost frame, and closes it. A release that throws comes
// back here, so that the others are done too; its exception takes the place of the first.
void close(EhFrame *const frame) {
  jmp_buf again;
  frame->buffer = again;
  (void)setjmp(again); // NOLINT(cert-err52-cpp)
  frame->isHandling = false;
  while (frame->delegations != nullptr) {
    Delegation *const last = frame->delegations;
    const Delegation delegation = *last;
    frame->delegations = last->next;
    mg_free(last);
    delegation.release(delegation.block);
  }
  state.innermost = frame->outer;
}

// Closes a frame for good. The exception that is left is the caller's.
void *leave(EhFrame *frame) {
  close(frame);
  void *exception = frame->exception;
  discard(frame);
  return exception;
}

// Closes what was opened inside of a frame and never closed.
void closeInside(const EhFrame *frame) {
  while (state.innermost != frame) {
    if (void *exception = leave(state.innermost)) {
      releaseRecord(exception);
    }
  }
}

void releaseKept() {
  if (state.kept != nullptr) {
    releaseRecord(state.kept->exception);
    discard(std::exchange(state.kept, nullptr));
  }
}

const ThreadExit atExit(releaseKept);

// One is kept per thread: what nobody passed on before is given up.
void keep(EhFrame *frame) {
  releaseKept();
  state.kept = frame;
  atExit.request();
}

// A record that is thrown leaves the frame that has it.
void takeOut(const void *record) {
  for (EhFrame *frame = state.innermost; frame != nullptr; frame = frame->outer) {
    if (frame->exception == record) {
      frame->exception = nullptr;
    }
  }
}

} // namespace

void sprig::runtime::throwRecord(void *record) {
  takeOut(record);
  while (state.innermost != nullptr && state.innermost->isHandling) { // thrown by a handler
    receive(*state.innermost, record);
    record = leave(state.innermost);
  }
  if (state.innermost == nullptr) {
    endProcessFor(record);
  }
  EhFrame *const frame = state.innermost;
  receive(*frame, record);
  frame->isHandling = true;
  longjmp(frame->buffer, 1); // NOLINT(cert-err52-cpp)
}

bool sprig::runtime::isThrown(const void *record) {
  const EhFrame *at = state.innermost;
  while (at != nullptr && at->exception != record) {
    at = at->outer;
  }
  return at != nullptr || (state.kept != nullptr && state.kept->exception == record);
}

void sprig::runtime::openFrame(EhFrame &frame, jmp_buf buffer) {
  frame = {};
  frame.buffer = buffer;
  frame.outer = state.innermost;
  state.innermost = &frame;
}

void *sprig::runtime::closeWithException(EhFrame &frame) {
  closeInside(&frame);
  close(&frame);
  return frame.exception;
}

EhFrame *eh_push_try(jmp_buf buffer) {
  auto *frame = static_cast<EhFrame *>(mg_malloc(sizeof(EhFrame)));
  openFrame(*frame, buffer);
  frame->isOnHeap = true;
  return frame;
}

void eh_pop_try(EhFrame *frame) {
  if (!isOpen(frame)) {
    return;
  }
  closeInside(frame);
  const bool isUnclaimed = frame->exception != nullptr && !frame->isClaimed && !frame->isPassedOn;
  close(frame);
  if (isUnclaimed) {
    keep(frame);
    return;
  }
  const bool isClaimed = frame->isClaimed;
  void *const exception = frame->exception;
  discard(frame);
  if (exception != nullptr && isClaimed) {
    releaseRecord(exception);
  } else if (exception != nullptr) {
    throwRecord(exception);
  }
}

void eh_again(EhFrame *frame, ...) {
  if (isOpen(frame)) {
    frame->isPassedOn = true;
    frame->isClaimed = false;
  } else if (frame != nullptr && frame == state.kept) {
    void *const exception = frame->exception;
    discard(std::exchange(state.kept, nullptr));
    throwRecord(exception);
  }
}

int eh_catch_all(EhFrame *frame) {
  if (!isOpen(frame) || !frame->isHandling) {
    return 0;
  }
  frame->isClaimed = true;
  frame->isPassedOn = false;
  return 1;
}

void *eh_current_exception(EhFrame *frame) {
  const bool isKnown = frame != nullptr && (isOpen(frame) || frame == state.kept);
  return isKnown ? frame->exception : nullptr;
}

void eh_rethrow(EhFrame *frame) {
  if (isOpen(frame)) {
    closeInside(frame);
  }
  void *const exception = eh_current_exception(frame);
  if (exception == nullptr) {
    endProcess("there is no exception to throw again");
  }
  eh_again(frame); // throws one that was kept
  throwRecord(exception);
}

void eh_throw(const char *type_name, void *record) {
  if (record == nullptr) {
    vaThrow(nullptr, 0, "An exception of the type %1$s was thrown without a record.\n", type_name);
  }
  throwRecord(record);
}

void ex_delegate(void *block, void (*release)(void *)) {
  if (block == nullptr || state.innermost == nullptr) {
    return;
  }
  auto *delegation = static_cast<Delegation *>(tryAllocate(sizeof(Delegation)));
  if (delegation == nullptr) {
    release(block);
    throwNoMemory();
  }
  *delegation = {block, release, state.innermost->delegations};
  state.innermost->delegations = delegation;
}

void ex_undelegate(void *block, int /*reserved*/) {
  for (EhFrame *frame = state.innermost; frame != nullptr; frame = frame->outer) {
    for (Delegation **at = &frame->delegations; *at != nullptr; at = &(*at)->next) {
      if ((*at)->block == block) {
        Delegation *found = *at;
        *at = found->next;
        mg_free(found);
        return;
      }
    }
  }
}

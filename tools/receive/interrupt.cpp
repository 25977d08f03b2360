#include "receive/interrupt.h"

#include <atomic>
#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "failure.h"

namespace tool {
namespace {

// What a signal handler may use.
volatile std::sig_atomic_t hasSignal = 0;
std::atomic<int> stream = -1;
std::atomic<int> nothing = -1; // /dev/null

static_assert(std::atomic<int>::is_always_lock_free);

// Who reads a pipe finds its end when /dev/null takes its place.
void onSignal(int /*signal*/) {
  const int error = errno;
  hasSignal = 1;
  const int descriptor = stream;
  if (descriptor >= 0 && shutdown(descriptor, SHUT_RDWR) == -1) {
    dup2(nothing, descriptor);
  }
  errno = error;
}

void handle(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  for (const int signal : {SIGINT, SIGTERM}) {
    sigaction(signal, &action, nullptr);
  }
}

} // namespace

InterruptHandler::InterruptHandler() {
  hasSignal = 0;
  nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  handle(onSignal);
}

InterruptHandler::~InterruptHandler() {
  handle(SIG_DFL);
  stream = -1;
  close(nothing.exchange(-1));
}

void InterruptHandler::endWhenInterrupted(int descriptor) {
  stream = descriptor;
  if (isInterrupted() && descriptor >= 0) { // just before
    onSignal(SIGINT);
  }
}

bool InterruptHandler::isInterrupted() { return hasSignal != 0; }

void InterruptHandler::endIfInterrupted() {
  if (isInterrupted()) {
    throw Failure("interrupted", {}, interrupted);
  }
}

} // namespace tool

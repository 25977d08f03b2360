#include "serve/orders.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include "failure.h"

namespace tool {

SignalQueue::SignalQueue(std::initializer_list<int> signals) {
  sigemptyset(&signals_);
  for (const int signal : signals) {
    sigaddset(&signals_, signal);
  }
  sigprocmask(SIG_BLOCK, &signals_, nullptr);
  descriptor_ = Descriptor(signalfd(-1, &signals_, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!descriptor_) {
    throw systemFailure("signals");
  }
}

int SignalQueue::next() const {
  signalfd_siginfo information;
  const ssize_t count = read(get(), &information, sizeof information);
  return count == sizeof information ? static_cast<int>(information.ssi_signo) : 0;
}

void SignalQueue::release() const { sigprocmask(SIG_UNBLOCK, &signals_, nullptr); }

sprig::Command Orders::next() const {
  switch (signals_.next()) {
  case pauseSignal:
    return sprig::Command::pause;
  case cancelSignal:
    return sprig::Command::cancel;
  default:
    return sprig::Command::none;
  }
}

void Orders::give(sprig::Command command, pid_t process) {
  kill(process, command == sprig::Command::pause ? pauseSignal : cancelSignal);
}

} // namespace tool

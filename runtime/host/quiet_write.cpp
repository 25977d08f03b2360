#include "host/quiet_write.h"

#include <cerrno>
#include <csignal>
#include <ctime>

// The signal goes to the thread that writes; one that was waiting
// before is somebody else's, and stays.
ssize_t sprig::runtime::writeWithoutSignal(int fd, const iovec *parts, int count) {
  sigset_t pipe;
  sigset_t before;
  sigset_t waiting;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  sigpending(&waiting);
  const ssize_t result = writev(fd, parts, count);
  const int error = errno;
  if (result == -1 && error == EPIPE && sigismember(&waiting, SIGPIPE) == 0) {
    const timespec atOnce{};
    while (sigtimedwait(&pipe, nullptr, &atOnce) == -1 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return result;
}

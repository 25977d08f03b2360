#include "channel/channel.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sprig/framework.h>

#include "channel/address.h"
#include "channel/descriptor.h"
#include "channel/writer.h"
#include "exceptions/exhaustion.h"

using namespace sprig::runtime;

namespace {

int32_t sessionOfEnvironment() {
  const char *text = getenv("KRT_SESSION");
  if (text == nullptr || *text == '\0') {
    return 0;
  }
  int32_t session = 0;
  const char *const end = text + strlen(text);
  const auto [behind, error] = std::from_chars(text, end, session);
  if (error != std::errc() || behind != end) {
    vaThrow(nullptr, 0, "KRT_SESSION is \"%1$s\", which is not the number of a session.\n", text);
  }
  return session;
}

// Leaves nothing where they were, so that what else the process reads and prints does not get
// between the messages.
bool takeStandardStreams(int &readFd, int &writeFd) {
  Descriptor input(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  Descriptor output(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  const Descriptor nothing(open("/dev/null", O_RDWR | O_CLOEXEC));
  if (!input || !output || !nothing || dup2(nothing.get(), STDIN_FILENO) == -1 ||
      (dup2(STDERR_FILENO, STDOUT_FILENO) == -1 && dup2(nothing.get(), STDOUT_FILENO) == -1)) {
    return false;
  }
  readFd = input.release();
  writeFd = output.release();
  return true;
}

const char *reasonFor(int answer) {
  switch (answer) {
  case endOfStream:
  case EPIPE:
    return "the sender has closed it";
  case ECONNRESET:
    return "the sender has broken it off";
  case EPROTO:
    return "what has arrived is no message";
  case EMSGSIZE:
    return "a message was announced that is longer than 256 MiB";
  case EBADMSG:
    return "a message has arrived damaged";
  default:
    return strerror(answer);
  }
}

} // namespace

constinit Channel sprig::runtime::theChannel;

void Channel::open() {
  if (state_ != State::unused) {
    expectUsable();
    return;
  }
  const char *address = getenv("KRT_CHANNEL");
  if (address == nullptr || *address == '\0') {
    vaThrow(nullptr, 0, "There is no channel to the sender: KRT_CHANNEL is not set.\n");
  }
  const int32_t session = sessionOfEnvironment();
  int readFd = -1;
  int writeFd = -1;
  if (strcmp(address, "stdio:") == 0) {
    takeStandardStreams(readFd, writeFd);
  } else {
    readFd = writeFd = connectTo(address);
  }
  if (readFd == -1 && errno == EINVAL) {
    vaThrow(nullptr, 0, "KRT_CHANNEL is \"%1$s\", which is not the address of a channel.\n",
            address);
  }
  if (readFd == -1) {
    vaThrow(nullptr, 0, "The channel %1$s cannot be opened: %2$s.\n", address, strerror(errno));
  }
  use(readFd, writeFd, session);
  isOurs_ = true;
  (void)snprintf(name_, sizeof name_, "%s", address);
}

void Channel::use(int readFd, int writeFd, int32_t session) {
  close();
  readFd_ = readFd;
  writeFd_ = writeFd;
  session_ = session;
  isOurs_ = false;
  state_ = readFd == -1 && writeFd == -1 ? State::unused : State::inUse;
  const char *const format = readFd == writeFd ? "fd:%d" : "fd:%d,%d";
  (void)snprintf(name_, sizeof name_, format, readFd, writeFd);
}

int32_t Channel::session() const {
  return state_ == State::unused ? sessionOfEnvironment() : session_;
}

void Channel::send(const RuntimeMessage &message) {
  expectUsable();
  const int error = writeFrame(writeFd_, message);
  if (error == EMSGSIZE) {
    vaThrow(nullptr, 0, "A message of %1$u bytes is too long for the channel %2$s.\n",
            message.length, name_);
  }
  if (error != 0) {
    cutOff(reasonFor(error));
  }
}

RuntimeMessage Channel::receive() {
  RuntimeMessage message{};
  (void)receiveBy(Deadline(-1), message);
  return message;
}

bool Channel::poll(RuntimeMessage &message) { return receiveBy(Deadline(0), message); }

void Channel::putBack(const RuntimeMessage &message) {
  putBack_ = message;
  isPutBack_ = true;
}

void Channel::cutOff(const char *reason) {
  (void)shutdown(readFd_, SHUT_RDWR);
  (void)shutdown(writeFd_, SHUT_RDWR);
  close();
  state_ = State::cutOff;
  vaThrow(nullptr, 0, "The channel %1$s is cut off: %2$s.\n", name_, reason);
}

void Channel::close() {
  if (isOurs_) {
    ::close(readFd_);
    if (writeFd_ != readFd_) {
      ::close(writeFd_);
    }
  }
  readFd_ = writeFd_ = -1;
  isOurs_ = false;
  reader_.release();
  mg_free(putBack_.data);
  putBack_ = {};
  isPutBack_ = false;
}

bool Channel::receiveBy(const Deadline &deadline, RuntimeMessage &message) {
  expectUsable();
  if (isPutBack_) {
    message = putBack_;
    putBack_ = {};
    isPutBack_ = false;
    return true;
  }
  const int answer = reader_.read(readFd_, deadline, message);
  if (answer == ETIME) {
    return false;
  }
  if (answer == ENOMEM) {
    throwNoMemory();
  }
  if (answer != 0) {
    cutOff(reasonFor(answer));
  }
  if (message.session_id != session_) {
    char reason[sizeof "a message of the session -2147483648 has arrived, not of -2147483648"];
    (void)snprintf(reason, sizeof reason, "a message of the session %d has arrived, not of %d",
                   message.session_id, session_);
    mg_free(message.data);
    cutOff(reason);
  }
  return true;
}

void Channel::expectUsable() {
  if (state_ != State::inUse) {
    vaThrow(nullptr, 0, "The channel %1$s is closed.\n", name_);
  }
}

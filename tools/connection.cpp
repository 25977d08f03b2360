#include "connection.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "address.h"
#include "output.h"

namespace tool {
namespace {

Descriptor movedAway(int descriptor) {
  Descriptor copy(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!copy) {
    throw systemFailure(standardAddress);
  }
  return copy;
}

void replace(int descriptor, int source) {
  if (dup2(source, descriptor) == -1) {
    throw systemFailure(standardAddress);
  }
}

[[noreturn]] void throwFor(int error) {
  switch (error) {
  case EPROTO:
    throw Misbehaved("what has arrived is no message");
  case EMSGSIZE:
    throw Misbehaved("a message was announced that is longer than 256 MiB");
  case EBADMSG:
    throw Misbehaved("a message has arrived damaged");
  case ENOMEM:
    throw std::bad_alloc();
  default:
    throw Vanished();
  }
}

} // namespace

Misbehaved Message::insteadOf(const std::string &what) const {
  return Misbehaved("a message of type " + std::to_string(type()) + " and " +
                    counted(bytes().size(), "byte") + " has arrived in the place of " + what);
}

Connection::Connection(Descriptor socket, int32_t session)
    : input_(std::move(socket)), session_(session), peer_(peerOf(input_.get())) {}

Connection::Connection(Descriptor input, Descriptor output, int32_t session)
    : input_(std::move(input)), output_(std::move(output)), session_(session),
      peer_(shownAddress(standardAddress)) {}

Connection Connection::standard(int32_t session) {
  if (isTerminal(STDIN_FILENO) || isTerminal(STDOUT_FILENO)) {
    throw Failure(shownAddress(standardAddress) + ": they are a terminal",
                  "it is for programs that carry the channel, such as ssh", wrongUsage);
  }
  Connection connection(movedAway(STDIN_FILENO), movedAway(STDOUT_FILENO), session);
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  replace(STDIN_FILENO, nothing.get());
  replace(STDOUT_FILENO, STDERR_FILENO);
  return connection;
}

void Connection::send(int32_t type, std::string_view bytes) const {
  auto *data = reinterpret_cast<uint8_t *>(const_cast<char *>(bytes.data()));
  const RuntimeMessage message{type, session_, static_cast<uint32_t>(bytes.size()), data};
  if (runtime_channel_send(output(), &message) == -1) {
    throwFor(errno);
  }
}

std::optional<Message> Connection::receive(int milliseconds) const {
  RuntimeMessage received{};
  const int answer = runtime_channel_receive(input(), &received, milliseconds);
  if (answer == -1) {
    throwFor(errno);
  }
  if (answer == 1) {
    return std::nullopt;
  }
  Message message(received);
  if (message.session() != session_) {
    throw Misbehaved("a message of the session " + std::to_string(message.session()) +
                     " has arrived, not of " + std::to_string(session_));
  }
  return message;
}

std::string encodeNumber(int32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(static_cast<uint32_t>(number) >> shift);
  }
  return bytes;
}

int32_t decodeNumber(std::string_view bytes) {
  uint32_t number = 0;
  for (const char byte : bytes.substr(0, 4)) {
    number = number << 8 | static_cast<unsigned char>(byte);
  }
  return static_cast<int32_t>(number);
}

} // namespace tool

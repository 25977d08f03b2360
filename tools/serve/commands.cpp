#include "serve/commands.h"

#include <cerrno>

#include "connection.h"
#include "failure.h"
#include "home.h"
#include "output.h"

namespace tool {
namespace {

constexpr int patience = 10000;   // milliseconds, for an answer
constexpr int longestWait = 1000; // for a command: receivers wait meanwhile
constexpr int32_t anySession = 0;

bool isCommand(const std::optional<Message> &message) {
  return message && message->type() == RUNTIME_MESSAGE_DATA && message->bytes().size() == 1 &&
         (message->bytes()[0] == static_cast<char>(sprig::Command::pause) ||
          message->bytes()[0] == static_cast<char>(sprig::Command::cancel));
}

Connection connectTo(const std::string &distributionId) {
  const std::string address = commandAddress(distributionId);
  Descriptor socket(runtime_channel_connect(address.c_str()));
  if (!socket && (errno == ENOENT || errno == ECONNREFUSED)) {
    throw Failure(distributionId + ": no sender of it runs here",
                  "only one that was started by the same user with the same state directory is "
                  "found");
  }
  if (!socket) {
    throw systemFailure(distributionId);
  }
  return {std::move(socket), anySession};
}

} // namespace

CommandSocket::CommandSocket(const std::string &distributionId) {
  try {
    listener_.emplace(commandAddress(distributionId));
  } catch (const Failure &failure) {
    warn(distributionId + ": this sender cannot be paused or cancelled: " + failure.what());
  }
}

void CommandSocket::take(const std::function<int32_t(sprig::Command)> &carryOut) const {
  const Connection connection(listener_->accept(), anySession);
  try {
    const std::optional<Message> message = connection.receive(longestWait);
    if (isCommand(message)) {
      const auto command = static_cast<sprig::Command>(message->bytes()[0]);
      connection.send(RUNTIME_MESSAGE_REPLY, encodeNumber(carryOut(command)));
    }
  } catch (const Failure &) { // whoever gives no command gets no answer
  }
}

int32_t giveCommand(const std::string &distributionId, sprig::Command command) {
  const Connection connection = connectTo(distributionId);
  try {
    connection.send(RUNTIME_MESSAGE_DATA, std::string(1, static_cast<char>(command)));
    const std::optional<Message> reply = connection.receive(patience);
    if (reply && reply->type() == RUNTIME_MESSAGE_REPLY && reply->bytes().size() == 4) {
      return decodeNumber(reply->bytes());
    }
  } catch (const Vanished &) { // which is no answer, either
  }
  throw Failure(distributionId + ": its sender does not answer");
}

} // namespace tool

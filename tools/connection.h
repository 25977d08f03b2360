// One channel, as the side has it that listens: messages go over it, and what goes wrong is told
// apart into a peer that is gone and one that is not to be trusted.
#ifndef SPRIG_TOOLS_CONNECTION_H
#define SPRIG_TOOLS_CONNECTION_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <sprig/runtime.h>
#include <sprig/sprig.hpp>

#include "failure.h"
#include "file.h"

namespace tool {

// The other side is gone in the middle of something.
class Vanished : public Failure {
public:
  Vanished() : Failure("it has vanished") {}
};

// The other side sends what it may not.
class Misbehaved : public Failure {
public:
  explicit Misbehaved(const std::string &what) : Failure(what, "", refused) {}
};

class Message {
public:
  explicit Message(const RuntimeMessage &message) : message_(message), data_(message.data) {}

  int32_t type() const noexcept { return message_.type; }
  int32_t session() const noexcept { return message_.session_id; }
  std::string_view bytes() const noexcept {
    return {reinterpret_cast<const char *>(message_.data), message_.length};
  }
  // "a message of type 11 and 5 bytes has arrived in the place of WHAT"
  Misbehaved insteadOf(const std::string &what) const;

private:
  struct Release {
    void operator()(uint8_t *data) const { mg_free(data); }
  };
  RuntimeMessage message_;
  std::unique_ptr<uint8_t, Release> data_;
};

class Connection {
public:
  Connection(Descriptor socket, int32_t session);

  // Standard input and output. From then on the process has no input, and what it prints goes to
  // standard error.
  static Connection standard(int32_t session);

  void send(int32_t type, std::string_view bytes) const;
  // Waits for the next message; nothing where the other side has closed the channel.
  std::optional<Message> receive(int milliseconds = -1) const;

  int input() const noexcept { return input_.get(); }
  int output() const noexcept { return output_ ? output_.get() : input_.get(); }
  const std::string &peer() const noexcept { return peer_; }

private:
  Connection(Descriptor input, Descriptor output, int32_t session);

  Descriptor input_;
  Descriptor output_; // only where it is another one
  int32_t session_;
  std::string peer_;
};

// Numbers go over channels with their highest byte first.
std::string encodeNumber(int32_t number);
// Of the first four bytes.
int32_t decodeNumber(std::string_view bytes);

} // namespace tool

#endif

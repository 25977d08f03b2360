// A receiver as the sender sees it: on the other side of a channel, with everything that one may
// say and with what it may not.
#ifndef SPRIG_TESTS_TOOLS_RECEIVER_H
#define SPRIG_TESTS_TOOLS_RECEIVER_H

#include <cstdint>
#include <ostream>
#include <string>

#include <sprig/sprig.hpp>

#include "support/channel.h"

namespace test {

// What was sent to a receiver, and what came behind it: "end", "pause", "cancel", "closed".
struct Answer {
  std::string data;
  std::string end;

  friend bool operator==(const Answer &, const Answer &) = default;
};
std::ostream &operator<<(std::ostream &stream, const Answer &answer);

class Receiver {
public:
  explicit Receiver(const std::string &address);

  void ask(const sprig::TableOfContents &table) const;
  // A message of any type.
  void say(int32_t type, const std::string &payload, int32_t session = 0) const;
  // The next piece of data, which must be one.
  std::string takePiece() const;
  // All data to the end of the answer, or of the conversation.
  Answer take() const;
  // Asks, and takes the answer.
  Answer get(const sprig::TableOfContents &table) const;

  int fd() const { return socket_.fd(); }

private:
  OpenFile socket_;
};

} // namespace test

#endif

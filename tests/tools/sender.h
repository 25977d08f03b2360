// The sending side of a channel, which a test takes itself, step by step. What the program has done
// by then, it has done: nobody needs to wait for it.
#ifndef SPRIG_TESTS_TOOLS_SENDER_H
#define SPRIG_TESTS_TOOLS_SENDER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <sprig/sprig.hpp>

#include "support/channel.h"

namespace test {

// What is packed in a directory, as it says itself.
sprig::PropertyList loadDistribution(const std::string &directory);
sprig::TableOfContents tableOf(const sprig::PropertyList &distribution);
// Changes it, by a change that may well be a lie.
void changeDistribution(const std::string &directory,
                        const std::function<void(sprig::PropertyList &)> &change);

class Sender {
public:
  // What is sent of a segment in the place of what it lacks.
  using Alter = std::function<std::string(std::string_view id, std::string bytes)>;

  // Listens at address(), "unix:sender" in the current directory, with what is packed there.
  explicit Sender(std::string distribution);

  static std::string address() { return "unix:sender"; }

  // Waits for a receiver, tells it the distribution, and gives the table that it sends then.
  sprig::TableOfContents begin();
  // Waits for a receiver.
  void accept();
  // Waits for its next table; none when it closes the channel instead.
  std::optional<sprig::TableOfContents> awaitTable() const;
  void tellDistribution() const;

  // What the segments of a table lack, one behind the other.
  std::string lacking(const sprig::TableOfContents &table, const Alter &alter = nullptr) const;

  void sendData(std::string_view bytes) const;
  void sendEnd() const { send(RUNTIME_MESSAGE_END, ""); }
  // A command in the place of data.
  void sendCommand(sprig::Command command) const;
  // Bytes that need not be a message.
  void sendRaw(const std::string &bytes) const { writeBytes(connection_.fd(), bytes); }
  // Answers every table until the receiver closes the channel. Returns how many bytes of segments
  // it sent.
  uint64_t serve(const Alter &alter = nullptr);
  // Answers this table, and every other that comes.
  uint64_t serveFrom(const sprig::TableOfContents &first, const Alter &alter = nullptr) const;
  // Whether the receiver closes the channel without another word.
  bool isLeft() const { return !awaitTable(); }
  void hangUp() { connection_ = OpenFile(); }

private:
  void send(int32_t type, std::string bytes) const;

  std::string distribution_;
  OpenFile listener_;
  OpenFile connection_;
};

} // namespace test

#endif

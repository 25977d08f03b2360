// Channels as a test sees them: frames made by hand, without the code under test, and both ends.
#ifndef SPRIG_TESTS_SUPPORT_CHANNEL_H
#define SPRIG_TESTS_SUPPORT_CHANNEL_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <sprig/framework.h>
#include <sprig/runtime.h>

#include "support/process.h"

namespace test {

inline constexpr int32_t session = 7; // of the channels here

std::string bigEndian(uint32_t number);

// CRC-32C, bit by bit.
uint32_t referenceChecksum(const std::string &bytes);

// A frame, with the right checksum or another one.
std::string frameOf(int32_t type, const std::string &payload, int32_t ofSession = session);
std::string headerOf(int32_t type, int32_t ofSession, uint32_t length, uint32_t checksum);

// Bytes that repeat late, behind the command for data.
std::string dataOf(size_t length);

// A descriptor that is closed with its owner.
class OpenFile {
public:
  OpenFile() = default;
  explicit OpenFile(int fd) : fd_(fd) {}
  OpenFile(OpenFile &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  OpenFile &operator=(OpenFile &&other) noexcept;
  ~OpenFile();

  int fd() const { return fd_; }

private:
  int fd_ = -1;
};

// Two ends that are connected: of a socket, and of a pipe, where the first is the one to read from.
struct Ends {
  OpenFile first;
  OpenFile second;
};
Ends socketEnds();
Ends pipeEnds();

// Writes everything, and reads that many bytes, or fewer at the end of the stream.
void writeBytes(int fd, const std::string &bytes);
std::string readBytes(int fd, size_t count);

bool setNonBlocking(int fd);

// The port that a TCP socket is bound to.
int portOf(int socket);

// Gives way until a process waits in a system call.
bool awaitSleep(pid_t process);

// While it lives, this process gets only a few MiB more memory than it has.
class LittleMemory {
public:
  LittleMemory();
  ~LittleMemory();
  LittleMemory(const LittleMemory &) = delete;
  LittleMemory &operator=(const LittleMemory &) = delete;

private:
  rlimit before_{};
};

// What a call gave that takes a message, and the data released.
struct Received {
  std::optional<std::string> data = std::nullopt; // none: null
  std::string thrown = {};

  bool operator==(const Received &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Received &received);

inline const Received nothing;
Received data(const std::string &bytes);
// A failure that cut the channel off.
Received cutOff(const std::string &channel, const std::string &reason);

Received receive(const OctetList *toc = nullptr);
Received poll();

// The text of what a piece of a test throws; empty where it throws nothing.
std::string textThrown(void (*body)(void *), void *context);
template <typename Body> std::string textThrown(Body &&body) {
  return textThrown(
      [](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); }, &body);
}

// This process's channel is one end of a socket; the test has the other.
class ChannelTest : public testing::Test {
protected:
  ChannelTest() { connect(); }
  ~ChannelTest() override { runtime_set_channel(-1, -1, 0); }

  // A new connection in the place of the old one.
  void connect();
  // The name that failures give to it.
  std::string name() const { return "fd:" + std::to_string(ends.first.fd()); }

  // A process that has the other end. This one has it no more.
  std::unique_ptr<Child> startPeer(const std::function<int(int fd)> &body);

  void put(const std::string &bytes) const { writeBytes(ends.second.fd(), bytes); }
  std::string take(size_t count) const { return readBytes(ends.second.fd(), count); }
  void closePeer() { ends.second = OpenFile(); }

  Ends ends;
};

} // namespace test

#endif

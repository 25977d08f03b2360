// Two processes that bring messages from one to the other.
#ifndef SPRIG_BENCH_STREAMS_EXCHANGE_H
#define SPRIG_BENCH_STREAMS_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench {

// Where a process finds the other one.
struct Meeting {
  int socket;          // its end of a connected stream
  std::string address; // of a socket that the two may make
};

// What one of the processes does. Failures throw.
class Party {
public:
  Party() = default;
  virtual ~Party() = default;
  Party(const Party &) = delete;
  Party &operator=(const Party &) = delete;

  // Sends or receives so many messages.
  virtual void exchange(int64_t count) = 0;
};

using PartyMaker = std::unique_ptr<Party> (*)(const Meeting &meeting);

struct Subject {
  const char *name;
  PartyMaker own; // what is measured
  PartyMaker peer;
};

// Registers a benchmark of an exchange for each way to place the processes: "GROUP-one-cpu", and
// "GROUP-two-cpus" where there are two. The time is that of one message.
void addExchange(const std::string &group, const Subject &subject, int64_t count);

constexpr size_t dataSize = 16384; // of a message
constexpr uint8_t dataCommand = 1; // stands in front of data for an endpoint

// Data that are not always the same, as a sender has them: in blocks, behind a command byte.
class Blocks {
public:
  Blocks();

  // The next block. Its first byte is the command.
  const uint8_t *next() { return blocks_[place_++ % blocks_.size()].data(); }

private:
  std::vector<std::vector<uint8_t>> blocks_;
  size_t place_ = 0;
};

// Holds what has arrived, without its command byte, against what comes next.
class Expected {
public:
  void check(const void *data, size_t size);

private:
  Blocks blocks_;
};

} // namespace bench

#endif

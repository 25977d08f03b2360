#include "streams/exchange.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "properties/files.h"

namespace bench {
namespace {

constexpr size_t blockCount = 64; // 1 MiB, which stays in a cache

// Where the two processes run.
struct Placement {
  const char *name;
  int own;
  int peer;
};

void require(bool condition, const char *what) {
  if (!condition) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

// Those of this process, as they are when the program starts.
std::vector<int> allowedCpus() {
  cpu_set_t set;
  require(sched_getaffinity(0, sizeof set, &set) == 0, "sched_getaffinity");
  std::vector<int> cpus;
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (CPU_ISSET(cpu, &set)) {
      cpus.push_back(cpu);
    }
  }
  return cpus;
}

void runOn(int cpu) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(cpu, &set);
  require(sched_setaffinity(0, sizeof set, &set) == 0, "sched_setaffinity");
}

std::vector<Placement> placements() {
  static const std::vector<int> cpus = allowedCpus();
  std::vector<Placement> placements = {{"-one-cpu", cpus[0], cpus[0]}};
  if (cpus.size() > 1) {
    placements.push_back({"-two-cpus", cpus[0], cpus[1]});
  }
  return placements;
}

class Connection {
public:
  Connection() { require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends_) == 0, "socketpair"); }
  ~Connection() {
    closeEnd(0);
    closeEnd(1);
  }
  Connection(const Connection &) = delete;
  Connection &operator=(const Connection &) = delete;

  int end(int which) const { return ends_[which]; }
  void closeEnd(int which) {
    if (ends_[which] != -1) {
      close(std::exchange(ends_[which], -1));
    }
  }

private:
  int ends_[2]{};
};

void giveSign(int socket) { require(write(socket, "", 1) == 1, "write"); }

void awaitSign(int socket) {
  char sign = 0;
  require(read(socket, &sign, 1) == 1, "read");
}

// A first message shows that both are there. What comes behind it waits for a sign, so that none
// is on its way before the time begins.
void runPeer(PartyMaker make, const Meeting &meeting, int signs, int64_t count) {
  const std::unique_ptr<Party> party = make(meeting);
  party->exchange(1);
  awaitSign(signs);
  party->exchange(count);
}

double runOwn(PartyMaker make, const Meeting &meeting, int signs, int64_t count) {
  using Clock = std::chrono::steady_clock;
  const std::unique_ptr<Party> party = make(meeting);
  party->exchange(1);
  giveSign(signs);
  const Clock::time_point start = Clock::now();
  party->exchange(count);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

double secondsFor(const Subject &subject, const Placement &placement, int64_t count) {
  const Directory directory;
  const std::string address = directory / "socket";
  Connection messages;
  Connection signs;
  const pid_t peer = fork();
  require(peer != -1, "fork");
  const int end = peer == 0 ? 1 : 0;
  messages.closeEnd(1 - end);
  signs.closeEnd(1 - end);
  if (peer == 0) {
    try {
      runOn(placement.peer);
      runPeer(subject.peer, {messages.end(end), address}, signs.end(end), count);
      _exit(0);
    } catch (const std::exception &error) {
      (void)fprintf(stderr, "%s: %s\n", subject.name, error.what());
      _exit(1);
    }
  }
  runOn(placement.own);
  const double seconds = runOwn(subject.own, {messages.end(end), address}, signs.end(end), count);
  int status = 0;
  require(waitpid(peer, &status, 0) == peer && status == 0, "the other process");
  return seconds;
}

} // namespace

void addExchange(const std::string &group, const Subject &subject, int64_t count) {
  for (const Placement &placement : placements()) {
    const auto measure = [=](benchmark::State &state) {
      while (state.KeepRunningBatch(count)) {
        state.SetIterationTime(secondsFor(subject, placement, count));
      }
    };
    const std::string name = group + placement.name + '/' + subject.name;
    benchmark::RegisterBenchmark(name.c_str(), measure)->Arg(dataSize)->UseManualTime();
  }
}

Blocks::Blocks() {
  for (size_t i = 0; i < blockCount; ++i) {
    std::vector<uint8_t> block(1 + dataSize, dataCommand);
    for (size_t k = 1; k < block.size(); ++k) {
      block[k] = static_cast<uint8_t>(7 * k + k / 251 + i);
    }
    blocks_.push_back(std::move(block));
  }
}

void Expected::check(const void *data, size_t size) {
  const uint8_t *expected = blocks_.next() + 1;
  const bool isSame = size == dataSize && memcmp(data, expected, sizeof(uint64_t)) == 0;
  require(isSame, "a message came as another");
}

} // namespace bench

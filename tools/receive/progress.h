// How far a receive has come, shown while it runs.
#ifndef SPRIG_TOOLS_RECEIVE_PROGRESS_H
#define SPRIG_TOOLS_RECEIVE_PROGRESS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

// Shows one line that is rewritten on a terminal, and now and then a plain line elsewhere. It never
// goes back, and says 100 % only when it is told that everything is verified.
class Progress {
public:
  enum class Style { silent, stalls, plain, bar }; // stalls: only these

  // `start` bytes of `total` are there already. Nothing that arrives for `stall` is told as a
  // stall.
  Progress(std::string name, uint64_t total, uint64_t start, std::chrono::seconds stall,
           Style style);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  // So many bytes have arrived; `reached` is how many are there in all, without those that were
  // there before and had to come again.
  void arrived(uint64_t bytes, uint64_t reached);
  // Nothing more is to come: what takes time from now on is no stall.
  void awaitNothing() { isAwaiting_ = false; }
  // Everything is there and verified.
  void complete();
  // Takes the line away, or finishes it.
  void end();

  // What came in this run.
  uint64_t receivedBytes() const { return received_; }

private:
  using Clock = std::chrono::steady_clock;

  void run();
  void show();
  void showBar();
  void showPlain();
  bool isStalled() const;
  std::string rate() const;
  std::string timeLeft() const;
  unsigned percent() const;

  const std::string name_;
  const uint64_t total_;
  const uint64_t start_;
  const std::chrono::seconds stall_;
  const Style style_;
  const Clock::time_point began_ = Clock::now();

  std::atomic<uint64_t> received_ = 0;
  std::atomic<uint64_t> reached_;
  std::atomic<Clock::time_point> lastArrival_ = Clock::now();
  std::atomic<bool> isAwaiting_ = true;
  std::atomic<bool> isComplete_ = false;

  bool isStallTold_ = false;
  Clock::time_point lastLine_ = Clock::now();
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isEnded_ = false;
  std::thread display_;
};

} // namespace tool

#endif

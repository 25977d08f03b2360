// What the tests of operations on entries share: what an operation logs, and locks that fail it.
#ifndef SPRIG_TESTS_DEPOT_OPERATION_H
#define SPRIG_TESTS_DEPOT_OPERATION_H

#include <cerrno>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sprig/runtime.h>

#include "support/depot.h"
#include "support/pal_error.h"

namespace test {

using Names = std::vector<std::string>;

// The outcome of a wait on a lost lock.
inline constexpr PalError lockFailed{PAL_WAIT_TIMEOUT, EINVAL, 1};

// Makes every wait and post on a lock fail for as long as it lives.
class LostLock {
public:
  explicit LostLock(PalSemHandle &lock)
      : lock_(*lock.handle), set_(std::exchange(lock_.semid, -1)) {}
  ~LostLock() { lock_.semid = set_; }
  LostLock(const LostLock &) = delete;
  LostLock &operator=(const LostLock &) = delete;

private:
  PalInternalSem &lock_;
  int32_t set_;
};

// Loses a lock under an operation that holds it: from one line of the log until the operation
// reports, with another, that it could not give the lock back. Takes the log.
class LockLostInside {
public:
  LockLostInside(PalSemHandle &lock, std::string from, std::string report)
      : lock_(lock), from_(std::move(from)), report_(std::move(report)) {
    runtime_set_log_sink(
        [](void *self, int level, const char *text) {
          static_cast<LockLostInside *>(self)->see(level, text);
        },
        this);
  }
  ~LockLostInside() { runtime_set_log_sink(nullptr, nullptr); }
  LockLostInside(const LockLostInside &) = delete;
  LockLostInside &operator=(const LockLostInside &) = delete;

  bool isReported() const { return isReported_; }

private:
  void see(int level, const std::string &text) {
    if (text == from_ && !isReported_) {
      lost_.emplace(lock_);
    } else if (text == report_ && lost_) {
      isReported_ = level == 1;
      lost_.reset();
      PalPostSem(&lock_); // what the operation could not
    }
  }

  PalSemHandle &lock_;
  std::string from_;
  std::string report_;
  std::optional<LostLock> lost_;
  bool isReported_ = false;
};

// A test after which both locks are as free as they were before it: each handle adds one.
class OperationTest : public DepotTest {
protected:
  ~OperationTest() override {
    for (Depot *other : others_) {
      DepotFree(other);
    }
  }

  void TearDown() override {
    const auto free = static_cast<int>(2 + others_.size());
    EXPECT_EQ(semaphore("depot.lk"), free);
    EXPECT_EQ(semaphore("entry.lk"), free);
  }

  // A further handle, on the same depot or another. Released with the test.
  Depot *openDepot(const std::string &path = "depot") {
    EXPECT_EQ(DepotNew(&others_.emplace_back(), path.c_str(), 0), ok);
    log.clear();
    return others_.back();
  }

  // What is logged beside the traces.
  Lines problems() const { return log.upTo(2); }

  // Whether an operation's own traces stand at both ends of the log, or just the first of them.
  bool isTraced(const std::string &operation) const {
    return begins(operation) && log.lines().back() == LogLine{3, operation + " exit\n"};
  }
  bool isCutShort(const std::string &operation) const {
    return begins(operation) && !log.has(3, operation + " exit\n");
  }

  // Whether traces come in a given order, with whatever between them.
  bool hasInOrder(const std::vector<std::string> &traces) const {
    auto wanted = traces.begin();
    for (const LogLine &line : log.lines()) {
      if (wanted != traces.end() && line == LogLine{3, *wanted + "\n"}) {
        ++wanted;
      }
    }
    return wanted == traces.end();
  }

  // Calls that lack an argument, and what is logged of it.
  void expectInvalid(const std::string &operation,
                     std::initializer_list<std::function<PalError()>> calls) {
    for (const auto &call : calls) {
      EXPECT_EQ(call(), invalid(1)) << operation;
      expectInvalidLogged(operation);
    }
  }
  void expectInvalidLogged(const std::string &operation) {
    EXPECT_EQ(problems(), (Lines{{0, operation + " exit.  Invalid parameter\n"}}));
    EXPECT_FALSE(log.has(3, operation + " exit\n"));
    log.clear();
  }

  // Puts a directory with something in it where a file was: it can be neither written nor removed.
  static void block(const std::string &path) {
    std::filesystem::remove(path);
    std::filesystem::create_directories(path + "/something");
  }

private:
  bool begins(const std::string &operation) const {
    return !log.lines().empty() && log.lines().front() == LogLine{3, operation + " entry\n"};
  }

  std::vector<Depot *> others_;
};

} // namespace test

#endif

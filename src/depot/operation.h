// The shape of every operation on a depot: trace, lock, act, unlock, trace.
#ifndef SPRIG_DEPOT_OPERATION_H
#define SPRIG_DEPOT_OPERATION_H

#include <cstddef>
#include <optional>

#include <sprig/depot.h>

#include "posix/directory_lock.h"
#include "posix/error.h"

namespace sprig {

// What is logged about a lock. Formats take the palError and the nativeError of a failure.
struct LockTexts {
  const char *refused;    // the wait failed, which ends the operation; null: its caller says so
  const char *ignored;    // it failed with -2 and the operation goes on; null: that ends it too
  const char *unreleased; // the post failed
  int refusedLevel = 0;
};

// An operation's name, and the texts that follow from it, put together by the compiler.
class OperationName {
public:
  template <size_t size>
  consteval explicit OperationName(const char (&name)[size]) // NOLINT: the length is wanted
  {
    entry.set(name, " entry\n");
    exit.set(name, " exit\n");
    invalid.set(name, " exit.  Invalid parameter\n");
    refused.set(name, " exit.  Error %d(%d) obtaining lock\n");
    ignored.set(name, " continue. Ignore WAIT_TIMEOUT\n");
    unreleased.set(name, " error %d releasing lock\n");
  }

  struct Text {
    char text[80] = {};

    consteval void set(const char *name, const char *rest) {
      char *at = text;
      for (const char *part : {name, rest}) {
        while (*part != '\0') {
          *at++ = *part++;
        }
      }
    }
  };

  // Of a lock without which the operation ends, and of one that it can do without.
  constexpr LockTexts needed() const { return {refused.text, nullptr, unreleased.text}; }
  constexpr LockTexts wanted() const { return {refused.text, ignored.text, unreleased.text}; }

  Text entry, exit, invalid, refused, ignored, unreleased;
};

// One of a depot's semaphores, and with it the kernel's lock on the directory, for as long as this
// lives. The semaphores alone do not exclude: each open handle has raised them by one.
//
// Everybody takes the locks in one order: the depot's semaphore, the kernel's lock, then the
// semaphore of the enumeration or of the entries.
class HeldLock {
public:
  using Mode = DirectoryLock::Mode;

  HeldLock(Depot &depot, PalSemHandle &semaphore, const LockTexts &texts,
           Mode mode = Mode::exclusive);
  ~HeldLock() { release(); }
  HeldLock(const HeldLock &) = delete;
  HeldLock &operator=(const HeldLock &) = delete;

  // Whether to go on: the semaphore is held, or its failure is ignored.
  explicit operator bool() const { return isHeld_; }
  // The outcome of the wait.
  PalError waited() const { return waited_; }

  void release();
  // Gives back the kernel's lock, and leaves the semaphore taken.
  void leaveTaken();

private:
  bool isDepotLock() const { return &semaphore_ == &depot_.depotLock; }
  void wait();
  void lockDirectory(Mode mode) const;
  void unlockDirectory() const;

  Depot &depot_;
  PalSemHandle &semaphore_;
  LockTexts texts_;
  PalError waited_ = success;
  bool isHeld_ = false;
};

inline constexpr PalError nullArgument = invalidParameter(1);

// An operation from its entry to its exit: traces both, and in between holds the lock that it asks
// for, if its arguments are given.
class Operation {
public:
  Operation(const OperationName &name, bool areArgumentsGiven)
      : name_(name), goesOn_(areArgumentsGiven), isTraced_(areArgumentsGiven) {
    traceEntry(name, areArgumentsGiven);
  }
  Operation(const OperationName &name, bool areArgumentsGiven, Depot *depot,
            PalSemHandle Depot::*semaphore, const LockTexts &texts,
            HeldLock::Mode mode = HeldLock::Mode::exclusive)
      : Operation(name, depot != nullptr && areArgumentsGiven) {
    if (*this) {
      hold(*depot, depot->*semaphore, texts, mode);
    }
  }
  ~Operation();
  Operation(const Operation &) = delete;
  Operation &operator=(const Operation &) = delete;

  // Whether to go on, and if not, why. That has been logged.
  explicit operator bool() const { return goesOn_; }
  PalError failure() const { return failure_; }

  // Takes a lock in the middle of the operation; false when it ends there, which has been logged.
  bool hold(Depot &depot, PalSemHandle &semaphore, const LockTexts &texts,
            HeldLock::Mode mode = HeldLock::Mode::exclusive);

  // The lock of an operation that has one.
  HeldLock &lock() { return *lock_; }
  // Gives the lock back before the end.
  void unlock();

  // Ends with a message in place of the trace of the exit, written when the lock has been given
  // back. The format takes the palError and the nativeError.
  PalError endWith(PalError error, const char *format);
  // Ends without that trace.
  void endSilently() { isTraced_ = false; }

private:
  static void traceEntry(const OperationName &name, bool areArgumentsGiven);

  const OperationName &name_;
  bool goesOn_;
  bool isTraced_;
  PalError failure_ = nullArgument; // when it does not go on
  std::optional<HeldLock> lock_;
};

} // namespace sprig

#endif

// The lock between processes that a depot uses.
#ifndef SPRIG_BENCH_DEPOT_SEMAPHORE_H
#define SPRIG_BENCH_DEPOT_SEMAPHORE_H

#include <sys/ipc.h>
#include <sys/sem.h>

#include "depot/workspace.h"

namespace bench {

// A System V semaphore that the kernel gives back when its holder dies. For std::lock_guard.
class Semaphore {
public:
  Semaphore() : set_(semget(IPC_PRIVATE, 1, ownerOnly)) {
    require(set_ != -1 && semctl(set_, 0, SETVAL, 1) == 0, "semaphore");
  }
  ~Semaphore() { semctl(set_, 0, IPC_RMID); }
  Semaphore(const Semaphore &) = delete;
  Semaphore &operator=(const Semaphore &) = delete;

  void lock() const { change(-1); }
  void unlock() const { change(1); }

private:
  static constexpr int ownerOnly = 0600;

  void change(short by) const {
    sembuf operation{0, by, SEM_UNDO};
    semop(set_, &operation, 1);
  }

  int set_;
};

} // namespace bench

#endif

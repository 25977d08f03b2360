// A depot whose operations are tried while the allocator or the system fails them.
#ifndef SPRIG_TESTS_TORTURE_DEPOT_FAULTS_H
#define SPRIG_TESTS_TORTURE_DEPOT_FAULTS_H

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "support/depot.h"
#include "torture/faults.h"

namespace test {

// What an operation works on, and what it hands out. Released with it.
struct DepotSubject {
  DepotSubject();
  ~DepotSubject();
  DepotSubject(const DepotSubject &) = delete;
  DepotSubject &operator=(const DepotSubject &) = delete;

  Depot *depot = nullptr;         // null once it was freed
  DepotEntry *entry = nullptr;    // in the depot's list
  DepotEntry *unlisted = nullptr; // in none
  DepotEnum *walk = nullptr;
  Depot *made = nullptr;
  char *text = nullptr;
  uint32_t number = 0;
  uint64_t size = 0;
  PalFileHandle file{};
  PalList1 list = nullptr;
  bool isEntryLockLeft = false;
};

struct DepotOperation {
  std::string name;
  std::function<void(DepotSubject &)> prepare;
  // Returns whether it says that it did what it is for.
  std::function<bool(DepotSubject &)> act;
  // Whether it did.
  std::function<bool(DepotSubject &)> isDone;
  // It raises semaphores that it has not waited for.
  bool isPosting = false;
};

inline std::ostream &operator<<(std::ostream &out, const DepotOperation &operation) {
  return out << operation.name;
}

struct FaultKind {
  const char *function;
  int nativeError;
};

class DepotFaults : public DepotTest {
public:
  static const std::vector<DepotOperation> &operations();
  static const std::vector<FaultKind> kinds;

protected:
  // Tries an operation with each of its calls to a function failing in turn: alone, and with all
  // calls behind it. Returns what was logged at levels 0 and 1.
  std::vector<LogLine> sweep(const DepotOperation &operation, const FaultKind &kind);

  // What any other process would find: nothing damaged, and the entry for everybody to use.
  void expectUsable();

private:
  bool strike(const DepotOperation &operation, const FaultKind &kind, int call, bool isLasting,
              std::vector<LogLine> &seen);
};

} // namespace test

#endif

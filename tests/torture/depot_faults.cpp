#include "torture/depot_faults.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "support/pal_error.h"

namespace test {
namespace {

// No operation here makes as many calls to one function.
constexpr int tooManyCalls = 400;

bool describesEntry(const Toc &toc) { return toc.id == "a" && toc.version == "1"; }

} // namespace

const std::vector<FaultKind> DepotFaults::kinds{
    {"malloc", ENOMEM},
    {"open", EMFILE},
    {"read", EIO},
    {"write", ENOSPC},
    {"close", EIO},
    {"lseek", EIO},
    {"fstat", EIO},
    {"stat", EACCES},
    {"lstat", EACCES},
    {"statfs", EIO},
    {"name_to_handle_at", EOPNOTSUPP},
    {"remove", EBUSY},
    {"mkdir", ENOSPC},
    {"opendir", EMFILE},
    {"readdir", EIO},
    {"closedir", EIO},
    {"flock", ENOLCK},
    {"flock", EBADF},
    {"inotify_init1", EMFILE},
    {"inotify_add_watch", ENOSPC},
    {"ioctl", EINVAL},
    {"semget", ENOSPC},
    {"semop", EIDRM},
};

DepotSubject::DepotSubject() { EXPECT_EQ(DepotNew(&depot, "depot", 0), ok); }

DepotSubject::~DepotSubject() {
  PalFileClose(file);
  PalMemoryFree(text);
  PalList1Destroy(&list);
  if (isEntryLockLeft) {
    PalPostSem(&depot->entryLock);
  }
  if (walk != nullptr) {
    EXPECT_EQ(DepotEntryEnumDelete(walk), ok);
  }
  if (unlisted != nullptr) {
    EXPECT_EQ(DepotFreeEntry_internal(depot, unlisted), ok);
  }
  const PalError madeFreed = DepotFree(made); // which may have no semaphores
  EXPECT_TRUE(madeFreed.palError == PAL_OK || madeFreed.palError == PAL_WAIT_TIMEOUT) << madeFreed;
  EXPECT_EQ(DepotFree(depot), ok);
}

std::vector<LogLine> DepotFaults::sweep(const DepotOperation &operation, const FaultKind &kind) {
  std::vector<LogLine> seen;
  const bool hadFailed = HasFailure();
  for (const bool isLasting : {false, true}) {
    int call = 1;
    while (HasFailure() == hadFailed && call < tooManyCalls &&
           strike(operation, kind, call, isLasting, seen)) {
      ++call;
    }
    EXPECT_LT(call, tooManyCalls);
  }
  return seen;
}

// False when the operation made fewer calls.
bool DepotFaults::strike(const DepotOperation &operation, const FaultKind &kind, int call,
                         bool isLasting, std::vector<LogLine> &seen) {
  SCOPED_TRACE(operation.name + ", " + kind.function + " " + std::to_string(kind.nativeError) +
               ", call " + std::to_string(call) + (isLasting ? " and behind" : ""));
  bool hasStruck = false;
  {
    DepotSubject subject;
    operation.prepare(subject);
    log.clear();
    const std::vector<int> before{semaphore("depot.lk"), semaphore("entry.lk")};
    bool isReported = false;
    {
      Fault fault(kind.function, kind.nativeError, call);
      fault.thoughClosed();
      if (isLasting) {
        fault.lasting();
      }
      isReported = operation.act(subject);
      hasStruck = fault.hasStruck();
    }
    EXPECT_TRUE(!isReported || operation.isDone(subject)) << "it says that it did";
    EXPECT_TRUE(hasStruck || isReported) << "nothing failed it";
    const bool areSemaphoresKept = !operation.isPosting && std::string(kind.function) != "semop";
    if (areSemaphoresKept) {
      const int left = subject.isEntryLockLeft ? 1 : 0;
      EXPECT_EQ(semaphore("depot.lk"), before[0]);
      EXPECT_EQ(semaphore("entry.lk") + left, before[1]);
    }
    const std::vector<LogLine> problems = log.upTo(1);
    seen.insert(seen.end(), problems.begin(), problems.end());
    if (subject.depot != nullptr && std::string(subject.depot->directory) == "depot") {
      const auto files = names();
      const bool exists = std::any_of(files.begin(), files.end(), [](const std::string &name) {
        return name.ends_with("xml") && describesEntry(readToc(path(name)));
      });
      EXPECT_EQ(DepotGetEntry(subject.depot, "a", "1") != nullptr, exists) << "the same handle";
    }
  }
  expectUsable();
  return hasStruck;
}

void DepotFaults::expectUsable() {
  bool exists = false;
  for (const std::string &name : names()) {
    exists = exists || (name.ends_with("xml") && describesEntry(readToc(path(name))));
  }
  const DepotEntry *found = DepotGetEntry(depot, "a", "1");
  EXPECT_EQ(found != nullptr, exists);
  const bool isComplete = found != nullptr && found->state == DEPOT_ENTRY_COMPLETE;
  EXPECT_EQ(DepotAddEntry(depot, "a", "1", nullptr, 0) != nullptr, isComplete || !exists);
  EXPECT_EQ(DepotPurge(depot, 1), ok);
  EXPECT_EQ(names(), std::vector<std::string>{});
  std::filesystem::remove("other");
  log.clear();
}

} // namespace test

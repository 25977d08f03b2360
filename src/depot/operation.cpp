#include "depot/operation.h"

#include "depot/index.h"
#include "depot/log.h"

namespace sprig {
namespace {

// What Logger() does, for texts that are known to be short and without a percent sign.
void trace(const OperationName::Text &text) { passToLog(traceLevel, text.text); }

} // namespace

HeldLock::HeldLock(Depot &depot, PalSemHandle &semaphore, const LockTexts &texts, Mode mode)
    : depot_(depot), semaphore_(semaphore), texts_(texts) {
  if (isDepotLock()) {
    wait();
    if (isHeld_) {
      lockDirectory(mode);
    }
    return;
  }
  lockDirectory(mode);
  wait();
  if (!isHeld_) {
    unlockDirectory();
  }
}

void HeldLock::wait() {
  waited_ = PalWaitSem(&semaphore_);
  const bool isIgnored = waited_.palError == PAL_WAIT_TIMEOUT && texts_.ignored != nullptr;
  isHeld_ = waited_.palError == PAL_OK || isIgnored;
  if (isIgnored) {
    logFormat(workaroundLevel, texts_.ignored);
  } else if (!isHeld_ && texts_.refused != nullptr) {
    logFormat(texts_.refusedLevel, texts_.refused, waited_.palError, waited_.nativeError);
  }
}

void HeldLock::release() {
  if (!isHeld_) {
    return;
  }
  isHeld_ = false;
  if (isDepotLock()) {
    unlockDirectory();
  }
  const PalError posted = PalPostSem(&semaphore_);
  if (posted.palError != PAL_OK) {
    logFormat(workaroundLevel, texts_.unreleased, posted.palError);
  }
  if (!isDepotLock()) {
    unlockDirectory();
  }
}

void HeldLock::leaveTaken() {
  isHeld_ = false;
  unlockDirectory();
}

void HeldLock::lockDirectory(Mode mode) const {
  if (depot_.index != nullptr) {
    depot_.index->directoryLock.acquire(depot_.directory, mode);
  }
}

void HeldLock::unlockDirectory() const {
  if (depot_.index != nullptr) {
    depot_.index->directoryLock.release();
  }
}

void Operation::traceEntry(const OperationName &name, bool areArgumentsGiven) {
  trace(name.entry);
  if (!areArgumentsGiven) {
    passToLog(failureLevel, name.invalid.text);
  }
}

bool Operation::hold(Depot &depot, PalSemHandle &semaphore, const LockTexts &texts,
                     HeldLock::Mode mode) {
  lock_.emplace(depot, semaphore, texts, mode);
  goesOn_ = static_cast<bool>(*lock_);
  if (!goesOn_) {
    failure_ = lock_->waited();
    endSilently();
  }
  return goesOn_;
}

Operation::~Operation() {
  unlock();
  if (isTraced_) {
    trace(name_.exit);
  }
}

void Operation::unlock() {
  if (lock_.has_value()) {
    lock_->release();
  }
}

PalError Operation::endWith(PalError error, const char *format) {
  unlock();
  logFormat(failureLevel, format, error.palError, error.nativeError);
  endSilently();
  return error;
}

} // namespace sprig

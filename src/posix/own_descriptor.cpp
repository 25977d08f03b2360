#include "posix/own_descriptor.h"

#include <pthread.h>
#include <unistd.h>

namespace sprig {
namespace {

pthread_mutex_t guard = PTHREAD_MUTEX_INITIALIZER; // of the list
OwnDescriptor *first = nullptr;

void lockList() { pthread_mutex_lock(&guard); }
void unlockList() { pthread_mutex_unlock(&guard); }

} // namespace

OwnDescriptor::OwnDescriptor() {
  static pthread_once_t once = PTHREAD_ONCE_INIT;
  pthread_once(&once, watchForForks);
  lockList();
  next_ = first;
  if (first != nullptr) {
    first->previous_ = this;
  }
  first = this;
  unlockList();
}

OwnDescriptor::~OwnDescriptor() {
  reset();
  lockList();
  (previous_ == nullptr ? first : previous_->next_) = next_;
  if (next_ != nullptr) {
    next_->previous_ = previous_;
  }
  unlockList();
}

void OwnDescriptor::reset(int descriptor) {
  if (descriptor_ != -1) {
    close(descriptor_);
  }
  descriptor_ = descriptor;
}

// The list is held over the fork, so that the child finds it whole.
void OwnDescriptor::watchForForks() {
  pthread_atfork(lockList, unlockList, [] {
    closeAll();
    unlockList();
  });
}

void OwnDescriptor::closeAll() {
  for (OwnDescriptor *own = first; own != nullptr; own = own->next_) {
    own->reset();
  }
}

} // namespace sprig

// What is done when a thread ends.
#ifndef SPRIG_RUNTIME_MEMORY_THREAD_EXIT_H
#define SPRIG_RUNTIME_MEMORY_THREAD_EXIT_H

#include <pthread.h>

namespace sprig::runtime {

// Calls a function at the end of each thread that asks for it. Asking needs no memory, as
// thread_local objects with destructors would.
class ThreadExit {
public:
  explicit ThreadExit(void (*function)()) : function_(function) {
    isUsable_ = pthread_key_create(&key_, call) == 0;
  }

  // False when it will not be called.
  bool request() const { return isUsable_ && pthread_setspecific(key_, this) == 0; }

private:
  static void call(void *self) { static_cast<const ThreadExit *>(self)->function_(); }

  void (*function_)();
  pthread_key_t key_{};
  bool isUsable_ = false;
};

} // namespace sprig::runtime

#endif

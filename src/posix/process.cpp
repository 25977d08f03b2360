#include "posix/process.h"

#include <atomic>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace sprig {
namespace {

// Memory that the kernel clears in a forked child, however it was forked; null where it cannot.
std::atomic<pid_t> *makeCache() {
  void *page = mmap(nullptr, sizeof(std::atomic<pid_t>), PROT_READ | PROT_WRITE,
                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) {
    return nullptr;
  }
  if (madvise(page, sizeof(std::atomic<pid_t>), MADV_WIPEONFORK) != 0) {
    munmap(page, sizeof(std::atomic<pid_t>));
    return nullptr;
  }
  return new (page) std::atomic<pid_t>(0);
}

} // namespace

pid_t currentProcess() {
  static std::atomic<pid_t> *const cache = makeCache();
  pid_t process = cache == nullptr ? 0 : cache->load(std::memory_order_relaxed);
  if (process == 0) {
    process = getpid();
    if (cache != nullptr) {
      cache->store(process, std::memory_order_relaxed);
    }
  }
  return process;
}

} // namespace sprig

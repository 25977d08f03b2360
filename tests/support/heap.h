// What a piece of a test leaves in the heap.
#ifndef SPRIG_TESTS_SUPPORT_HEAP_H
#define SPRIG_TESTS_SUPPORT_HEAP_H

#include <cstddef>
#include <functional>
#include <thread>

#include <malloc.h>

#include <gtest/gtest.h>

namespace test {

// Bytes in use behind a call. It is made in a thread of its own, because threads keep released
// blocks at hand until they end. Under the address sanitizer this is 0; it finds leaks by itself.
template <typename Call> size_t heapAfter(const Call &call) {
  std::thread(std::cref(call)).join();
  return mallinfo2().uordblks;
}

// A call that leaves nothing behind but the first time, for all that follow. The heap gives a block
// now and then a little more than was asked for: only what grows with each call counts.
template <typename Call> void expectNothingLost(const Call &call) {
  constexpr size_t often = 64;
  constexpr size_t smallestBlock = 2 * sizeof(size_t);
  heapAfter(call);
  const size_t before = heapAfter(call);
  size_t after = before;
  for (size_t i = 0; i < often; ++i) {
    after = heapAfter(call);
  }
  EXPECT_LT(after, before + often * smallestBlock);
}

} // namespace test

#endif

// Memory that runs out in the framework: the static library is linked so that its calls to what
// takes memory there come by here (see tests/CMakeLists.txt), and any of them can be told to throw.
#ifndef SPRIG_TESTS_TORTURE_FRAMEWORK_FAULTS_H
#define SPRIG_TESTS_TORTURE_FRAMEWORK_FAULTS_H

#include <gtest/gtest.h>

#include "support/exceptions.h"
#include "support/heap.h"

namespace test {

// Lets the call-th call from now find no memory.
void armFrameworkFault(int call);
// Lets all calls go through again. Returns whether that call came.
bool disarmFrameworkFault();

// Runs a body in which the call-th call finds no memory. Returns whether it came to that; exactly
// then the body has to throw. No object with a destructor may be alive in it.
template <typename Body> bool runsOutOfMemory(int call, Body body) {
  const auto exception = thrown([&] {
    armFrameworkFault(call);
    body();
  });
  const bool hasStruck = disarmFrameworkFault();
  EXPECT_EQ(exception.has_value(), hasStruck) << "call " << call;
  if (exception) {
    EXPECT_EQ(exception->text, "There is not enough memory.\n") << "call " << call;
  }
  return hasStruck;
}

// Makes an attempt for each call that it makes, which fails in it, and one in which none does.
// attempt(call) returns whether it came to that call. Nothing may be left behind of any.
template <typename Attempt> void withEachCallFailing(const Attempt &attempt) {
  int call = 1;
  while (attempt(call)) {
    expectNothingLost([&] { attempt(call); });
    ++call;
  }
  EXPECT_GT(call, 1) << "it takes no memory";
  expectNothingLost([&] { attempt(call); });
}

} // namespace test

#endif

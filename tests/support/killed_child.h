// A child that is killed at one of its system calls.
#ifndef SPRIG_TESTS_SUPPORT_KILLED_CHILD_H
#define SPRIG_TESTS_SUPPORT_KILLED_CHILD_H

#include <functional>

namespace test {

// Runs `prepare` and then `act` in a child, and kills it when `act` enters its call-th system call,
// before the system has done anything. False when it ended before that.
bool killAtSystemCall(int call, const std::function<void()> &prepare,
                      const std::function<void()> &act);

} // namespace test

#endif

// Failures on demand: the static library is linked so that its calls to the allocator and the
// system come by here (see tests/CMakeLists.txt for the list), and any of them can be told to fail.
#ifndef SPRIG_TESTS_TORTURE_FAULTS_H
#define SPRIG_TESTS_TORTURE_FAULTS_H

#include <string>

namespace test {

// While it lives, one call of a function fails, or all from one on; others go through.
class Fault {
public:
  // Lets the call-th call of `function` from now fail with `nativeError`. The allocator's functions
  // count together, under the name "malloc".
  Fault(const std::string &function, int nativeError, int call = 1);
  ~Fault();
  Fault(const Fault &) = delete;
  Fault &operator=(const Fault &) = delete;

  // What the call returns when it is a lookup in the account databases, and how many bytes it moves
  // when it is a read or a write; -1 otherwise.
  Fault &returning(int result);
  // Lets the calls behind it fail, too.
  Fault &lasting();
  // Lets a call that closes something do so before it fails.
  Fault &thoughClosed();

  // Whether the call came.
  bool hasStruck() const;
};

} // namespace test

#endif

// Failures on demand: the static library is linked so that its calls to the allocator and the
// system come by here (see tests/CMakeLists.txt for the list), and any of them can be told to fail.
#ifndef SPRIG_TESTS_TORTURE_FAULTS_H
#define SPRIG_TESTS_TORTURE_FAULTS_H

#include <string>

namespace test {

// While it lives, one call of a function fails; calls before and behind it go through.
class Fault {
public:
  // Lets the call-th call of `function` from now fail with `nativeError`. The allocator's functions
  // count together, under the name "malloc".
  Fault(const std::string &function, int nativeError, int call = 1);
  ~Fault();
  Fault(const Fault &) = delete;
  Fault &operator=(const Fault &) = delete;

  // What the call returns when it is a lookup in the account databases; -1 otherwise.
  Fault &returning(int result);

  // Whether the call came.
  bool hasStruck() const;
};

} // namespace test

#endif

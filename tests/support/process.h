// Other processes: children that run a piece of a test, and signals between parent and child.
#ifndef SPRIG_TESTS_SUPPORT_PROCESS_H
#define SPRIG_TESTS_SUPPORT_PROCESS_H

#include <functional>
#include <memory>
#include <vector>

#include <sys/types.h>

namespace test {

// A forked child. It runs `body`, and its exit status is what that returns; 0 means success. A
// child that was not waited for is killed with its owner.
class Child {
public:
  explicit Child(const std::function<int()> &body);
  ~Child();
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  pid_t pid() const { return pid_; }

  // Waits for the end. Returns the exit status, or minus the number of the signal that ended it.
  int wait();
  void send(int signal) const;
  // Ends the child without giving it a chance to clean up.
  int kill();

private:
  pid_t pid_;
};

// Several children that run the same.
std::vector<std::unique_ptr<Child>> startChildren(size_t count, const std::function<int()> &body);

// Gives way to other processes until `condition` holds; false when it does not for so long that it
// never will. For what the system does not tell by itself.
bool await(const std::function<bool()> &condition);

// A one-way signal across fork(): every await() takes one raise().
class Event {
public:
  Event();
  ~Event();
  Event(const Event &) = delete;
  Event &operator=(const Event &) = delete;

  void raise() const;
  // Blocks; false when nobody raises it for so long that nobody will.
  bool await() const;

private:
  int read_ = -1;
  int write_ = -1;
};

// What a child asserts: the line of the first expectation that does not hold is its exit status.
#define CHILD_EXPECT(condition)                                                                    \
  do {                                                                                             \
    if (!(condition)) {                                                                            \
      return __LINE__ % 255 + 1;                                                                   \
    }                                                                                              \
  } while (false)

} // namespace test

#endif

// What a process says before it aborts.
#ifndef SPRIG_TESTS_SUPPORT_LAST_WORDS_H
#define SPRIG_TESTS_SUPPORT_LAST_WORDS_H

#include <functional>
#include <string>

namespace test {

// Runs `body` in a child, and returns what that writes to standard error. The test fails unless the
// child aborts.
std::string lastWords(const std::function<void()> &body);

} // namespace test

#endif

// Tests in a process with another environment, for what is read from it only once.
#ifndef SPRIG_TESTS_SUPPORT_RERUN_H
#define SPRIG_TESTS_SUPPORT_RERUN_H

#include <string>

namespace test {

// Runs some tests of this program again, in a process with one more variable in its environment.
// Returns the exit status, 0 when all of them passed.
int rerun(const std::string &filter, const char *variable, const char *value);

} // namespace test

#endif

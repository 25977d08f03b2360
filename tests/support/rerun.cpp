#include "support/rerun.h"

#include <cstdlib>

#include <unistd.h>

#include "support/process.h"

int test::rerun(const std::string &filter, const char *variable, const char *value) {
  const std::string option = "--gtest_filter=" + filter;
  Child child([&] {
    setenv(variable, value, 1);
    execl("/proc/self/exe", "tests", option.c_str(), nullptr);
    return 127;
  });
  return child.wait();
}

// A test of the C++ face, and the exceptions that it expects.
#ifndef SPRIG_TESTS_CPP_FIXTURE_H
#define SPRIG_TESTS_CPP_FIXTURE_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <sprig/sprig.hpp>

#include "support/temporary_directory.h"

namespace test {

using Strings = std::vector<std::string>;

// The sprig::Error that a piece of a test throws.
inline std::optional<sprig::Error> errorOf(const std::function<void()> &body) {
  try {
    body();
  } catch (const sprig::Error &error) {
    return error;
  }
  return std::nullopt;
}

// "number(argument, ...)" of it; "none" where there is none.
inline std::string failure(const std::function<void()> &body) {
  const auto error = errorOf(body);
  if (!error) {
    return "none";
  }
  std::string arguments;
  for (const std::string &argument : error->arguments()) {
    arguments += (arguments.empty() ? "" : ", ") + argument;
  }
  return std::to_string(error->id()) + '(' + arguments + ')';
}

// With the library's types known, in a directory of its own.
class CppFace : public DirectoryTest {
protected:
  CppFace() { sprig_init(); }
};

} // namespace test

#endif

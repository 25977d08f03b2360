// What a piece of a test throws, caught in a frame of its own.
#ifndef SPRIG_TESTS_SUPPORT_EXCEPTIONS_H
#define SPRIG_TESTS_SUPPORT_EXCEPTIONS_H

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace test {

// A copy of the exception that was thrown; of its texts, the first one.
struct Thrown {
  std::string typeName;
  std::string text; // as shown to a person
  std::optional<std::string> catalog;
  int32_t id = 0;
  std::string defaultText;
  std::vector<std::string> arguments;
  int32_t timeStamp = 0;
};

std::ostream &operator<<(std::ostream &out, const Thrown &thrown);

std::optional<Thrown> thrownBy(void (*body)(void *), void *context);

// No object with a destructor may be alive in the body where it throws.
template <typename Body> std::optional<Thrown> thrown(Body &&body) {
  return thrownBy([](void *context) { (*static_cast<std::remove_reference_t<Body> *>(context))(); },
                  &body);
}

} // namespace test

#endif

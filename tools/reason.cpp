#include "reason.h"

#include <charconv>
#include <system_error>

#include <sprig/runtime.h>

namespace tool {
namespace {

enum MessageId {
  fileNotCreated = 12,
  fileNotRead = 19,
  fileNotWritten = 21,
  notEncoded = 34,
  notDecoded = 35,
};

int argument(const sprig::Error &error, size_t index) {
  int number = 0;
  if (index < error.arguments().size()) {
    const std::string &text = error.arguments()[index];
    std::from_chars(text.data(), text.data() + text.size(), number);
  }
  return number;
}

std::string systemReason(int error, const char *otherwise) {
  return error == 0 ? otherwise : std::generic_category().message(error);
}

} // namespace

std::string reasonOf(const sprig::Error &error) {
  switch (error.id()) {
  case fileNotCreated:
    return systemReason(argument(error, 1), error.what());
  case fileNotRead:
    return systemReason(argument(error, 2), "the file's size is not what its length says");
  case fileNotWritten:
    return "it cannot be written to its end";
  case notEncoded:
  case notDecoded:
    return runtime_adr_error_text(argument(error, 0));
  default:
    return error.what();
  }
}

} // namespace tool

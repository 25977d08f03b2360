// Bytes as people write them.
#ifndef SPRIG_TESTS_RUNTIME_ADR_HEX_H
#define SPRIG_TESTS_RUNTIME_ADR_HEX_H

#include <string>

#include "support/values.h"

namespace test {

// Two digits each, with or without spaces between them.
inline Bytes bytesOfHex(const std::string &text) {
  Bytes bytes;
  bytes.reserve(text.size() / 2);
  for (size_t i = text.find_first_not_of(' '); i < text.size();
       i = text.find_first_not_of(' ', i + 2)) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(text.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

} // namespace test

#endif

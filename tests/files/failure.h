// What the helpers throw: messages of the library's catalog.
#ifndef SPRIG_TESTS_FILES_FAILURE_H
#define SPRIG_TESTS_FILES_FAILURE_H

#include <cerrno>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/exceptions.h"

namespace test {

// A message with its number, its text before the arguments are put in, and these.
struct Failure {
  int32_t id;
  std::string text;
  std::vector<std::string> arguments = {};

  bool operator==(const Failure &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const Failure &failure) {
  out << failure.id << ' ' << failure.text << "with";
  for (const std::string &argument : failure.arguments) {
    out << " \"" << argument << '"';
  }
  return out;
}

// What a piece of a test throws, if anything. No object with a destructor may be alive in it.
template <typename Body> std::optional<Failure> failureOf(Body &&body) {
  const std::optional<Thrown> exception = thrown(body);
  if (!exception) {
    return std::nullopt;
  }
  EXPECT_EQ(exception->typeName, "ExErrorMsg");
  EXPECT_EQ(exception->catalog, "Sprig2Catalog");
  return Failure{exception->id, exception->defaultText, exception->arguments};
}

inline Failure cannotOpen(const std::string &path) {
  return {11, "Cannot open the file %1$s.\n", {path}};
}

inline Failure cannotCreate(const std::string &path, int nativeError) {
  return {12,
          "Cannot create the file %1$s. The error code is %2$d.\n",
          {path, std::to_string(nativeError)}};
}

inline Failure cannotClose(const std::string &path) {
  return {14, "Cannot close the file %1$s.\n", {path}};
}

inline Failure cannotRead(const std::string &path, int64_t length, int nativeError) {
  return {19,
          "Cannot read from file %1$s. The number of bytes to read was %2$d and the error code is "
          "%3$d.\n",
          {path, std::to_string(length), std::to_string(nativeError)}};
}

inline Failure cannotWrite(const std::string &path, int64_t length) {
  return {21,
          "Cannot write to the file %1$s. The number of bytes to write = %2$d.\n",
          {path, std::to_string(length)}};
}

inline Failure cannotGetStatus(const std::string &path) {
  return {24, "Failed to get the file status for the file %1$s.\n", {path}};
}

inline Failure cannotClone() { return {32, "Cannot clone a path name that is NULL.\n"}; }

inline Failure cannotAppend() { return {33, "Cannot append to a path name that is NULL.\n"}; }

inline Failure cannotEncode(int32_t code) {
  return {34, "Failed to encode data. The error code is %1$d.\n", {std::to_string(code)}};
}

inline Failure cannotDecode(int32_t code) {
  return {35, "Failed to decode data. The error code is %1$d.\n", {std::to_string(code)}};
}

// Of so many bytes; leads to what the path leads to. For the end of a directory's path and a name.
inline std::string stretched(const std::string &directory, const std::string &name, size_t length) {
  return directory + std::string(length - directory.size() - name.size(), '/') + name;
}

} // namespace test

#endif

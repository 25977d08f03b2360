// Exceptions with a message of the library's catalog.
#ifndef SPRIG_FRAMEWORK_MESSAGE_H
#define SPRIG_FRAMEWORK_MESSAGE_H

#include <cstdint>

#include <sprig/exceptions.h>
#include <sprig/framework.h>

namespace sprig {

// Numbers of the messages that the library throws; Sprig2Catalog has their texts.
enum class MessageId : int32_t {
  directoryIsNull = 9,
  directoryNotCreated = 10,
  fileNotOpened = 11,
  fileNotCreated = 12,
  closedFileIsNull = 13,
  fileNotClosed = 14,
  removedFileIsNull = 15,
  fileNotRemoved = 16,
  deletedFileIsNull = 17,
  readFileIsNull = 18,
  fileNotRead = 19,
  writtenFileIsNull = 20,
  fileNotWritten = 21,
  soughtFileIsNull = 22,
  fileNotSought = 23,
  fileStatusUnknown = 24,
  fileNotAccessible = 25,
  streamNotClosed = 30,
  tocIsNull = 31,
  clonedPathIsUnusable = 32,
  appendedNameIsUnusable = 33,
  notEncoded = 34,
  notDecoded = 35,
  propertyMissing = 36,
  propertyOfOtherType = 37,
  elementNotReplaced = 39,
  remoteDirMissing = 170,
  segmentNotFound = 182,
};

// Throws a message; its arguments are 32-bit numbers and text, as the catalog has them.
template <typename... Arguments>
[[noreturn]] void throwMessage(MessageId message, Arguments... arguments) {
  const auto id = static_cast<int32_t>(message);
  vaThrow(Sprig2Catalog[0], id, Sprig2Catalog[id], arguments...);
}

} // namespace sprig

#endif

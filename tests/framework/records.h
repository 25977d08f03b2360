// Exception records, as tests make and read them.
#ifndef SPRIG_TESTS_FRAMEWORK_RECORDS_H
#define SPRIG_TESTS_FRAMEWORK_RECORDS_H

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <sprig/types.h>

namespace test {

using Strings = std::vector<std::string>;

struct ReleaseRecord {
  void operator()(ExErrorMsg *record) const;
};
using RecordPtr = std::unique_ptr<ExErrorMsg, ReleaseRecord>;

// vMakeExErrorDerived().
RecordPtr makeRecord(const char *typeName, size_t size, const char *catalog, int32_t id,
                     const char *text, ...);

// What the only message of a record says.
struct Message {
  std::optional<std::string> catalog;
  std::string text;
  int32_t id;
  Strings arguments;

  bool operator==(const Message &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Message &message);

Message messageOf(const ExErrorMsg &record);
Strings argumentsOf(const ExErrorMsg &record);
// As a person sees it.
std::string shown(ExErrorMsg &record);

// What the library has of an exception type. Of the only one whose record is larger, the last
// member is left out of what it is created from.
struct ExceptionType {
  std::string name;
  TypeCode type;
  uint32_t size;
  ExErrorMsg *(*create)(SPRIG_EXCEPTION_MEMBERS);
  void (*marshal)(AdrBuffer *buffer, ExErrorMsg *record);
};

const std::vector<ExceptionType> &exceptionTypes();

} // namespace test

#endif

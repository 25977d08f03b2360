// What is measured: the operations on records, and how a subject provides them.
#ifndef SPRIG_BENCH_RECORDS_TASK_H
#define SPRIG_BENCH_RECORDS_TASK_H

#include <cstddef>
#include <functional>
#include <string>

#include "values/document.h"

namespace bench {

// Does once what is measured, with what was prepared for it.
using Task = std::function<void()>;
// The same where that is a part of it only; returns how many seconds it took.
using TimedTask = std::function<double()>;

// Descriptions of so many segments, of 13 properties each.
List makeSegments(size_t count);

// Tables of contents. What a subject has not is empty.
struct OfSegments {
  Task build; // the records, of descriptions that are there
  Task clone;
  Task encode;
  TimedTask free;
};

OfSegments makeSprigOfSegments(const List &segments);
OfSegments makeProtobufOfSegments(const List &segments);
// What the bytes of the project's encoding cost alone: a block and a move.
OfSegments makeBytesOfSegments(const List &segments);
// Records of descriptions that are searched with strcmp(). No value's type is looked at.
OfSegments makeScanOfSegments(const List &segments);

// The properties of a status file; above six, with what the method notes by itself.
Record makeStatus(size_t count);

// A status file.
struct OfStatus {
  Task save;
  Task load;
};

// The files lie in a directory of the caller's.
OfStatus makeSprigOfStatus(const Record &status, const std::string &directory);
// The list alone, written in place.
OfStatus makeListOfStatus(const Record &status, const std::string &directory);
// The calls of the system for the same bytes; a file takes the place of the one before.
OfStatus makeCallsOfStatus(const Record &status, const std::string &directory);

} // namespace bench

#endif

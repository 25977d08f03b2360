// The records of exceptions.
#ifndef SPRIG_RUNTIME_EXCEPTIONS_RECORD_H
#define SPRIG_RUNTIME_EXCEPTIONS_RECORD_H

#include <cstdarg>

#include <sprig/framework.h>

namespace sprig::runtime {

// Whether a record begins with the members of an ExErrorMsg. One of an unknown type does, unless it
// is known to be a block that is too small.
bool hasMessage(void *record, bool isBlock);

// The name of its type, for a person.
const char *nameOfRecord(void *record);

// Releases a record with everything that it owns.
void releaseRecord(void *record);

// Makes the record of a message, with the arguments that its text names.
ExErrorMsg *newMessageRecord(const char *catalog, int32_t id, const char *text, va_list arguments);

} // namespace sprig::runtime

#endif

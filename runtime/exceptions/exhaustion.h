// Running out of memory.
#ifndef SPRIG_RUNTIME_EXCEPTIONS_EXHAUSTION_H
#define SPRIG_RUNTIME_EXCEPTIONS_EXHAUSTION_H

#include <sprig/framework.h>

namespace sprig::runtime {

// Throws where a try frame is open; else ends the process with a message.
[[noreturn]] void throwNoMemory();

// The record that it throws. It needs no memory, and is nobody's to release.
ExErrorMsg *noMemoryRecord();

} // namespace sprig::runtime

#endif

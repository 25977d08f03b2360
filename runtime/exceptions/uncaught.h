// The end of a process that nobody can save.
#ifndef SPRIG_RUNTIME_EXCEPTIONS_UNCAUGHT_H
#define SPRIG_RUNTIME_EXCEPTIONS_UNCAUGHT_H

namespace sprig::runtime {

// Shows an exception on standard error, and aborts.
[[noreturn]] void endProcessFor(void *record);

// Shows a reason on standard error, and aborts.
[[noreturn]] void endProcess(const char *reason);

} // namespace sprig::runtime

#endif

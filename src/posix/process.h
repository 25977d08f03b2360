// Which process this is, asked often.
#ifndef SPRIG_POSIX_PROCESS_H
#define SPRIG_POSIX_PROCESS_H

#include <sys/types.h>

namespace sprig {

// getpid(), mostly without asking the system.
pid_t currentProcess();

} // namespace sprig

#endif

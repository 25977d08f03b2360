// Writing to what nobody may be reading.
#ifndef SPRIG_RUNTIME_HOST_QUIET_WRITE_H
#define SPRIG_RUNTIME_HOST_QUIET_WRITE_H

#include <sys/types.h>
#include <sys/uio.h>

namespace sprig::runtime {

// writev() that never raises SIGPIPE: EPIPE says enough.
ssize_t writeWithoutSignal(int fd, const iovec *parts, int count);

} // namespace sprig::runtime

#endif

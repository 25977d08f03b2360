// Puts messages into a stream of bytes.
#ifndef SPRIG_RUNTIME_CHANNEL_WRITER_H
#define SPRIG_RUNTIME_CHANNEL_WRITER_H

#include <sprig/runtime.h>

namespace sprig::runtime {

// Answers 0 or an error number. One that is too long (EMSGSIZE) leaves the stream as it is; behind
// any other error it cannot be used any more.
int writeFrame(int fd, const RuntimeMessage &message);

} // namespace sprig::runtime

#endif

// The other side of a channel, by its address: "unix:PATH", "tcp:HOST:PORT", "fd:N".
#ifndef SPRIG_RUNTIME_CHANNEL_ADDRESS_H
#define SPRIG_RUNTIME_CHANNEL_ADDRESS_H

namespace sprig::runtime {

// All answer a descriptor that no program started later inherits, or -1 with errno set: EINVAL for
// what is no address, and what runtime.h says.
int listenAt(const char *address);
int acceptFrom(int listener);
int connectTo(const char *address);

} // namespace sprig::runtime

#endif

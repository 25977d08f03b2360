// TCP ports: "HOST:PORT", where an IPv6 address stands in brackets.
#ifndef SPRIG_RUNTIME_CHANNEL_TCP_SOCKET_H
#define SPRIG_RUNTIME_CHANNEL_TCP_SOCKET_H

namespace sprig::runtime {

// A descriptor, or -1 with errno set.
int listenAtTcpPort(const char *place);
int connectToTcpPort(const char *place);

// Sends every message at once, and has the system notice when the other side is gone.
void prepareTcpConnection(int connection);

} // namespace sprig::runtime

#endif

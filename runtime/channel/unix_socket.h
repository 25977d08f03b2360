// Sockets in the file system, for their owner and root.
#ifndef SPRIG_RUNTIME_CHANNEL_UNIX_SOCKET_H
#define SPRIG_RUNTIME_CHANNEL_UNIX_SOCKET_H

namespace sprig::runtime {

// A descriptor, or -1 with errno set.
int listenAtUnixSocket(const char *path);
int connectToUnixSocket(const char *path);

// Whether the other side is run by this process's user or by root.
bool isPeerTrusted(int socket);

} // namespace sprig::runtime

#endif

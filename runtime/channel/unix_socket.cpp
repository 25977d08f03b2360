#include "channel/unix_socket.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "channel/descriptor.h"

using namespace sprig::runtime;

namespace {

bool setAddress(sockaddr_un &address, const char *path) {
  const size_t length = strlen(path);
  if (length == 0 || length >= sizeof address.sun_path) {
    errno = length == 0 ? EINVAL : ENAMETOOLONG;
    return false;
  }
  address = {};
  address.sun_family = AF_UNIX;
  memcpy(address.sun_path, path, length + 1);
  return true;
}

Descriptor newSocket(int type) { return Descriptor(socket(AF_UNIX, type | SOCK_CLOEXEC, 0)); }

// A signal leaves a Unix socket as it was.
int connectSocket(const Descriptor &socket, const sockaddr_un &address) {
  int result = 0;
  do {
    result = connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
  } while (result == -1 && errno == EINTR);
  return result;
}

// The file's mode is that of the socket at this moment, less the umask.
int bindForOwner(const Descriptor &socket, const sockaddr_un &address) {
  constexpr mode_t ownerOnly = 0600;
  return fchmod(socket.get(), ownerOnly) == -1
             ? -1
             : bind(socket.get(), reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

// A socket file that nobody's socket is bound to. A socket of another type finds that out without
// connecting to one that is.
bool isStale(const sockaddr_un &address) {
  struct stat status {};
  const Descriptor other = newSocket(SOCK_DGRAM);
  return lstat(address.sun_path, &status) == 0 && S_ISSOCK(status.st_mode) && other &&
         connectSocket(other, address) == -1 && errno == ECONNREFUSED;
}

// Lets one process at a time look for a stale socket and put its own in the place. Where the
// directory cannot be locked, that is left to chance.
Descriptor lockDirectoryOf(sockaddr_un address) {
  char *const slash = strrchr(address.sun_path, '/');
  strcpy(slash == nullptr ? address.sun_path : slash + 1, slash == nullptr ? "." : "");
  Descriptor directory(open(address.sun_path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  while (directory && flock(directory.get(), LOCK_EX) == -1 && errno == EINTR) {
  }
  return directory;
}

} // namespace

int sprig::runtime::listenAtUnixSocket(const char *path) {
  sockaddr_un address;
  if (!setAddress(address, path)) {
    return -1;
  }
  Descriptor listener = newSocket(SOCK_STREAM);
  if (!listener) {
    return -1;
  }
  const Descriptor lock = lockDirectoryOf(address);
  int result = bindForOwner(listener, address);
  if (result == -1 && errno == EADDRINUSE) {
    if (!isStale(address) || unlink(path) == -1) {
      errno = EADDRINUSE;
      return -1;
    }
    result = bindForOwner(listener, address);
  }
  if (result == -1 || listen(listener.get(), SOMAXCONN) == -1) {
    return -1;
  }
  return listener.release();
}

int sprig::runtime::connectToUnixSocket(const char *path) {
  sockaddr_un address;
  if (!setAddress(address, path)) {
    return -1;
  }
  Descriptor connection = newSocket(SOCK_STREAM);
  if (!connection || connectSocket(connection, address) == -1) {
    return -1;
  }
  if (!isPeerTrusted(connection.get())) {
    errno = EPERM;
    return -1;
  }
  return connection.release();
}

bool sprig::runtime::isPeerTrusted(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         (peer.uid == 0 || peer.uid == geteuid());
}

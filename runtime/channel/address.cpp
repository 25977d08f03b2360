#include "channel/address.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "channel/tcp_socket.h"
#include "channel/unix_socket.h"

using namespace sprig::runtime;

namespace {

// An inherited descriptor is not passed on.
int takeInherited(const char *number) {
  int fd = -1;
  const char *const end = number + strlen(number);
  const auto [behind, error] = std::from_chars(number, end, fd);
  if (error != std::errc() || behind != end || fd < 0) {
    errno = EINVAL;
    return -1;
  }
  return fcntl(fd, F_SETFD, FD_CLOEXEC) == -1 ? -1 : fd;
}

struct Kind {
  std::string_view name;
  int (*listen)(const char *place);
  int (*connect)(const char *place);
};

constexpr Kind kinds[] = {
    {"unix:", listenAtUnixSocket, connectToUnixSocket},
    {"tcp:", listenAtTcpPort, connectToTcpPort},
    {"fd:", nullptr, takeInherited},
};

int openBy(const char *address, int (*Kind::*how)(const char *)) {
  for (const Kind &kind : kinds) {
    if (strncmp(address, kind.name.data(), kind.name.size()) == 0 && kind.*how != nullptr) {
      return (kind.*how)(address + kind.name.size());
    }
  }
  errno = EINVAL;
  return -1;
}

int familyOf(int socket) {
  int family = AF_UNSPEC;
  socklen_t size = sizeof family;
  return getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &size) == 0 ? family : AF_UNSPEC;
}

bool mayComeIn(int connection) {
  if (familyOf(connection) == AF_UNIX) {
    return isPeerTrusted(connection);
  }
  prepareTcpConnection(connection);
  return true;
}

} // namespace

int sprig::runtime::listenAt(const char *address) { return openBy(address, &Kind::listen); }

int sprig::runtime::connectTo(const char *address) { return openBy(address, &Kind::connect); }

int sprig::runtime::acceptFrom(int listener) {
  for (;;) {
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection != -1 && mayComeIn(connection)) {
      return connection;
    }
    if (connection != -1) {
      close(connection);
    } else if (errno == EAGAIN) {
      pollfd ready{listener, POLLIN, 0};
      (void)poll(&ready, 1, -1);
    } else if (errno != EINTR && errno != ECONNABORTED) {
      return -1;
    }
  }
}

#include "channel/tcp_socket.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <string_view>

#include <netdb.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include "channel/descriptor.h"

using namespace sprig::runtime;

namespace {

struct HostAndPort {
  char host[NI_MAXHOST];
  char port[sizeof "00065535"];
};

// Copies what is not empty and fits.
template <size_t size> bool copyText(char (&target)[size], std::string_view text) {
  if (text.empty() || text.size() >= size) {
    return false;
  }
  target[text.copy(target, size - 1)] = '\0';
  return true;
}

bool split(std::string_view place, HostAndPort &parts) {
  const size_t colon = place.rfind(':');
  if (colon == std::string_view::npos) {
    return false;
  }
  std::string_view host = place.substr(0, colon);
  const std::string_view port = place.substr(colon + 1);
  if (host.size() >= 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  } else if (host.find(':') != std::string_view::npos) {
    return false;
  }
  uint16_t number = 0;
  const auto [behind, error] = std::from_chars(port.begin(), port.end(), number);
  return error == std::errc() && behind == port.end() && copyText(parts.host, host) &&
         copyText(parts.port, port);
}

struct Option {
  int level;
  int name;
  int value;
};

int setOption(int socket, const Option &option) {
  return setsockopt(socket, option.level, option.name, &option.value, sizeof option.value);
}

// Makes sockets for what the name stands for until one of them can be used.
template <typename Use> int openSocket(const char *place, Use use) {
  HostAndPort parts;
  if (!split(place, parts)) {
    errno = EINVAL;
    return -1;
  }
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV;
  addrinfo *found = nullptr;
  if (const int lookupError = getaddrinfo(parts.host, parts.port, &hints, &found)) {
    errno = lookupError == EAI_SYSTEM ? errno : EADDRNOTAVAIL;
    return -1;
  }
  int result = -1;
  for (const addrinfo *at = found; at != nullptr && result == -1; at = at->ai_next) {
    Descriptor socket(::socket(at->ai_family, at->ai_socktype | SOCK_CLOEXEC, at->ai_protocol));
    if (socket && use(socket, *at) != -1) {
      result = socket.release();
    }
  }
  const int error = errno;
  freeaddrinfo(found);
  errno = error;
  return result;
}

} // namespace

int sprig::runtime::listenAtTcpPort(const char *place) {
  return openSocket(place, [](const Descriptor &socket, const addrinfo &address) {
    return setOption(socket.get(), {SOL_SOCKET, SO_REUSEADDR, 1}) == -1 ||
                   bind(socket.get(), address.ai_addr, address.ai_addrlen) == -1
               ? -1
               : listen(socket.get(), SOMAXCONN);
  });
}

int sprig::runtime::connectToTcpPort(const char *place) {
  return openSocket(place, [](const Descriptor &socket, const addrinfo &address) {
    int result = 0;
    do { // behind a signal, this goes on waiting for the same connection
      result = connect(socket.get(), address.ai_addr, address.ai_addrlen);
    } while (result == -1 && errno == EINTR);
    prepareTcpConnection(socket.get());
    return result;
  });
}

// A host that has vanished is noticed within two minutes.
void sprig::runtime::prepareTcpConnection(int connection) {
  constexpr Option options[] = {{IPPROTO_TCP, TCP_NODELAY, 1},
                                {SOL_SOCKET, SO_KEEPALIVE, 1},
                                {IPPROTO_TCP, TCP_KEEPIDLE, 60},
                                {IPPROTO_TCP, TCP_KEEPINTVL, 10},
                                {IPPROTO_TCP, TCP_KEEPCNT, 6}};
  for (const Option &option : options) {
    (void)setOption(connection, option);
  }
}

#include "address.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <sprig/runtime.h>

#include "failure.h"
#include "output.h"

namespace tool {
namespace {

constexpr std::string_view unixScheme = "unix:";
constexpr std::string_view tcpScheme = "tcp:";

constexpr std::array<std::string_view, 3> localHosts{"127.0.0.1", "localhost", "[::1]"};

// Whoever reaches a TCP port is a receiver, so that nobody from elsewhere may.
void refuseOtherHosts(const std::string &address) {
  const std::string_view place = std::string_view(address).substr(tcpScheme.size());
  const std::string_view host = place.substr(0, place.rfind(':'));
  if (std::find(localHosts.begin(), localHosts.end(), host) == localHosts.end()) {
    throw Failure(
        printable(address) + ": only this host can be listened at: 127.0.0.1, localhost "
                             "or [::1]",
        "for other hosts, let a remote shell carry the channel: ssh HOST sprig ... stdio:",
        wrongUsage);
  }
}

Descriptor listenAt(const std::string &address) {
  if (address.starts_with(tcpScheme)) {
    refuseOtherHosts(address);
  }
  Descriptor descriptor(runtime_channel_listen(address.c_str()));
  if (!descriptor && errno == EINVAL) {
    throw Failure(printable(address) + ": not an address to listen at",
                  "use unix:PATH, tcp:127.0.0.1:PORT or stdio:", wrongUsage);
  }
  if (!descriptor) {
    throw systemFailure(printable(address), errno,
                        errno == EADDRINUSE ? "another process listens there, or it is a file"
                                            : "");
  }
  return descriptor;
}

struct SocketAddress {
  sockaddr_storage storage{};
  socklen_t size = sizeof storage;

  sockaddr *get() { return reinterpret_cast<sockaddr *>(&storage); }

  // "127.0.0.1:5012", "[::1]:5012".
  std::string text() {
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (getnameinfo(get(), size, host.data(), host.size(), port.data(), port.size(),
                    NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
      return "unknown";
    }
    const std::string name = host.data();
    return (storage.ss_family == AF_INET6 ? '[' + name + ']' : name) + ':' + port.data();
  }
};

} // namespace

std::string shownAddress(const std::string &address) {
  return address == standardAddress ? "standard input and output" : printable(address);
}

Listener::Listener(std::string address)
    : address_(std::move(address)), descriptor_(listenAt(address_)) {
  if (SocketAddress own;
      address_.starts_with(tcpScheme) && getsockname(get(), own.get(), &own.size) == 0) {
    address_ = std::string(tcpScheme) + own.text();
  }
}

// As long as it is listened at, nobody else takes the path.
Listener::~Listener() {
  if (descriptor_ && address_.starts_with(unixScheme)) {
    unlink(address_.c_str() + unixScheme.size());
  }
}

Descriptor Listener::accept() const {
  Descriptor connection(runtime_channel_accept(get()));
  if (!connection) {
    throw systemFailure(printable(address_));
  }
  return connection;
}

std::string peerOf(int socket) {
  SocketAddress peer;
  if (getpeername(socket, peer.get(), &peer.size) == -1) {
    return "unknown";
  }
  if (peer.storage.ss_family != AF_UNIX) {
    return peer.text();
  }
  ucred process{};
  socklen_t size = sizeof process;
  getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &process, &size);
  return "process " + std::to_string(process.pid);
}

} // namespace tool

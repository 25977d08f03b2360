// Where the tool listens, and who has connected.
#ifndef SPRIG_TOOLS_ADDRESS_H
#define SPRIG_TOOLS_ADDRESS_H

#include <string>

#include "file.h"

namespace tool {

// Standard input and output, which another program such as a remote shell carries.
inline constexpr const char *standardAddress = "stdio:";

// As it is shown to a person.
std::string shownAddress(const std::string &address);

// Listens at "unix:PATH" or, on this host only, at "tcp:HOST:PORT". A socket file goes with its
// listener.
class Listener {
public:
  // Throws Failure, which names the address.
  explicit Listener(std::string address);
  Listener(Listener &&) noexcept = default;
  ~Listener();

  int get() const noexcept { return descriptor_.get(); }
  // With the port that was given to it, where it has asked for any.
  const std::string &address() const noexcept { return address_; }
  Descriptor accept() const;

private:
  std::string address_;
  Descriptor descriptor_;
};

// Who is at the other end of a socket: "process 123", "127.0.0.1:5012".
std::string peerOf(int socket);

} // namespace tool

#endif

// The sending side of a distribution: several receivers at once, each served by its own process.
#ifndef SPRIG_TOOLS_SERVE_SERVER_H
#define SPRIG_TOOLS_SERVE_SERVER_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include <unistd.h>

#include "address.h"
#include "connection.h"
#include "serve/account.h"
#include "serve/commands.h"
#include "serve/offer.h"
#include "serve/orders.h"
#include "serve/report.h"

namespace tool {

struct ServerOptions {
  std::string directory;
  std::string address;
  uint64_t receivers = 16; // at a time
  uint64_t count = 0;      // of receivers in all; 0: no limit
  int32_t session = 0;
  bool isJson = false;
};

class Server {
public:
  explicit Server(const ServerOptions &options);
  ~Server();
  Server(const Server &) = delete;
  Server &operator=(const Server &) = delete;

  // Serves until a signal or a command ends it, or enough receivers are gone. Gives the exit
  // status.
  int run();

private:
  using Clock = std::chrono::steady_clock;

  struct Receiver {
    uint64_t number;
    std::string peer;
    pid_t process = -1;
    bool isTold = false; // of a command
    SharedAccount account;
  };
  using Place = std::list<Receiver>::iterator;

  bool isOver() const;
  bool mayAdmit() const;
  int patience() const;
  void await();
  void takeSignals();

  void attempt(const std::function<void()> &work);
  void admit(const Connection &connection);
  [[noreturn]] void serve(const Connection &connection, Account &account) const noexcept;
  int32_t carryOut(sprig::Command command);
  void farewell(Place receiver, int status);
  void farewellToThoseGone();
  void letGo();

  const ServerOptions options_;
  const Offer offer_;
  const Report report_;
  const SignalQueue signals_;
  const Orders orders_;
  const pid_t process_ = getpid();
  const std::optional<Listener> listener_; // none for standard input and output
  const CommandSocket commands_;
  std::list<Receiver> receivers_;
  uint64_t admitted_ = 0;
  uint64_t gone_ = 0;
  bool isStopped_ = false;
  std::optional<Clock::time_point> cancelEnd_; // by when a cancelled distribution ends
  std::optional<Clock::time_point> restEnd_;   // until when nobody who comes is let in
  bool isShort_ = false;                       // of what it needs for those who come
};

} // namespace tool

#endif

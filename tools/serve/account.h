// How one receiver was served: counted by the process that serves it, and told by another one.
#ifndef SPRIG_TOOLS_SERVE_ACCOUNT_H
#define SPRIG_TOOLS_SERVE_ACCOUNT_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace tool {

// How a conversation with a receiver ends.
enum class End {
  complete,  // it got all that it asked for
  vanished,  // it was gone before
  paused,    // by command
  cancelled, // by command
  refused,   // for what it sent
  failed,    // for something on this side
  stopped,   // together with the sender
};

struct Account {
  uint64_t wanted = 0;   // segments that it lacked
  uint64_t segments = 0; // of those, how many were sent whole
  uint64_t held = 0;     // segments that it had already
  uint64_t bytes = 0;    // of segments, that were sent
  End end = End::stopped;
  std::array<char, 512> reason{}; // why it was refused, or failed

  void finish(End how, const std::string &why = {});
};

// An account that stays the same one across fork().
class SharedAccount {
public:
  SharedAccount();

  Account &operator*() const { return *account_; }
  Account *operator->() const { return account_.get(); }

private:
  struct Unmap {
    void operator()(Account *account) const;
  };
  std::unique_ptr<Account, Unmap> account_;
};

} // namespace tool

#endif

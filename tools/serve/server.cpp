#include "serve/server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "output.h"
#include "serve/conversation.h"

namespace tool {
namespace {

// How long receivers are waited for that do not take the command to cancel.
constexpr std::chrono::seconds cancelPatience{3};
// How long nobody is let in when the system lacks something for it.
constexpr std::chrono::seconds rest{1};

std::optional<Listener> listenerAt(const std::string &address) {
  return address == standardAddress ? std::nullopt : std::make_optional<Listener>(address);
}

int waitFor(pid_t process, int options, int &status) {
  int result = 0;
  do {
    result = waitpid(process, &status, options);
  } while (result == -1 && errno == EINTR);
  return result;
}

} // namespace

Server::Server(const ServerOptions &options)
    : options_(options), offer_(options.directory),
      report_(options.isJson), signals_{SIGCHLD, SIGINT, SIGTERM, SIGHUP},
      listener_(listenerAt(options.address)), commands_(offer_.distribution().id) {
  (void)signal(SIGCHLD, SIG_DFL); // ignored, processes would go without an exit status
}

Server::~Server() { letGo(); }

int Server::run() {
  if (listener_) {
    report_.serving(offer_.distribution(), listener_->address());
  } else {
    const Connection connection = Connection::standard(options_.session);
    report_.serving(offer_.distribution(), standardAddress);
    admit(connection);
  }
  while (!isOver()) {
    await();
  }
  letGo();
  report_.served(gone_, cancelEnd_.has_value());
  return cancelEnd_ ? cancelled : done;
}

bool Server::isOver() const {
  const uint64_t count = listener_ ? options_.count : 1;
  return isStopped_ || (count != 0 && gone_ >= count) ||
         (cancelEnd_ && (receivers_.empty() || Clock::now() >= *cancelEnd_));
}

bool Server::mayAdmit() const {
  return listener_ && !cancelEnd_ && !restEnd_ && receivers_.size() < options_.receivers &&
         (options_.count == 0 || admitted_ < options_.count);
}

// In milliseconds, as poll() takes it.
int Server::patience() const {
  if (!cancelEnd_ && !restEnd_) {
    return -1;
  }
  constexpr auto never = Clock::time_point::max();
  const auto end = std::min(cancelEnd_.value_or(never), restEnd_.value_or(never));
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
  return static_cast<int>(std::max<std::chrono::milliseconds::rep>(0, left.count()));
}

void Server::await() {
  if (restEnd_ && Clock::now() >= *restEnd_) {
    restEnd_.reset();
  }
  std::array<pollfd, 3> ready{{{signals_.get(), POLLIN, 0},
                               {restEnd_ ? -1 : commands_.get(), POLLIN, 0},
                               {mayAdmit() ? listener_->get() : -1, POLLIN, 0}}};
  if (poll(ready.data(), ready.size(), patience()) == -1) {
    if (errno != EINTR) {
      throw systemFailure("poll");
    }
    return;
  }
  if (ready[0].revents != 0) {
    takeSignals();
  }
  if (ready[1].revents != 0) {
    attempt(
        [this] { commands_.take([this](sprig::Command command) { return carryOut(command); }); });
  }
  if (ready[2].revents != 0 && mayAdmit()) {
    attempt([this] { admit(Connection(listener_->accept(), options_.session)); });
  }
}

// Where descriptors or memory are short, they may not be later: those who are served go on, and
// those who come wait. A single warning tells of it.
void Server::attempt(const std::function<void()> &work) {
  try {
    work();
    isShort_ = false;
  } catch (const std::exception &failure) {
    restEnd_ = Clock::now() + rest;
    if (!std::exchange(isShort_, true)) {
      warn(failure.what());
    }
  }
}

void Server::takeSignals() {
  while (const int signal = signals_.next()) {
    isStopped_ = isStopped_ || signal != SIGCHLD;
  }
  farewellToThoseGone();
}

void Server::admit(const Connection &connection) {
  receivers_.push_back({admitted_ + 1, connection.peer(), -1, false, SharedAccount()});
  ++admitted_;
  Receiver &receiver = receivers_.back();
  receiver.process = fork();
  if (receiver.process == 0) {
    serve(connection, *receiver.account);
  }
  if (receiver.process == -1) {
    receiver.account->finish(End::failed, systemFailure("fork").what());
    farewell(std::prev(receivers_.end()), 0);
  }
}

// Ends with the sender, however that ends.
void Server::serve(const Connection &connection, Account &account) const noexcept {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  signals_.release();
  if (getppid() == process_) {
    Conversation(connection, offer_, orders_, account).run();
  }
  _exit(0);
}

// Answers how many receivers get the command.
int32_t Server::carryOut(sprig::Command command) {
  int32_t told = 0;
  for (Receiver &receiver : receivers_) {
    if (!std::exchange(receiver.isTold, true)) {
      Orders::give(command, receiver.process);
      ++told;
    }
  }
  if (command == sprig::Command::cancel) {
    cancelEnd_ = Clock::now() + cancelPatience;
  }
  return told;
}

void Server::farewell(Place receiver, int status) {
  if (WIFSIGNALED(status) && !isStopped_ && !cancelEnd_) {
    receiver->account->finish(End::failed, "signal " + std::to_string(WTERMSIG(status)) +
                                               " has ended its process");
  }
  report_.receiver(receiver->number, receiver->peer, *receiver->account);
  receivers_.erase(receiver);
  ++gone_;
  restEnd_.reset(); // it has left room
}

void Server::farewellToThoseGone() {
  for (auto next = receivers_.begin(); next != receivers_.end();) {
    const Place receiver = next++;
    int status = 0;
    if (waitFor(receiver->process, WNOHANG, status) == receiver->process) {
      farewell(receiver, status);
    }
  }
}

void Server::letGo() {
  isStopped_ = true;
  for (const Receiver &receiver : receivers_) {
    kill(receiver.process, SIGKILL);
  }
  while (!receivers_.empty()) {
    int status = 0;
    waitFor(receivers_.front().process, 0, status);
    farewell(receivers_.begin(), status);
  }
}

} // namespace tool

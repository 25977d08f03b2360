// Signals while a channel is used.
#include <cerrno>
#include <csignal>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/channel.h"
#include "support/temporary_directory.h"

using test::Child;
using test::dataOf;
using test::Ends;
using test::frameOf;
using test::session;

namespace {

volatile sig_atomic_t caught = 0; // signals by the handler

void catchSignal(int signal) {
  caught = 0;
  struct sigaction action {};
  action.sa_handler = [](int) { caught = caught + 1; };
  ASSERT_EQ(sigaction(signal, &action, nullptr), 0); // interrupted calls are not restarted
}

// Interrupts the parent in the system call that it waits in.
bool interruptParent() { return test::awaitSleep(getppid()) && kill(getppid(), SIGUSR1) == 0; }

sigset_t setOf(int signal) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, signal);
  return set;
}

bool isWaiting(int signal) {
  sigset_t waiting;
  sigpending(&waiting);
  return sigismember(&waiting, signal) == 1;
}

int sendEnd(int fd) {
  const RuntimeMessage message{RUNTIME_MESSAGE_END, session, 0, nullptr};
  return runtime_channel_send(fd, &message);
}

const std::string frame = frameOf(RUNTIME_MESSAGE_DATA, "\1data");

class Signals : public testing::TestWithParam<Ends (*)()> {
protected:
  Signals() {
    catchSignal(SIGUSR1);
    pthread_sigmask(SIG_SETMASK, nullptr, &before_);
  }
  ~Signals() override { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  int in() const { return ends.first.fd(); }
  int out() const { return ends.second.fd(); }

  // A process that sends a message byte by byte, and a signal before each.
  Child startSlowSender() const {
    return Child([this] {
      for (const char byte : frame) {
        CHILD_EXPECT(interruptParent());
        test::writeBytes(out(), {byte});
      }
      return 0;
    });
  }

  const Ends ends = GetParam()();

private:
  sigset_t before_{};
};

} // namespace

INSTANTIATE_TEST_SUITE_P(On, Signals, testing::Values(test::socketEnds, test::pipeEnds),
                         [](const auto &kind) { return kind.index == 0 ? "Sockets" : "Pipes"; });

TEST_P(Signals, DoNotEndWhatAnEndpointWaitsFor) {
  runtime_set_channel(in(), out(), session);
  Child sender = startSlowSender();
  EXPECT_EQ(test::receive(), test::data("\1data"));
  EXPECT_EQ(sender.wait(), 0);
  EXPECT_GT(caught, 0);
  runtime_set_channel(-1, -1, 0);
}

TEST_P(Signals, DoNotEndWhatAPeerWaitsFor) {
  constexpr int longEnough = 60000;
  for (const int timeout : {-1, longEnough}) {
    Child sender = startSlowSender();
    RuntimeMessage message{};
    EXPECT_EQ(runtime_channel_receive(in(), &message, timeout), 0);
    EXPECT_EQ(message.length, 5U);
    mg_free(message.data);
    EXPECT_EQ(sender.wait(), 0);
  }
  EXPECT_GT(caught, 0);
}

TEST_P(Signals, DoNotEndWhatIsBeingSent) {
  std::string bytes = dataOf(1 << 20);
  const std::string sent = frameOf(RUNTIME_MESSAGE_DATA, bytes);
  Child receiver([&] {
    constexpr size_t piece = 100000;
    for (size_t done = 0; done < sent.size(); done += piece) {
      const bool isLast = sent.size() - done < 4 * piece; // the sender waits no more
      CHILD_EXPECT(isLast || interruptParent());
      CHILD_EXPECT(test::readBytes(in(), std::min(piece, sent.size() - done)) ==
                   sent.substr(done, piece));
    }
    return 0;
  });
  const RuntimeMessage message{RUNTIME_MESSAGE_DATA, session, 1 << 20,
                               reinterpret_cast<uint8_t *>(bytes.data())};
  EXPECT_EQ(runtime_channel_send(out(), &message), 0);
  EXPECT_EQ(receiver.wait(), 0);
  EXPECT_GT(caught, 0);
}

TEST_P(Signals, AreNotRaisedWhenNobodyReads) {
  catchSignal(SIGPIPE);
  Ends broken = GetParam()();
  broken.first = test::OpenFile();
  EXPECT_EQ(sendEnd(broken.second.fd()), -1);
  EXPECT_EQ(errno, EPIPE);
  EXPECT_EQ(caught, 0);

  runtime_set_channel(broken.second.fd(), broken.second.fd(), session);
  const std::string text = test::textThrown(
      [] { net_send_protected(ecp_get_ipc_handle(), "buffer", 6, RUNTIME_MESSAGE_DATA, session); });
  EXPECT_NE(text.find("the sender has closed it"), std::string::npos) << text;
  EXPECT_EQ(caught, 0);
  raise(SIGPIPE);
  EXPECT_EQ(caught, 1) << "others still are";
  runtime_set_channel(-1, -1, 0);
}

TEST_P(Signals, StayBlockedAsTheyWere) {
  const sigset_t pipe = setOf(SIGPIPE);
  Ends broken = GetParam()();
  broken.first = test::OpenFile();
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &pipe, nullptr), 0);
  EXPECT_EQ(sendEnd(broken.second.fd()), -1);
  EXPECT_FALSE(isWaiting(SIGPIPE));
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGPIPE), 1);
}

TEST_P(Signals, OfOthersAreNotTaken) {
  const sigset_t pipe = setOf(SIGPIPE);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &pipe, nullptr), 0);
  for (const bool isForTheThread : {true, false}) {
    Ends broken = GetParam()();
    broken.first = test::OpenFile();
    ASSERT_EQ(isForTheThread ? raise(SIGPIPE) : kill(getpid(), SIGPIPE), 0);
    EXPECT_EQ(sendEnd(broken.second.fd()), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_TRUE(isWaiting(SIGPIPE));
    while (isWaiting(SIGPIPE)) {
      const timespec atOnce{};
      EXPECT_EQ(sigtimedwait(&pipe, nullptr, &atOnce), SIGPIPE);
    }
  }
}

using Interrupted = test::DirectoryTest;

TEST_F(Interrupted, ListenersGoOnWaiting) {
  catchSignal(SIGUSR1);
  const std::string address = "unix:" + directory / "socket";
  const test::OpenFile listener(runtime_channel_listen(address.c_str()));
  Child sender([&] {
    CHILD_EXPECT(interruptParent());
    CHILD_EXPECT(interruptParent());
    return runtime_channel_connect(address.c_str()) == -1 ? 1 : 0;
  });
  const test::OpenFile connection(runtime_channel_accept(listener.fd()));
  EXPECT_NE(connection.fd(), -1);
  EXPECT_EQ(sender.wait(), 0);
  EXPECT_GT(caught, 0);
}
